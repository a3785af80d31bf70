// SPDX-License-Identifier: BSD-2-Clause
#include <algorithm>
#include <array>
#include <cctype>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string_view>

#include "base/Errors.h"
#include "base/Text.h"
#include "cli/Commands.h"
#include "cli/Help.h"
#include "format/OutputSound.h"

namespace vixprores {
namespace {

constexpr const char* kProgram = "vixprores";

struct Term {
  const char* name;
  const char* meaning;
};

constexpr std::array<Term, 3> kExitStatus{
    {{"0", "Success."},
     {"1",
      "The command failed or found damage. A message on standard error names the file, what is "
      "wrong and what to do."},
     {"2", "Wrong use: the command line is invalid. Nothing was written."}}};

constexpr std::array<Term, 2> kEnvironment{
    {{"VIX_PRORES_CPU",
      "Limits the codec to the instructions of a level (scalar, sse4, avx2 or avx512), even if "
      "the processor has more. It overrides --cpu."},
     {"VIX_PRORES_THREADS",
      "Number of threads of each decoder, which share the slices of a frame, instead of the number "
      "that follows from --threads."}}};

// Escapes text so that nothing in it is read as a request or an escape.
std::string Escape(std::string_view text) {
  std::string escaped;
  bool lineBegins = true;
  for (const char letter : text) {
    if (lineBegins && (letter == '.' || letter == '\'')) escaped += "\\&";
    lineBegins = letter == '\n';
    if (letter == '\\') {
      escaped += "\\e";
    } else if (letter == '-') {
      escaped += "\\-";
    } else if (letter == '"') {
      escaped += "\\(dq";
    } else if (letter == '\'') {
      escaped += "\\(aq";
    } else {
      escaped += letter;
    }
  }
  return escaped;
}

std::string Heading(const std::string& title) {
  return ".SH \"" + Escape(title) + "\"\n";
}

std::string Header(const std::string& name, const std::string& version) {
  std::string title = name;
  std::ranges::transform(title, title.begin(),
                         [](unsigned char letter) { return std::toupper(letter); });
  return ".TH \"" + Escape(title) + "\" 1 \"\" \"" + Escape(kProgram + (" " + version)) +
         "\" \"User Commands\"\n" + ".nh\n.ad l\n";
}

// Formats a paragraph with a hanging first line `term`, which is roff already.
std::string Tagged(const std::string& term, const std::string& meaning) {
  return ".TP\n" + term + "\n" + Escape(meaning) + "\n";
}

template <typename Terms>
std::string Table(const std::string& title, const Terms& terms) {
  std::string text = Heading(title);
  for (const auto& term : terms) text += Tagged(".B \"" + Escape(term.name) + "\"", term.meaning);
  return text;
}

std::string Paragraphs(const std::string& text) {
  return Replace(Escape(text), "\n\n", "\n.PP\n") + "\n";
}

std::string Name(const std::string& name, const std::string& summary) {
  return Heading("NAME") + Escape(name) + " \\- " + Escape(summary) + "\n";
}

std::string Synopsis(const Command& command) {
  std::string text;
  for (const std::string& usage : command.usages) {
    text += text.empty() ? Heading("SYNOPSIS") : std::string(".br\n");
    text += ".B \"" + Escape(kProgram + (" " + command.name)) + "\"\n" + Escape(usage) + "\n";
  }
  return text;
}

std::string Description(const Command& command) {
  const std::string& text =
      command.description.empty() ? command.summary + "." : command.description;
  std::string page = Heading("DESCRIPTION") + Paragraphs(text);
  for (const Argument& argument : command.arguments) {
    page += Tagged(".I \"" + Escape(argument.name) + "\"", argument.brief + ".");
  }
  return page;
}

std::string Meaning(const Option& option) {
  std::string text = option.brief + ".";
  const std::string brief = ToLower(option.brief);
  const auto isNamed = [&brief](const std::string& choice) {
    return brief.find(ToLower(choice)) != std::string::npos;
  };
  if (!std::ranges::all_of(option.choices, isNamed)) {
    text += "\nOne of " + JoinWords(option.choices) + ".";
  }
  std::vector<std::string> synonyms;
  for (const auto& [word, choice] : option.synonyms) {
    synonyms.push_back(std::string(word).append(" for ").append(choice));
  }
  if (!synonyms.empty()) text += "\nAlso " + JoinWords(synonyms) + ".";
  if (!option.details.empty()) text += "\n" + option.details;
  return text;
}

std::string OptionTerm(const Option& option) {
  const std::string name = Escape(Join(NamesOf(option), ", "));
  if (option.value.empty()) return ".B \"" + name + "\"";
  return ".BI \"" + name + " \" \"" + Escape(option.value) + "\"";
}

std::string OptionsSection(const Command& command) {
  std::string text;
  for (const OptionGroup& group : command.groups) {
    if (group.options.empty()) continue;
    text += text.empty() ? Heading("OPTIONS") : std::string();
    text += ".SS \"" + Escape(group.title) + "\"\n";
    for (const Option& option : group.options) text += Tagged(OptionTerm(option), Meaning(option));
  }
  return text;
}

bool HasOption(const Command& command, const std::string& name) {
  return std::ranges::any_of(OptionsOf(command),
                             [&name](const Option* option) { return option->name == name; });
}

std::string Show(const Example& example) {
  return ".PP\n" + Escape(example.purpose) + "\n.PP\n.RS 4\n.EX\n" + Escape(example.line) +
         "\n.EE\n.RE\n";
}

std::string Reference(const std::string& page) {
  return ".BR " + Escape(page) + " (1)";
}

}  // namespace

std::string ManualName(const Command& command) {
  return kProgram + ("-" + command.name);
}

std::string ProgramManual(const std::vector<Command>& commands, const std::string& version) {
  std::string text =
      Header(kProgram, version) + Name(kProgram, "encode, decode and examine ProRes video") +
      Heading("SYNOPSIS") + ".B vixprores\n" + Escape("COMMAND [OPTION]... FILE...\n") +
      ".br\n.B vixprores help\n[COMMAND]\n.br\n" + ".B vixprores \\-\\-version\n" +
      Heading("DESCRIPTION") +
      "Encodes, decodes and examines video in the format of SMPTE RDD 36, through the "
      "elements of its plug\\-in.\n" +
      "Every command has a manual page of its own.\n" + Heading("COMMANDS");
  for (const Command& command : commands) {
    text += Tagged(Reference(ManualName(command)), command.summary + ".");
  }
  text += Heading("EXAMPLES");
  for (const Command& command : commands) {
    if (!command.examples.empty())
      text += Show({command.examples.front().line, command.summary + "."});
  }
  text +=
      Table("EXIT STATUS", kExitStatus) + Table("ENVIRONMENT", kEnvironment) + Heading("SEE ALSO");
  for (const Command& command : commands) {
    text += Reference(ManualName(command)) + (&command == &commands.back() ? "\n" : " ,\n");
  }
  return text;
}

std::string CommandManual(const Command& command, const std::string& version) {
  const std::string name = ManualName(command);
  std::string text = Header(name, version) + Name(name, command.summary) + Synopsis(command) +
                     Description(command) + OptionsSection(command);
  if (HasOption(command, "--audio")) {
    text += Table("SOUND THAT OUTPUTS HOLD", ListOutputSound());
  }
  if (!command.examples.empty()) text += Heading("EXAMPLES");
  for (const Example& example : command.examples) text += Show(example);
  text += Table("EXIT STATUS", kExitStatus);
  // The variables of the codec library affect commands that use it.
  if (HasOption(command, "--cpu")) text += Table("ENVIRONMENT", kEnvironment);
  return text + Heading("SEE ALSO") + Reference(kProgram) + "\n";
}

namespace {

struct ManualOptions {
  std::string command;  // empty = the program
  std::optional<std::string> folder;
};

Command DescribeManual(ManualOptions& options) {
  Command command;
  command.name = "manual";
  command.summary = "Print a manual page";
  command.description =
      "Prints the manual page of the program, or of one command, in the language of man(7). The "
      "installed pages are found by man: 'man vixprores-encode'.";
  command.usages = {"[COMMAND]", "--pages FOLDER"};
  command.arguments = {
      {"COMMAND", "command to print the page of [the program]", Completion::Command}};
  command.takeArguments = [&options](const std::vector<std::string>& words) {
    if (words.size() > 1) throw UsageError("unexpected argument '" + words[1] + "'");
    if (!words.empty()) options.command = words.front();
  };
  Option pages = Text("--pages", "FOLDER", options.folder, "write all pages into this folder");
  pages.completion = Completion::Folder;
  command.groups = {{"Output", {pages}}};
  command.examples = {{"vixprores manual encode | man -l -", "Show a page."}};
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
  throw UsageError("manual: unknown command '" + name + "'" + Suggest(name, NamesOf(commands)));
}

int RunManual(const ManualOptions& options) {
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
  return BindOptions(DescribeManual, RunManual);
}

}  // namespace vixprores
