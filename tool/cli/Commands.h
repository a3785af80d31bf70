// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_CLI_COMMANDS_H
#define TOOL_CLI_COMMANDS_H

#include <vector>

#include "cli/Command.h"

namespace vixprores {

/// Every command of the program, ready to take options and to be run, in the order in which the
/// help lists them.
std::vector<Command> AllCommands();

// One function a command, each in a file of its own.
Command MakeEncodeCommand();
Command MakeDecodeCommand();
Command MakeInspectCommand();
Command MakeCompareCommand();
Command MakeVerifyCommand();
Command MakeRecoverCommand();
Command MakeThumbsCommand();
Command MakeBenchCommand();
Command MakeElementsCommand();
Command MakeManualCommand();
Command MakeCompletionCommand();

}  // namespace vixprores

#endif  // TOOL_CLI_COMMANDS_H
