// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_CLI_HELP_H
#define TOOL_CLI_HELP_H

#include <string>
#include <vector>

#include "cli/Command.h"

namespace vixprores {

/// What the program is, its commands, and a first example of each: one screen.
std::string ProgramHelp(const std::vector<Command>& commands);

/// Usage, options and examples of a command: a line for each option, 80 columns at most.
std::string CommandHelp(const Command& command);

/// "--variant NAME" or "--json"
std::string OptionUsage(const Option& option);

}  // namespace vixprores

#endif  // TOOL_CLI_HELP_H
