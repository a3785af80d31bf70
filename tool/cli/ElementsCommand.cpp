// SPDX-License-Identifier: BSD-2-Clause
#include <cstdio>

#include "base/Errors.h"
#include "cli/BindOptions.h"
#include "cli/Commands.h"
#include "run/Options.h"
#include "run/PluginSearch.h"
#include "vix/Registry.h"

namespace vixprores {
namespace {

std::string DescribeParameter(const vix::ParameterDescription& parameter) {
  std::string text = "  " + parameter.name + " (" + parameter.type + ")\n";
  text += "      default: " +
          (parameter.defaultValue ? "\"" + *parameter.defaultValue + "\"" : "none") + "\n";
  text += "      allowed:";
  for (const std::string& value : parameter.allowedValues) text += " " + value;
  if (parameter.allowedValues.empty()) text += " any";
  return text + "\n      " + parameter.description + "\n";
}

std::string DescribeElements() {
  std::string text;
  for (const auto& entry : vix::GetRegistryEntries()) {
    if (!text.empty()) text += "\n";
    text += vix::GetLabel(entry->GetElementFactoryType("class")) + "  implementation \"" +
            entry->GetString("implementation") + "\"  type \"" + entry->GetString("type") + "\"\n";
    const auto schema = entry->GetParametersCollectionPrototype("init_config");
    const auto parameters = schema->GetDescriptions();
    for (const auto& parameter : parameters) text += DescribeParameter(parameter);
    if (parameters.empty()) text += "  no parameters\n";
  }
  return text;
}

Command Describe(HostOptions& options) {
  Command command;
  command.name = "elements";
  command.summary = "List the registered elements and their parameters";
  command.usages = {"[OPTION]..."};
  command.takeArguments = TakeWords({}, {});
  command.groups = {HostGroup(options)};
  command.examples = {{"vixprores elements", "The elements of the installed plug-in."}};
  return command;
}

int Run(const HostOptions& options) {
  SetUpMessages(options);
  const auto plugin = LoadProResPlugin(options.plugin);
  std::fputs(DescribeElements().c_str(), stdout);
  return kExitDone;
}

}  // namespace

Command MakeElementsCommand() {
  return BindOptions(Describe, Run);
}

}  // namespace vixprores
