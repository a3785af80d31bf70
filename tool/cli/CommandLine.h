// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_CLI_COMMANDLINE_H
#define TOOL_CLI_COMMANDLINE_H

#include <functional>
#include <string>
#include <vector>

#include "cli/Command.h"

namespace vixprores {

/// What a command line asks for: a command, which has taken its options and arguments, or a text.
struct Request {
  const Command* command = nullptr;  ///< one of those given; null where `text` is the answer
  std::string text;
};

/// Understands a command line. Anything wrong with it is a UsageError that says what it is and,
/// where a word was misspelt, which one was meant.
/// @param version makes the answer to --version
Request ParseCommandLine(const std::vector<Command>& commands,
                         const std::function<std::string()>& version, int argc,
                         const char* const* argv);

}  // namespace vixprores

#endif  // TOOL_CLI_COMMANDLINE_H
