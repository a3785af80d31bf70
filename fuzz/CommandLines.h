// SPDX-License-Identifier: BSD-2-Clause
#ifndef FUZZ_COMMANDLINES_H
#define FUZZ_COMMANDLINES_H

#include <algorithm>
#include <string>
#include <vector>

#include "base/Errors.h"
#include "base/Interrupt.h"
#include "base/Text.h"
#include "cli/Command.h"
#include "cli/Commands.h"

/// A command of the program; INPUT stands for the file.
struct CommandLine {
  vixprores::Command (*make)();
  const char* words;
};

/// A line that is ready to run.
class ParsedLine {
 public:
  ParsedLine(const CommandLine& line, const std::string& path) : commands_{line.make()} {
    auto words = vixprores::Split(line.words, ' ');
    std::ranges::replace(words, "INPUT", path);
    std::vector<const char*> arguments{"vixprores"};
    for (const std::string& word : words) arguments.push_back(word.c_str());
    request_ = ParseCommandLine(commands_, vixprores::DescribeBuild,
                                static_cast<int>(arguments.size()), arguments.data());
  }

  // The request has the address of the command.
  ParsedLine(const ParsedLine&) = delete;
  ParsedLine& operator=(const ParsedLine&) = delete;

  /// Runs the command as main() does, and returns the exit code.
  int Run() const {
    vixprores::WithdrawInterrupt();  // a failure stops the thread that reads
    try {
      return request_.command->run();
    } catch (const vixprores::UsageError& error) {
      vixprores::PrintError(error.what());
      return vixprores::kExitWrongUse;
    } catch (const vixprores::Failure& failure) {
      vixprores::PrintError(failure.what());
      return vixprores::kExitFailed;
    }
  }

 private:
  std::vector<vixprores::Command> commands_;
  vixprores::Request request_;
};

#endif  // FUZZ_COMMANDLINES_H
