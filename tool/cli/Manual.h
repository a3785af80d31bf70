// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_CLI_MANUAL_H
#define TOOL_CLI_MANUAL_H

/// @file
/// Manual pages of section 1 in the language of man(7). They carry no date, so that builds are
/// reproducible.

#include <string>
#include <vector>

#include "cli/Command.h"

namespace vixprores {

/// Returns the page of the program, which lists every command.
std::string ProgramManual(const std::vector<Command>& commands, const std::string& version);

/// Returns the page of one command.
std::string CommandManual(const Command& command, const std::string& version);

/// Returns the name of a command's page without its section: "vixprores-encode".
std::string ManualName(const Command& command);

}  // namespace vixprores

#endif  // TOOL_CLI_MANUAL_H
