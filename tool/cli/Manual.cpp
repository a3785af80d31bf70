// SPDX-License-Identifier: BSD-2-Clause
#include "cli/Manual.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <string_view>

#include "base/Text.h"

namespace vixprores {
namespace {

constexpr const char* kProgram = "vixprores";

struct Term {
  const char* name;
  const char* meaning;
};

constexpr std::array<Term, 3> kExitStatus{
    {{"0", "All that was asked for is done."},
     {"1",
      "The work failed, was interrupted, or found damage. A message on standard error says what "
      "was wrong, where, and what to do about it."},
     {"2", "The command line asks for something that cannot be. Nothing was done."}}};

constexpr std::array<Term, 2> kEnvironment{
    {{"VIX_PRORES_CPU",
      "Keeps the codec to the instructions of a level, scalar, sse4, avx2 or avx512, even where "
      "the processor has more. The option --cpu goes before it."},
     {"VIX_PRORES_THREADS",
      "Number of threads of a decoder or encoder that has not been told one. The option --threads "
      "says how many frames are worked on side by side."}}};

// Text as it has to stand in a page: nothing in it is taken for a request or an escape.
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

// A paragraph whose first line is `term`, which is roff already.
std::string Tagged(const std::string& term, const std::string& meaning) {
  return ".TP\n" + term + "\n" + Escape(meaning) + "\n";
}

template <typename Terms>
std::string Table(const std::string& title, const Terms& terms) {
  std::string text = Heading(title);
  for (const Term& term : terms) text += Tagged(".B \"" + Escape(term.name) + "\"", term.meaning);
  return text;
}

std::string Paragraphs(const std::string& text) {
  std::string escaped = Escape(text);
  for (std::size_t at = 0; (at = escaped.find("\n\n", at)) != std::string::npos; at += 5) {
    escaped.replace(at, 2, "\n.PP\n");
  }
  return escaped + "\n";
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

std::string ToLower(std::string text) {
  std::ranges::transform(text, text.begin(),
                         [](unsigned char letter) { return std::tolower(letter); });
  return text;
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
  if (!option.details.empty()) text += "\n" + option.details;
  return text;
}

std::string OptionTerm(const Option& option) {
  const std::string name =
      Escape(option.shortName.empty() ? option.name : option.shortName + ", " + option.name);
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
      "Works on video in the format that SMPTE RDD 36 describes, through the "
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
  if (!command.examples.empty()) text += Heading("EXAMPLES");
  for (const Example& example : command.examples) text += Show(example);
  return text + Table("EXIT STATUS", kExitStatus) + Table("ENVIRONMENT", kEnvironment) +
         Heading("SEE ALSO") + Reference(kProgram) + "\n";
}

}  // namespace vixprores
