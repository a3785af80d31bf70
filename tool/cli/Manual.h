// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_CLI_MANUAL_H
#define TOOL_CLI_MANUAL_H

/// @file
/// Manual pages in the language of man(7), section 1. They carry no date: equal commands give equal
/// pages.

#include <string>
#include <vector>

#include "cli/Command.h"

namespace vixprores {

/// The page of the program, which names every command.
std::string ProgramManual(const std::vector<Command>& commands, const std::string& version);

/// The page of one command, with all that is known of its options.
std::string CommandManual(const Command& command, const std::string& version);

/// "vixprores" or, of a command, "vixprores-encode": the name of the page without its section.
std::string ManualName(const Command& command);

}  // namespace vixprores

#endif  // TOOL_CLI_MANUAL_H
