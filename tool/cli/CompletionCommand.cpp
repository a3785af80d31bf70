// SPDX-License-Identifier: BSD-2-Clause
#include <algorithm>
#include <array>
#include <cstdio>
#include <iterator>

#include "base/Errors.h"
#include "base/Text.h"
#include "cli/BindOptions.h"
#include "cli/Commands.h"
#include "cli/ShellCompletion.h"

namespace vixprores {
namespace {

struct Shell {
  const char* name;
  std::string (*script)(const std::vector<Command>& commands);
};

constexpr std::array<Shell, 3> kShells{
    {{"bash", BashCompletion}, {"zsh", ZshCompletion}, {"fish", FishCompletion}}};

struct CompletionOptions {
  std::string shell;
};

std::vector<std::string> ShellNames() {
  std::vector<std::string> names;
  std::ranges::transform(kShells, std::back_inserter(names), &Shell::name);
  return names;
}

const Shell& FindShell(const std::string& name) {
  const auto* const found = std::ranges::find(kShells, name, &Shell::name);
  if (found != kShells.end()) return *found;
  throw UsageError("completion: no script for '" + name + "'" + Suggest(name, ShellNames()) +
                   "; choose one of " + JoinWords(ShellNames()));
}

Command Describe(CompletionOptions& options) {
  Command command;
  command.name = "completion";
  command.summary = "Print a script that completes command lines in a shell";
  command.description =
      "Prints a script that teaches a shell to complete commands, options and their values. "
      "An installed program has these scripts where the shells look for them.";
  command.usages = {"SHELL"};
  command.arguments = {{"SHELL", JoinWords(ShellNames()), Completion::Nothing, ShellNames()}};
  command.takeArguments = TakeWords({"SHELL"}, {options.shell});
  command.examples = {{"eval \"$(vixprores completion bash)\"", "This session of bash."}};
  return command;
}

int Run(const CompletionOptions& options) {
  const std::string script = FindShell(options.shell).script(AllCommands());
  return std::fputs(script.c_str(), stdout) < 0 ? kExitFailed : kExitDone;
}

}  // namespace

Command MakeCompletionCommand() {
  return BindOptions(Describe, Run);
}

}  // namespace vixprores
