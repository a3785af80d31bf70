// SPDX-License-Identifier: BSD-2-Clause
#include "vix/Parameters.h"

#include <algorithm>
#include <cstddef>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

#include "FourCCText.h"
#include "ParameterSchema.h"

namespace vix {
namespace {

using Schema = std::shared_ptr<const IParametersCollectionPrototype>;

/// Names of the parameter types, in the order of ParameterValue's alternatives.
constexpr const char* kTypeNames[] = {
    "bool", "int", "string", "FourCC", "ProResCodecVariant", "ElementFactoryType", "schema"};
static_assert(std::size(kTypeNames) == std::variant_size_v<ParameterValue>);

/// Formats a value as a user would type it.
struct PlainText {
  std::string operator()(bool value) const { return value ? "true" : "false"; }
  std::string operator()(std::int32_t value) const { return std::to_string(value); }
  std::string operator()(const std::string& value) const { return value; }
  std::string operator()(FourCC value) const { return FourCCCharacters(value); }
  std::string operator()(const Schema& /*value*/) const { return "a schema"; }
  template <typename Enum>
  requires std::is_enum_v<Enum> std::string operator()(Enum value) const {
    return std::to_string(static_cast<std::int32_t>(value));
  }
};

/// Formats a value for messages.
struct MessageText : PlainText {
  using PlainText::operator();
  std::string operator()(const std::string& value) const { return '"' + value + '"'; }
  std::string operator()(FourCC value) const { return FourCCText(value); }
};

/// Joins the texts of the items with commas.
template <typename Items, typename Text>
std::string Join(const Items& items, Text text) {
  std::string joined;
  for (const auto& item : items) joined += (joined.empty() ? "" : ", ") + text(item);
  return joined;
}

std::string JoinValues(const std::vector<ParameterValue>& values) {
  return Join(values, [](const ParameterValue& value) { return std::visit(MessageText(), value); });
}

std::string JoinNames(const ParameterSchema::Declarations& declarations) {
  return Join(declarations,
              [](const ParameterDeclaration& declaration) { return '"' + declaration.name + '"'; });
}

ParameterDescription Describe(const ParameterDeclaration& declaration) {
  ParameterDescription description;
  description.name = declaration.name;
  description.type = kTypeNames[declaration.type];
  description.description = declaration.description;
  if (declaration.defaultValue) {
    description.defaultValue = std::visit(PlainText(), *declaration.defaultValue);
  }
  for (const ParameterValue& value : declaration.allowedValues) {
    description.allowedValues.push_back(std::visit(PlainText(), value));
  }
  return description;
}

/// Returns the position of `name`, or the number of declarations if it is missing.
std::size_t IndexOf(const ParameterSchema::Declarations& declarations, const std::string& name) {
  const auto found = std::find_if(
      declarations.begin(), declarations.end(),
      [&](const ParameterDeclaration& declaration) { return declaration.name == name; });
  return static_cast<std::size_t>(found - declarations.begin());
}

/// The core's value set.
class ParameterSet final : public IParametersCollectionInstance {
 public:
  explicit ParameterSet(std::shared_ptr<const ParameterSchema> schema)
      : schema_(std::move(schema)),
        declarations_(schema_->GetDeclarations()),
        values_(declarations_->size()) {}

  bool GetBool(const std::string& name) const override { return Get<bool>(name); }
  std::int32_t GetInt(const std::string& name) const override { return Get<std::int32_t>(name); }
  std::string GetString(const std::string& name) const override { return Get<std::string>(name); }
  FourCC GetFourCC(const std::string& name) const override { return Get<FourCC>(name); }
  ProResCodecVariant GetProResCodecVariant(const std::string& name) const override {
    return Get<ProResCodecVariant>(name);
  }
  ElementFactoryType GetElementFactoryType(const std::string& name) const override {
    return Get<ElementFactoryType>(name);
  }
  Schema GetParametersCollectionPrototype(const std::string& name) const override {
    return Get<Schema>(name);
  }

  bool HasString(const std::string& name) const override { return Has<std::string>(name); }
  bool HasFourCC(const std::string& name) const override { return Has<FourCC>(name); }

  void SetBool(const std::string& name, bool value) override { Set(name, value); }
  void SetInt(const std::string& name, std::int32_t value) override { Set(name, value); }
  void SetString(const std::string& name, const std::string& value) override { Set(name, value); }
  void SetFourCC(const std::string& name, FourCC value) override { Set(name, value); }
  void SetProResCodecVariant(const std::string& name, ProResCodecVariant value) override {
    Set(name, value);
  }
  void SetElementFactoryType(const std::string& name, ElementFactoryType value) override {
    Set(name, value);
  }
  void SetParametersCollectionPrototype(const std::string& name, Schema value) override {
    if (!value) throw VIXRuntimeError("Parameter \"" + name + "\" cannot be set to null");
    Set(name, std::move(value));
  }

  Schema GetPrototype() const override { return schema_; }

 private:
  std::size_t Find(const std::string& name) const {
    const std::size_t index = IndexOf(*declarations_, name);
    if (index == declarations_->size()) {
      throw VIXRuntimeError("Unknown parameter \"" + name +
                            "\"; known: " + (index == 0 ? "none" : JoinNames(*declarations_)));
    }
    return index;
  }

