// SPDX-License-Identifier: BSD-2-Clause
#include "cli/Command.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "base/Errors.h"
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

}  // namespace vixprores
