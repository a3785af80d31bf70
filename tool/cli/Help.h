// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_CLI_HELP_H
#define TOOL_CLI_HELP_H

#include <string>
#include <vector>

#include "cli/Command.h"

namespace vixprores {

/// Returns one screen about the program: its commands and an example of each.
std::string ProgramHelp(const std::vector<Command>& commands);

/// Returns usage, options and examples of a command, 80 columns wide.
std::string CommandHelp(const Command& command);

/// Returns "--variant NAME", "-o, --output-dir DIR" or "--json".
std::string OptionUsage(const Option& option);

}  // namespace vixprores

#endif  // TOOL_CLI_HELP_H
