// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_CLI_SHELLCOMPLETION_H
#define TOOL_CLI_SHELLCOMPLETION_H

/// @file
/// Scripts with which a shell completes commands, options, their choices, and file names.

#include <string>
#include <vector>

#include "cli/Command.h"

namespace vixprores {

std::string BashCompletion(const std::vector<Command>& commands);
std::string ZshCompletion(const std::vector<Command>& commands);
std::string FishCompletion(const std::vector<Command>& commands);

}  // namespace vixprores

#endif  // TOOL_CLI_SHELLCOMPLETION_H