  template <typename T>
  std::size_t FindForReading(const std::string& name) const {
    const std::size_t index = Find(name);
    const std::size_t declared = (*declarations_)[index].type;
    if (declared != kParameterType<T>) {
      throw VIXRuntimeError("Parameter \"" + name + "\" is of type " + kTypeNames[declared] +
                            " and cannot be read as " + kTypeNames[kParameterType<T>]);
    }
    return index;
  }

  template <typename T>
  T Get(const std::string& name) const {
    const std::size_t index = FindForReading<T>(name);
    const auto& value = values_[index] ? values_[index] : (*declarations_)[index].defaultValue;
    if (!value) {
      throw VIXRuntimeError("Parameter \"" + name + "\" has no value: it was not set and has no " +
                            "default");
    }
    return std::get<T>(*value);
  }

  template <typename T>
  bool Has(const std::string& name) const {
    return values_[FindForReading<T>(name)].has_value();
  }

  void Set(const std::string& name, ParameterValue value) {
    const std::size_t index = Find(name);
    const ParameterDeclaration& declaration = (*declarations_)[index];
    const auto reject = [&](const std::string& reason) {
      throw VIXRuntimeError("Parameter \"" + name + "\" cannot be set to " +
                            std::visit(MessageText(), value) + reason);
    };
    if (value.index() != declaration.type) {
      reject(std::string(", of type ") + kTypeNames[value.index()] + "; its type is " +
             kTypeNames[declaration.type]);
    }
    const std::vector<ParameterValue>& allowed = declaration.allowedValues;
    if (!allowed.empty() && std::find(allowed.begin(), allowed.end(), value) == allowed.end()) {
      reject("; allowed: " + JoinValues(allowed));
    }
    values_[index] = std::move(value);
  }

  std::shared_ptr<const ParameterSchema> schema_;
  std::shared_ptr<const ParameterSchema::Declarations> declarations_;
  std::vector<std::optional<ParameterValue>> values_;  ///< one per declaration
};

}  // namespace

template <typename T>
void ParameterSchema::DeclareWithDefault(const std::string& name, const T& defaultValue,
                                         const std::string& description) {
  ParameterDeclaration declaration = DeclareParameter<T>(name, description);
  declaration.defaultValue = defaultValue;
  Declare(std::move(declaration));
}

void ParameterSchema::AddParameterBool(const std::string& name, bool defaultValue,
                                       const std::string& description) {
  DeclareWithDefault(name, defaultValue, description);
}

void ParameterSchema::AddParameterInt(const std::string& name, int defaultValue,
                                      const std::string& description) {
  DeclareWithDefault(name, defaultValue, description);
}

void ParameterSchema::AddParameterString(const std::string& name, const std::string& defaultValue,
                                         const std::string& description) {
  DeclareWithDefault(name, defaultValue, description);
}

void ParameterSchema::AddParameterFourCC(const std::string& name,
                                         const std::vector<FourCC>& allowedValues,
                                         const std::string& description) {
  ParameterDeclaration declaration = DeclareParameter<FourCC>(name, description);
  declaration.allowedValues.assign(allowedValues.begin(), allowedValues.end());
  Declare(std::move(declaration));
}

void ParameterSchema::AddParameterProResCodecVariant(const std::string& name,
                                                     ProResCodecVariant defaultValue,
                                                     const std::string& description) {
  DeclareWithDefault(name, defaultValue, description);
}

std::vector<ParameterDescription> ParameterSchema::GetDescriptions() const {
  const auto declarations = GetDeclarations();  // held: another thread may declare meanwhile
  std::vector<ParameterDescription> descriptions;
  for (const ParameterDeclaration& declaration : *declarations) {
    descriptions.push_back(Describe(declaration));
  }
  return descriptions;
}

void ParameterSchema::Declare(ParameterDeclaration declaration) {
  const std::lock_guard lock(mutex_);
  const std::size_t index = IndexOf(*declarations_, declaration.name);
  if (index != declarations_->size()) {
    throw VIXRuntimeError("Parameter \"" + declaration.name + "\" is already declared as " +
                          kTypeNames[(*declarations_)[index].type]);
  }
  auto extended = std::make_shared<Declarations>(*declarations_);
  extended->push_back(std::move(declaration));
  declarations_ = std::move(extended);
}

std::shared_ptr<const ParameterSchema::Declarations> ParameterSchema::GetDeclarations() const {
  const std::lock_guard lock(mutex_);
  return declarations_;
}

std::shared_ptr<IParametersCollectionPrototype> CreateParametersCollectionPrototype() {
  return std::make_shared<ParameterSchema>();
}

std::shared_ptr<IParametersCollectionInstance> CreateParametersCollectionInstance(
    std::shared_ptr<const IParametersCollectionPrototype> prototype) {
  if (!prototype) throw VIXRuntimeError("CreateParametersCollectionInstance got a null schema");
  auto schema = std::dynamic_pointer_cast<const ParameterSchema>(std::move(prototype));
  if (!schema)
    throw VIXRuntimeError("CreateParametersCollectionInstance got the schema of another core");
  return std::make_shared<ParameterSet>(std::move(schema));
}

}  // namespace vix
