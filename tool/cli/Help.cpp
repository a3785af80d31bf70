// SPDX-License-Identifier: BSD-2-Clause
#include "cli/Help.h"

#include <algorithm>

#include "base/Text.h"

namespace vixprores {
namespace {

constexpr std::size_t kColumns = 80;
constexpr std::size_t kWidestTerm = 24;

// Formats a term and its meaning, which starts in column `indent` and wraps at blanks.
std::string Entry(const std::string& term, const std::string& meaning, std::size_t indent) {
  std::string text = "  " + term;
  std::size_t column = text.size();
  if (column + 2 > indent) {
    text += "\n";
    column = 0;
  }
  text.append(indent - column, ' ');
  column = indent;
  for (std::size_t begin = 0; begin < meaning.size();) {
    const std::size_t end = std::min(meaning.find(' ', begin), meaning.size());
    const std::size_t length = end - begin;
    if (column > indent && column + 1 + length > kColumns) {
      text += "\n" + std::string(indent, ' ');
      column = indent;
    } else if (column > indent) {
      text += ' ';
      ++column;
    }
    text += meaning.substr(begin, length);
    column += length;
    begin = end + 1;
  }
  return text + "\n";
}

std::size_t IndentOf(std::size_t widest) {
  return std::min(widest, kWidestTerm) + 4;
}

std::string Arguments(const Command& command) {
  std::size_t widest = 0;
  for (const auto& argument : command.arguments) widest = std::max(widest, argument.name.size());
  std::string text;
  for (const auto& argument : command.arguments) {
    text += Entry(argument.name, argument.brief, IndentOf(widest));
  }
  return text.empty() ? text : "\n" + text;
}

std::string Options(const Command& command) {
  std::size_t widest = 0;
  for (const auto& group : command.groups) {
    for (const auto& option : group.options) {
      widest = std::max(widest, OptionUsage(option).size());
    }
  }
  std::string text = "\n";
  for (const auto& group : command.groups) {
    text += group.title + ":\n";
    for (const auto& option : group.options) {
      text += Entry(OptionUsage(option), option.brief, IndentOf(widest));
    }
  }
  return text;
}

}  // namespace

std::string OptionUsage(const Option& option) {
  const std::string names = Join(NamesOf(option), ", ");
  return option.value.empty() ? names : names + " " + option.value;
}

std::string ProgramHelp(const std::vector<Command>& commands) {
  std::string text =
      "vixprores: encode, decode and examine ProRes video\n"
      "Usage: vixprores COMMAND [OPTION]... FILE...\n"
      "       vixprores help [COMMAND]\n"
      "       vixprores --version\n\n";
  std::size_t widest = 0;
  for (const Command& command : commands) widest = std::max(widest, command.name.size());
  for (const Command& command : commands) {
    text += Entry(command.name, command.summary, IndentOf(widest));
  }
  text += "\nExamples:\n";
  for (const Command& command : commands) {
    if (!command.examples.empty()) text += "  " + command.examples.front().line + "\n";
  }
  return text +
         "\nRun 'vixprores help COMMAND' for a command and 'man vixprores' for the manual.\n"
         "Exit codes: 0 done, 1 failed (or damage found), 2 wrong use.\n";
}

std::string CommandHelp(const Command& command) {
  std::string text;
  for (const std::string& usage : command.usages) {
    text += (text.empty() ? "Usage: vixprores " : "       vixprores ") + command.name + " " +
            usage + "\n";
  }
  text += command.summary + "\n" + Arguments(command) + Options(command);
  if (!command.examples.empty()) text += "Examples:\n";
  for (const Example& example : command.examples) text += "  " + example.line + "\n";
  return text;
}

}  // namespace vixprores
