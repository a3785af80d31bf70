// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_CLI_COMMANDS_H
#define TOOL_CLI_COMMANDS_H

#include <cstdio>
#include <exception>
#include <memory>
#include <string>
#include <vector>

#include "base/Limits.h"
#include "cli/Command.h"
#include "report/Report.h"

namespace vixprores {

/// Returns every command of the program, ready to parse options and to run, in the order of the
/// help.
std::vector<Command> AllCommands();

// Each is defined in the file of its name.
Command MakeEncodeCommand();
Command MakeDecodeCommand();
Command MakeCopyCommand();
Command MakePlanCommand();
Command MakeJoinCommand();
Command MakeSubmitCommand();
Command MakeStatusCommand();
Command MakeInspectCommand();
Command MakeCompareCommand();
Command MakeVerifyCommand();
Command MakeRecoverCommand();
Command MakeThumbsCommand();
Command MakeBenchCommand();
Command MakeElementsCommand();
Command MakeManualCommand();
Command MakeCompletionCommand();

/// Calls `run`. If it throws and `options` ask for JSON, prints the error as JSON where the summary
/// would be, and rethrows.
template <typename Options, typename Run>
int RunWithJsonErrors(const Options& options, const Run& run) {
  if constexpr (requires { options.json; }) {
    try {
      return run(options);
    } catch (const std::exception& error) {
      if (!options.json) throw;  // the JSON library ends the process where memory is short
      bool areFramesOnOutput = false;
      if constexpr (requires { options.output; }) areFramesOnOutput = options.output == "-";
      const std::string json = ErrorJson(error.what());
      std::fprintf(areFramesOnOutput ? stderr : stdout, "%s\n", json.c_str());
      throw;
    }
  } else {
    return run(options);
  }
}

/// Makes a command from its description; the command owns the options and passes them to `run`.
template <typename Options, typename Run>
Command BindOptions(Command (*describe)(Options&), Run run) {
  const auto options = std::make_shared<Options>();
  Command command = describe(*options);
  command.run = [options, run] {
    if constexpr (requires { options->limits; }) SetLimits(options->limits);
    return RunWithJsonErrors(*options, run);
  };
  return command;
}

/// Returns the version, such as "1.0.0".
std::string ProgramVersion();

/// Returns the answer to --version: the version, and one line each for compiler, container library,
/// processor levels and plug-in. It holds no date, so that builds are reproducible.
std::string DescribeBuild();

}  // namespace vixprores

#endif  // TOOL_CLI_COMMANDS_H
