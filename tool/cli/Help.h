// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_CLI_HELP_H
#define TOOL_CLI_HELP_H

/// @file
/// Texts made from the descriptions of commands: help, manual pages and shell completion.

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

/// Returns the manual page of the program, which lists every command. Pages are of section 1, in
/// the language of man(7), and carry no date, so that builds are reproducible.
std::string ProgramManual(const std::vector<Command>& commands, const std::string& version);

/// Returns the manual page of one command.
std::string CommandManual(const Command& command, const std::string& version);

/// Returns the name of a command's page without its section: "vixprores-encode".
std::string ManualName(const Command& command);

/// Return scripts with which a shell completes commands, options, their choices, and file names.
std::string BashCompletion(const std::vector<Command>& commands);
std::string ZshCompletion(const std::vector<Command>& commands);
std::string FishCompletion(const std::vector<Command>& commands);

}  // namespace vixprores

#endif  // TOOL_CLI_HELP_H
