// SPDX-License-Identifier: BSD-2-Clause
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "base/Errors.h"
#include "base/Text.h"
#include "cli/BindOptions.h"
#include "cli/Commands.h"
#include "cli/Manual.h"
#include "cli/Version.h"

namespace vixprores {
namespace {

struct ManualOptions {
  std::string command;  // empty = the program
  std::optional<std::string> folder;
};

Command Describe(ManualOptions& options) {
  Command command;
  command.name = "manual";
  command.summary = "Print a manual page";
  command.description =
      "Prints the manual page of the program, or of one command, in the language of man(7). An "
      "installed program has its pages where man finds them: 'man vixprores-encode'.";
  command.usages = {"[COMMAND]", "--pages FOLDER"};
  command.arguments = {
      {"COMMAND", "command that the page is about; without one the program", Completion::Command}};
  command.takeArguments = [&options](const std::vector<std::string>& words) {
    if (words.size() > 1) throw UsageError("'" + words[1] + "' is one word too many");
    if (!words.empty()) options.command = words.front();
  };
  Option pages = Text("--pages", "FOLDER", options.folder, "write all pages into that folder");
  pages.completion = Completion::Folder;
  command.groups = {{"Output", {pages}}};
  command.examples = {{"vixprores manual encode | man -l -", "A page, shown."}};
  return command;
}

void WriteFile(const std::filesystem::path& path, const std::string& text) {
  std::ofstream file(path, std::ios::binary);
  file << text;
  if (!file.flush()) throw Failure(path.string() + ": cannot be written");
}

void WritePages(const std::filesystem::path& folder, const std::vector<Command>& commands) {
  WriteFile(folder / "vixprores.1", ProgramManual(commands, ProgramVersion()));
  for (const Command& command : commands) {
    WriteFile(folder / (ManualName(command) + ".1"), CommandManual(command, ProgramVersion()));
  }
}

std::string MakePage(const std::string& name, const std::vector<Command>& commands) {
  if (name.empty()) return ProgramManual(commands, ProgramVersion());
  const auto found = std::ranges::find(commands, name, &Command::name);
  if (found != commands.end()) return CommandManual(*found, ProgramVersion());
  std::vector<std::string> names;
  std::ranges::transform(commands, std::back_inserter(names), &Command::name);
  throw UsageError("manual: there is no command '" + name + "'" + Suggest(name, names));
}

int Run(const ManualOptions& options) {
  const auto commands = AllCommands();
  if (options.folder) {
    WritePages(*options.folder, commands);
    return kExitDone;
  }
  const std::string page = MakePage(options.command, commands);
  return std::fputs(page.c_str(), stdout) < 0 ? kExitFailed : kExitDone;
}

}  // namespace

Command MakeManualCommand() {
  return BindOptions(Describe, Run);
}

}  // namespace vixprores
