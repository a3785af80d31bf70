// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_COMMANDS_BINDOPTIONS_H
#define TOOL_COMMANDS_BINDOPTIONS_H

#include <memory>

#include "commandline/Command.h"

namespace vixprores {

/// The command that `describe` makes for options of its own, on which it runs `run`.
template <typename Options, typename Run>
Command BindOptions(Command (*describe)(Options&), Run run) {
  const auto options = std::make_shared<Options>();
  Command command = describe(*options);
  command.run = [options, run] { return run(*options); };
  return command;
}

}  // namespace vixprores

#endif  // TOOL_COMMANDS_BINDOPTIONS_H
