// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_CLI_COMMANDLINE_H
#define TOOL_CLI_COMMANDLINE_H

#include <functional>
#include <string>
#include <vector>

#include "cli/Command.h"

namespace vixprores {

/// Result of parsing a command line: a command to run, or a text to print.
struct Request {
  const Command* command =
      nullptr;  ///< one of the given ones, its options set; null = print `text`
  std::string text;
};

/// Parses a command line.
/// @param version returns the answer to --version
/// @throws UsageError names what is wrong and suggests the right spelling of a misspelt word
Request ParseCommandLine(const std::vector<Command>& commands,
                         const std::function<std::string()>& version, int argc,
                         const char* const* argv);

}  // namespace vixprores

#endif  // TOOL_CLI_COMMANDLINE_H
