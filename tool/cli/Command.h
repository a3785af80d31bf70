// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_CLI_COMMAND_H
#define TOOL_CLI_COMMAND_H

/// @file
/// A command of the program as data, and the parser that reads it. Help, manual and shell
/// completion read it too.

#include <algorithm>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "format/StreamFormat.h"

namespace vixprores {

/// Kind of words that a shell offers as the value of an option or as an argument.
enum class Completion { Nothing, File, Folder, Command };

/// One option of a command.
struct Option {
  std::string name;                              ///< "--variant"
  std::string value;                             ///< name of its value, "NAME"; empty for a flag
  std::string brief;                             ///< one line of the help
  std::function<void(const std::string&)> take;  ///< sets the value ("" for a flag); UsageError
  std::vector<std::string> choices = {};  ///< lower case, matched in any case; empty = any value
  std::string details = {};               ///< further sentences of the manual
  Completion completion = Completion::Nothing;
  std::string shortName = {};             ///< "-o"; empty = no short name
  std::vector<std::string> aliases = {};  ///< other long names, "--profile"
  bool mayRepeat = false;                 ///< each value is taken; else only one may be given
  /// Other words for choices.
  Synonyms synonyms = {};
};

/// Options under one heading.
struct OptionGroup {
  std::string title;
  std::vector<Option> options;
};

/// A positional argument, for help, manual and shell completion.
struct Argument {
  std::string name;  ///< "INPUT"
  std::string brief;
  Completion completion = Completion::File;
  std::vector<std::string> choices = {};  ///< offered instead of `completion` if not empty
};

/// A command line that works as written.
struct Example {
  std::string line;
  std::string purpose;
};

/// One command.
struct Command {
  std::string name;
  std::string summary;              ///< one line
  std::string description;          ///< paragraphs of the manual, an empty line between them
  std::vector<std::string> usages;  ///< text after the name: "[OPTION]... INPUT OUTPUT"
  std::vector<Argument> arguments;
  std::function<void(const std::vector<std::string>&)> takeArguments;  ///< UsageError
  std::vector<OptionGroup> groups;
  std::vector<Example> examples;
  std::function<int()> run;  ///< returns the exit code
};

/// Returns an option that sets a variable, which must outlive the option.
Option Flag(std::string name, bool& variable, std::string brief);
Option Text(std::string name, std::string value, std::optional<std::string>& variable,
            std::string brief);
Option Number(std::string name, int& variable, int smallest, int largest, std::string brief);

/// Returns an option that sets a variable to what `parse` makes of the text.
template <typename Variable, typename Parse>
Option Parsed(std::string name, std::string value, Variable& variable, Parse parse,
              std::string brief) {
  return {std::move(name), std::move(value), std::move(brief),
          [&variable, parse](const std::string& text) { variable = parse(text); }};
}

/// Returns an option that sets a variable to the value with the chosen name.
template <typename Value, typename Variable>
Option Choice(std::string name, std::string value, Variable& variable,
              std::vector<std::pair<std::string, Value>> values, std::string brief) {
  std::vector<std::string> names;
  names.reserve(values.size());
  for (const auto& [choice, meaning] : values) names.push_back(choice);
  const auto find = [values = std::move(values)](const std::string& text) {
    return std::ranges::find(values, text, &std::pair<std::string, Value>::first)->second;
  };
  Option option = Parsed(std::move(name), std::move(value), variable, find, std::move(brief));
  option.choices = std::move(names);
  return option;
}

/// Returns a function that assigns exactly as many words as there are variables. `names` are used
/// in error messages.
std::function<void(const std::vector<std::string>&)> TakeWords(
    std::vector<std::string> names, std::vector<std::reference_wrapper<std::string>> variables);

/// Throws a UsageError if there are no words or one of them is empty.
void RefuseEmptyNames(const std::string& argument, const std::vector<std::string>& words);

/// Returns all names of an option: its short name, its name and its aliases.
std::vector<std::string> NamesOf(const Option& option);

/// Returns the options of all groups. They live as long as the command.
std::vector<const Option*> OptionsOf(const Command& command);

std::vector<std::string> NamesOf(const std::vector<Command>& commands);

/// Result of parsing a command line: a command to run, or a text to print.
struct Request {
  const Command* command =
      nullptr;  ///< one of the given ones, its options set; null = print `text`
  std::string text;
};

/// Parses a command line.
/// @param version returns the answer to --version
/// @throws UsageError names what is wrong and suggests the right spelling of a misspelt word
Request ParseCommandLine(const std::vector<Command>& commands,
                         const std::function<std::string()>& version, int argc,
                         const char* const* argv);

}  // namespace vixprores

#endif  // TOOL_CLI_COMMAND_H
