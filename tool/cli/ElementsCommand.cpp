// SPDX-License-Identifier: BSD-2-Clause
#include <cstdio>
#include <string>
#include <vector>

#include "base/Errors.h"
#include "cli/Commands.h"
#include "cli/Options.h"
#include "run/Host.h"
#include "vix/Registry.h"
#include "vix/Types.h"

namespace vixprores {
namespace {

struct Enumerator {
  const char* type;
  vix::ProResCodecVariant value;
  const char* name;
};

// Names of the numbers that schemas hold for enumerations.
constexpr Enumerator kEnumerators[] = {
    {"ProResCodecVariant", vix::ProResCodecVariant::Proxy, "Proxy"},
    {"ProResCodecVariant", vix::ProResCodecVariant::LT, "LT"},
    {"ProResCodecVariant", vix::ProResCodecVariant::Standard, "Standard"},
    {"ProResCodecVariant", vix::ProResCodecVariant::HQ, "HQ"},
};

std::string NumberOf(const Enumerator& enumerator) {
  return std::to_string(static_cast<int>(enumerator.value));
}

// Returns text like "\"3\" (Standard)".
std::string DescribeDefault(const vix::ParameterDescription& parameter) {
  if (!parameter.defaultValue) return "none";
  std::string text = "\"" + *parameter.defaultValue + "\"";
  for (const Enumerator& enumerator : kEnumerators) {
    if (enumerator.type == parameter.type && NumberOf(enumerator) == *parameter.defaultValue) {
      text += std::string(" (") + enumerator.name + ")";
    }
  }
  return text;
}

// Returns text like "UYVY V210", "1 (Proxy) 2 (LT) ..." or "any".
std::string DescribeAllowed(const vix::ParameterDescription& parameter) {
  std::vector<std::string> values = parameter.allowedValues;
  if (values.empty()) {
    for (const Enumerator& enumerator : kEnumerators) {
      if (enumerator.type != parameter.type) continue;
      values.push_back(NumberOf(enumerator) + " (" + enumerator.name + ")");
    }
  }
  if (values.empty()) return " any";
  std::string text;
  for (const std::string& value : values) text += " " + value;
  return text;
}

std::string DescribeParameter(const vix::ParameterDescription& parameter) {
  return "  " + parameter.name + " (" + parameter.type +
         ")\n      default: " + DescribeDefault(parameter) +
         "\n      allowed:" + DescribeAllowed(parameter) + "\n      " + parameter.description +
         "\n";
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

Command DescribeElements(HostOptions& options) {
  Command command;
  command.name = "elements";
  command.summary = "List the registered elements and their parameters";
  command.description =
      "Loads the plug-in and prints each element that it registers, with the name, type, default "
      "and allowed values of every parameter.";
  command.usages = {"[OPTION]..."};
  command.takeArguments = TakeWords({}, {});
  command.groups = {HostGroup(options)};
  command.examples = {{"vixprores elements", "List the elements of the installed plug-in."}};
  return command;
}

int RunElements(const HostOptions& options) {
  SetUpMessages(options);
  const auto plugin = LoadProResPlugin(options.plugin);
  std::fputs(DescribeElements().c_str(), stdout);
  return kExitDone;
}

}  // namespace

Command MakeElementsCommand() {
  return BindOptions(DescribeElements, RunElements);
}

}  // namespace vixprores
