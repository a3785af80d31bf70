// SPDX-License-Identifier: BSD-2-Clause
#include "driver/Settings.h"

#include <algorithm>
#include <string_view>

#include "vix/Buffers.h"
#include "vix/Error.h"
#include "vix/Registry.h"

namespace vix {
namespace {

constexpr std::string_view kVariantType = "ProResCodecVariant";
constexpr std::string_view kThreadsName = "NumThreads";

constexpr ProResCodecVariant kVariants[] = {ProResCodecVariant::Proxy, ProResCodecVariant::LT,
                                            ProResCodecVariant::Standard, ProResCodecVariant::HQ};

/// Parameters whose change requires something else than a new definition.
struct EffortOf {
  std::string_view name;
  Effort effort;
};
constexpr EffortOf kEfforts[] = {
    {kAllocatorParameter, Effort::Configure},  // read when the element is configured
    {"OutputFourCC", Effort::Reopen},          // fixed while the codec library's decoder is open
    {"SkipField", Effort::Reopen},             //
    {kThreadsName, Effort::Remake},            // fixed while the codec library's encoder is open
};

Effort FindEffort(const std::string& name) {
  const auto* const found = std::ranges::find(kEfforts, name, &EffortOf::name);
  return found == std::end(kEfforts) ? Effort::Define : found->effort;
}

std::string JoinVariants() {
  std::string names;
  for (const ProResCodecVariant variant : kVariants) {
    names += (names.empty() ? "" : ", ") + GetLabel(variant);
  }
  return names;
}

[[noreturn]] void Reject(ErrorCode code, const std::string& name, const std::string& value,
                         const std::string& allowed) {
  throw VIXError(code, "the value " + value + " of \"" + name + "\"; allowed: " + allowed);
}

}  // namespace

Settings::Settings(const IParametersCollectionPrototype& schema,
                   const IParametersCollectionInstance& config) {
  for (const ParameterDescription& parameter : schema.GetDescriptions()) {
    settings_.push_back({parameter.name, Read(parameter, config)});
    Check(settings_.back());
  }
}

Settings::Value Settings::Read(const ParameterDescription& parameter,
                               const IParametersCollectionInstance& config) {
  const std::string& name = parameter.name;
  if (parameter.type == "bool") return config.GetBool(name);
  if (parameter.type == "int") return config.GetInt(name);
  if (parameter.type == kVariantType) return config.GetProResCodecVariant(name);
  // A declared default of these is not the same as a value that was set.
  if (parameter.type == "string" && config.HasString(name)) return config.GetString(name);
  if (parameter.type == "FourCC" && config.HasFourCC(name)) return config.GetFourCC(name);
  return {};
}

void Settings::Check(const Setting& setting) {
  const auto& [name, value] = setting;
  if (const auto* threads = std::get_if<std::int32_t>(&value)) {
    if (name == kThreadsName && (*threads < 0 || *threads > kMostThreads)) {
      Reject(ErrorCode::BadArgument, name, std::to_string(*threads),
             "0 to " + std::to_string(kMostThreads));
    }
  } else if (const auto* variant = std::get_if<ProResCodecVariant>(&value)) {
    if (std::ranges::find(kVariants, *variant) == std::end(kVariants)) {
      Reject(ErrorCode::BadArgument, name, GetLabel(*variant), JoinVariants());
    }
  } else if (const auto* allocator = std::get_if<std::string>(&value)) {
    if (name == kAllocatorParameter && !GetAllocator(*allocator)) {
      Reject(ErrorCode::NotFound, name, '"' + *allocator + '"',
             "\"ExtBufferAllocator\" after SetExtBufferCallbacks, or no value");
    }
  }
}

void Settings::Apply(IParametersCollectionInstance& config) const {
  struct Setter {
    void operator()(std::monostate) const {}
    void operator()(bool value) const { config.SetBool(name, value); }
    void operator()(std::int32_t value) const { config.SetInt(name, value); }
    void operator()(const std::string& value) const { config.SetString(name, value); }
    void operator()(FourCC value) const { config.SetFourCC(name, value); }
    void operator()(ProResCodecVariant value) const { config.SetProResCodecVariant(name, value); }

    IParametersCollectionInstance& config;
    const std::string& name;
  };
  for (const auto& [name, value] : settings_) std::visit(Setter{config, name}, value);
}

bool Settings::IsSet(const std::string& name) const {
  const Value* const value = Find(name);
  return value != nullptr && !std::holds_alternative<std::monostate>(*value);
}

bool Settings::IsTrue(const std::string& name) const {
  const Value* const value = Find(name);
  return value != nullptr && *value == Value(true);
}

const Settings::Value* Settings::Find(const std::string& name) const {
  const auto found = std::ranges::find(settings_, name, &Setting::name);
  return found == settings_.end() ? nullptr : &found->value;
}

Effort Settings::ChangeFrom(const Settings& before) const {
  Effort effort = Effort::Configure;
  for (std::size_t i = 0; i < settings_.size(); ++i) {
    const auto& [name, value] = settings_[i];
    if (value == before.settings_.at(i).value) continue;
    // An element keeps a value that the new configuration does not set.
    const bool isUnset = std::holds_alternative<std::monostate>(value);
    const bool isKept = isUnset && FindEffort(name) > Effort::Configure;
    effort = std::max(effort, isKept ? Effort::Remake : FindEffort(name));
  }
  return effort;
}

std::vector<ParameterDescription> NameEnumerators(std::vector<ParameterDescription> parameters) {
  for (ParameterDescription& parameter : parameters) {
    if (parameter.type != kVariantType) continue;
    for (const ProResCodecVariant variant : kVariants) {
      const std::string number = std::to_string(static_cast<std::int32_t>(variant));
      if (parameter.defaultValue == number) parameter.defaultValue = GetLabel(variant);
      parameter.allowedValues.push_back(GetLabel(variant));
    }
  }
  return parameters;
}

}  // namespace vix
