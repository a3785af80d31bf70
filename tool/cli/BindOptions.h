// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_CLI_BINDOPTIONS_H
#define TOOL_CLI_BINDOPTIONS_H

#include <cstdio>
#include <exception>
#include <memory>
#include <string>

#include "cli/Command.h"
#include "report/Report.h"

namespace vixprores {

/// Runs `run` on options; who asked for JSON is told in JSON of what ends it early, where its
/// summary would be, besides the message that every error has.
template <typename Options, typename Run>
int RunTellingJson(const Options& options, const Run& run) {
  if constexpr (requires { options.json; }) {
    try {
      return run(options);
    } catch (const std::exception& error) {
      bool areFramesOnOutput = false;
      if constexpr (requires { options.output; }) areFramesOnOutput = options.output == "-";
      const std::string json = ErrorJson(error.what());
      if (options.json) std::fprintf(areFramesOnOutput ? stderr : stdout, "%s\n", json.c_str());
      throw;
    }
  } else {
    return run(options);
  }
}

/// The command that `describe` makes for options of its own, on which it runs `run`.
template <typename Options, typename Run>
Command BindOptions(Command (*describe)(Options&), Run run) {
  const auto options = std::make_shared<Options>();
  Command command = describe(*options);
  command.run = [options, run] { return RunTellingJson(*options, run); };
  return command;
}

}  // namespace vixprores

#endif  // TOOL_CLI_BINDOPTIONS_H
