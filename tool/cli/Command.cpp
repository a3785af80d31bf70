// SPDX-License-Identifier: BSD-2-Clause
#include "cli/Command.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <iterator>
#include <set>
#include <span>
#include <string_view>
#include <utility>

#include "base/Errors.h"
#include "base/Text.h"
#include "cli/Help.h"
#include "format/Values.h"

namespace vixprores {

Option Flag(std::string name, bool& variable, std::string brief) {
  const auto take = [&variable](const std::string& /*none*/) { variable = true; };
  return {std::move(name), {}, std::move(brief), take};
}

Option Text(std::string name, std::string value, std::optional<std::string>& variable,
            std::string brief) {
  const auto take = [&variable](const std::string& text) { variable = text; };
  return {std::move(name), std::move(value), std::move(brief), take};
}

Option Number(std::string name, int& variable, int smallest, int largest, std::string brief) {
  const auto take = [&variable, name, smallest, largest](const std::string& text) {
    const auto number = ParseNumber(text, largest);
    if (!number || *number < smallest) {
      throw UsageError(name + ": invalid number '" + text + "'; expected " +
                       std::to_string(smallest) + " to " + std::to_string(largest));
    }
    variable = static_cast<int>(*number);
  };
  return {std::move(name), "N", std::move(brief), take};
}

std::function<void(const std::vector<std::string>&)> TakeWords(
    std::vector<std::string> names, std::vector<std::reference_wrapper<std::string>> variables) {
  return [names = std::move(names),
          variables = std::move(variables)](const std::vector<std::string>& words) {
    if (words.size() < names.size()) throw UsageError("missing " + names[words.size()]);
    if (words.size() > names.size()) {
      throw UsageError("unexpected argument '" + words[names.size()] + "'");
    }
    for (std::size_t i = 0; i < words.size(); ++i) {
      RefuseEmptyNames(names[i], {words[i]});
      variables[i].get() = words[i];
    }
  };
}

void RefuseEmptyNames(const std::string& argument, const std::vector<std::string>& words) {
  if (words.empty()) throw UsageError("missing " + argument);
  for (const std::string& word : words) {
    if (word.empty()) throw UsageError(argument + ": empty name");
  }
}

std::vector<std::string> NamesOf(const Option& option) {
  std::vector<std::string> names;
  if (!option.shortName.empty()) names.push_back(option.shortName);
  names.push_back(option.name);
  names.insert(names.end(), option.aliases.begin(), option.aliases.end());
  return names;
}

std::vector<const Option*> OptionsOf(const Command& command) {
  std::vector<const Option*> options;
  for (const OptionGroup& group : command.groups) {
    for (const Option& option : group.options) options.push_back(&option);
  }
  return options;
}

std::vector<std::string> NamesOf(const std::vector<Command>& commands) {
  std::vector<std::string> names;
  std::ranges::transform(commands, std::back_inserter(names), &Command::name);
  return names;
}

namespace {

using Words = std::span<const char* const>;

// Includes 'help', which has no Command: this file answers it.
std::vector<std::string> CommandWords(const std::vector<Command>& commands) {
  auto words = NamesOf(commands);
  words.emplace_back("help");
  return words;
}

const Command& FindCommand(const std::vector<Command>& commands, const std::string& name) {
  const auto found = std::ranges::find(commands, name, &Command::name);
  if (found != commands.end()) return *found;
  const auto names = CommandWords(commands);
  throw UsageError("unknown command '" + name + "'" + Suggest(name, names) + "; the commands are " +
                   JoinWords(names));
}

// Returns the option that `word` begins with: "--name", "--name=VALUE", "-n" or "-nVALUE".
const Option& RequireOption(const Command& command, const std::string& word) {
  const bool isLong = word.starts_with("--");
  const std::string name = isLong ? word.substr(0, word.find('=')) : word.substr(0, 2);
  std::vector<std::string> known;
  for (const Option* option : OptionsOf(command)) {
    const auto names = NamesOf(*option);
    if (std::ranges::find(names, name) != names.end()) return *option;
    known.insert(known.end(), names.begin(), names.end());
  }
  if (isLong) throw UsageError("unknown option " + name + Suggest(name, known));
  if (word == "-i") throw UsageError("unknown option -i; inputs are named without it");
  throw UsageError("unknown option " + word + "; for a file of that name write ./" + word);
}

// Rejects misspelt and repeated options and missing values first: the parser would take the value
// of a misspelt option for a file, and the next option for a missing value.
void CheckOptionNames(const Command& command, Words words) {
  std::set<std::string> given;
  for (std::size_t i = 0; i < words.size(); ++i) {
    const std::string word = words[i];
    if (word == "--") return;
    if (word == "-h" || word == "--help" || word == "-" || !word.starts_with("-")) continue;
    const Option& option = RequireOption(command, word);
    const auto names = NamesOf(option);
    const bool holdsValue = std::ranges::find(names, word) == names.end();
    if (option.value.empty()) continue;
    if (!given.insert(option.name).second && !option.mayRepeat) {
      throw UsageError(option.name + " is given twice; remove one of them");
    }
    if (holdsValue) continue;
    ++i;
    if (i == words.size() || std::string_view(words[i]).starts_with("--")) {
      throw UsageError(word + " needs a value: " + OptionUsage(option));
    }
  }
}

void TakeValue(const Option& option, const std::string& value) {
  if (option.choices.empty()) return option.take(value);
  const std::string choice = FindSynonym(option.synonyms, ToLower(value));
  if (std::ranges::find(option.choices, choice) == option.choices.end()) {
    throw UsageError(option.name + ": invalid value '" + value + "'" +
                     Suggest(value, option.choices) + "; choose one of " +
                     JoinWords(option.choices));
  }
  option.take(choice);
}

void AddOption(CLI::App& app, const Option& option) {
  const std::string names = Join(NamesOf(option), ",");
  if (option.value.empty()) {
    app.add_flag_function(names, [&option](std::int64_t) { option.take({}); });
  } else {
    const auto take = [&option](const std::vector<std::string>& values) {
      for (const std::string& value : values) TakeValue(option, value);
    };
    app.add_option_function<std::vector<std::string>>(names, take)->allow_extra_args(false);
  }
}

Request ParseCommand(const Command& command, Words words) {
  CLI::App app;
  for (const Option* option : OptionsOf(command)) AddOption(app, *option);
  std::vector<std::string> arguments;
  app.add_option("FILES", arguments);
  // CLI11 expects the words in reverse order.
  std::vector<std::string> reversed(words.rbegin(), words.rend());
  try {
    CheckOptionNames(command, words);
    app.parse(reversed);
    command.takeArguments(arguments);
    return {&command, {}};
  } catch (const CLI::CallForHelp&) {
    return {nullptr, CommandHelp(command)};
  } catch (const CLI::ParseError& error) {
    throw UsageError(command.name + ": " + error.what());
  } catch (const UsageError& error) {
    throw UsageError(command.name + ": " + error.what());
  }
}

Request Help(const std::vector<Command>& commands, Words words) {
  if (words.empty() || words.front() == std::string("help")) {
    return {nullptr, ProgramHelp(commands)};
  }
  return {nullptr, CommandHelp(FindCommand(commands, words.front()))};
}

}  // namespace

Request ParseCommandLine(const std::vector<Command>& commands,
                         const std::function<std::string()>& version, int argc,
                         const char* const* argv) {
  const Words words = Words(argv, static_cast<std::size_t>(argc)).subspan(1);
  if (words.empty()) {
    throw UsageError("missing command; the commands are " + JoinWords(CommandWords(commands)));
  }
  const std::string first = words.front();
  const Words rest = words.subspan(1);
  if (first == "help" || first == "--help" || first == "-h") return Help(commands, rest);
  if (first == "--version") return {nullptr, version()};
  if (first.starts_with("-")) throw UsageError("write the command before '" + first + "'");
  return ParseCommand(FindCommand(commands, first), rest);
}

}  // namespace vixprores
