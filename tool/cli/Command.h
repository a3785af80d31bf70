// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_CLI_COMMAND_H
#define TOOL_CLI_COMMAND_H

/// @file
/// A command of the program as data: parser, help, manual and shell completion all read it here.

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace vixprores {

/// What a shell offers as the value of an option, or as an argument.
enum class Completion { Nothing, File, Folder, Command };

/// One option of a command.
struct Option {
  std::string name;                              ///< "--variant"
  std::string value;                             ///< what it takes, "NAME"; empty for a flag
  std::string brief;                             ///< a few words, for the help
  std::function<void(const std::string&)> take;  ///< gets the value (a flag: ""); UsageError
  std::vector<std::string> choices = {};  ///< in lower case; empty = any value. Taken in any case
  std::string details = {};               ///< more sentences, for the manual; empty = none
  Completion completion = Completion::Nothing;
  std::string shortName = {};  ///< "-o"; empty = none
};

/// Options that belong together.
struct OptionGroup {
  std::string title;
  std::vector<Option> options;
};

/// A word of a command line that is no option; for help, manual and shell completion.
struct Argument {
  std::string name;  ///< "INPUT"
  std::string brief;
  Completion completion = Completion::File;
  std::vector<std::string> choices = {};  ///< offered instead where there are any
};

/// A use of the command that works as it stands.
struct Example {
  std::string line;
  std::string purpose;
};

/// One command.
struct Command {
  std::string name;
  std::string summary;              ///< one line
  std::string description;          ///< for the manual: paragraphs, an empty line between them
  std::vector<std::string> usages;  ///< what follows the name: "[OPTION]... INPUT OUTPUT"
  std::vector<Argument> arguments;
  std::function<void(const std::vector<std::string>&)> takeArguments;  ///< UsageError
  std::vector<OptionGroup> groups;
  std::vector<Example> examples;
  std::function<int()> run;  ///< returns the exit code
};

/// Options that set a variable; the variable must outlive the option.
Option Flag(std::string name, bool& variable, std::string brief);
Option Text(std::string name, std::string value, std::optional<std::string>& variable,
            std::string brief);
Option Number(std::string name, int& variable, int smallest, int largest, std::string brief);

/// Takes exactly the words that `variables` are for. `names` are those of the arguments.
std::function<void(const std::vector<std::string>&)> TakeWords(
    std::vector<std::string> names, std::vector<std::reference_wrapper<std::string>> variables);

/// Refuses, with a UsageError, no words at all, and names without a character.
void RefuseEmptyNames(const std::string& argument, const std::vector<std::string>& words);

/// All options of a command, as long as it lives.
std::vector<const Option*> OptionsOf(const Command& command);

std::vector<std::string> NamesOf(const std::vector<Command>& commands);

}  // namespace vixprores

#endif  // TOOL_CLI_COMMAND_H
