// SPDX-License-Identifier: BSD-2-Clause
#include <cstdio>
#include <string>
#include <vector>

#include "base/Errors.h"
#include "cli/Commands.h"
#include "cli/Options.h"
#include "run/Host.h"
#include "vix/Parameters.h"
#include "vix/Registry.h"

namespace vixprores {
namespace {

// Returns text like "UYVY V210" or "any".
std::string DescribeAllowed(const std::vector<std::string>& values) {
  if (values.empty()) return " any";
  std::string text;
  for (const std::string& value : values) text += " " + value;
  return text;
}

std::string DescribeParameter(const vix::ParameterDescription& parameter) {
  const auto& value = parameter.defaultValue;
  return "  " + parameter.name + " (" + parameter.type +
         ")\n      default: " + (value ? '"' + *value + '"' : "none") +
         "\n      allowed:" + DescribeAllowed(parameter.allowedValues) + "\n      " +
         parameter.description + "\n";
}

std::string DescribeElements() {
  std::string text;
  for (const auto& entry : vix::GetRegistryEntries()) {
    if (!text.empty()) text += "\n";
    text += vix::GetLabel(entry->GetElementFactoryType("class")) + "  implementation \"" +
            entry->GetString("implementation") + "\"  type \"" + entry->GetString("type") + "\"\n";
    const auto schema = entry->GetParametersCollectionPrototype("init_config");
    const auto parameters = vix::NameEnumerators(schema->GetDescriptions());
    for (const auto& parameter : parameters) text += DescribeParameter(parameter);
    if (parameters.empty()) text += "  no parameters\n";
  }
  return text;
}

Command DescribeElements(HostOptions& options) {
  Command command;
  command.name = "elements";
  command.summary = "List the registered elements and their parameters";
  command.description =
      "Loads the plug-ins and prints each element that they register, with the name, type, default "
      "and allowed values of every parameter.";
  command.usages = {"[OPTION]..."};
  command.takeArguments = TakeWords({}, {});
  command.groups = {HostGroup(options)};
  command.examples = {{"vixprores elements", "List the elements of the installed plug-ins."}};
  return command;
}

int RunElements(const HostOptions& options) {
  SetUpMessages(options);
  const auto plugins = LoadProResPlugins(options.plugin);
  std::fputs(DescribeElements().c_str(), stdout);
  return kExitDone;
}

}  // namespace

Command MakeElementsCommand() {
  return BindOptions(DescribeElements, RunElements);
}

}  // namespace vixprores
