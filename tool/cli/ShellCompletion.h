// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_CLI_SHELLCOMPLETION_H
#define TOOL_CLI_SHELLCOMPLETION_H

/// @file
/// Scripts that teach a shell to complete command lines of the program: commands, options, the
/// choices of options, and files where an option or argument is one.

#include <string>
#include <vector>

#include "cli/Command.h"

namespace vixprores {

std::string BashCompletion(const std::vector<Command>& commands);
std::string ZshCompletion(const std::vector<Command>& commands);
std::string FishCompletion(const std::vector<Command>& commands);

}  // namespace vixprores

#endif  // TOOL_CLI_SHELLCOMPLETION_H
