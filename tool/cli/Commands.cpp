// SPDX-License-Identifier: BSD-2-Clause
#include "cli/Commands.h"

namespace vixprores {

std::vector<Command> AllCommands() {
  return {MakeEncodeCommand(),   MakeDecodeCommand(),  MakeInspectCommand(),   MakeCompareCommand(),
          MakeVerifyCommand(),   MakeRecoverCommand(), MakeThumbsCommand(),    MakeBenchCommand(),
          MakeElementsCommand(), MakeManualCommand(),  MakeCompletionCommand()};
}

}  // namespace vixprores
