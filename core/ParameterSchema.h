// SPDX-License-Identifier: BSD-2-Clause
#ifndef CORE_PARAMETERSCHEMA_H
#define CORE_PARAMETERSCHEMA_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <type_traits>
#include <variant>
#include <vector>

#include "vix/Parameters.h"
#include "vix/Types.h"

namespace vix {

/// Value of a parameter; its alternative is the parameter's type.
using ParameterValue =
    std::variant<bool, std::int32_t, std::string, FourCC, ProResCodecVariant, ElementFactoryType,
                 std::shared_ptr<const IParametersCollectionPrototype>>;

template <typename T, typename... Types>
constexpr std::size_t IndexOfType(std::type_identity<std::variant<Types...>>) {
  std::size_t index = 0;
  static_cast<void>(((std::is_same_v<T, Types> || (++index, false)) || ...));
  return index;
}

/// Parameter type of values of type T: the index of the alternative in ParameterValue.
template <typename T>
inline constexpr std::size_t kParameterType = IndexOfType<T>(std::type_identity<ParameterValue>());

/// One declared parameter.
struct ParameterDeclaration {
  std::string name;
  std::size_t type;  ///< a kParameterType
  std::optional<ParameterValue> defaultValue;
  std::vector<ParameterValue> allowedValues;  ///< empty = any value of the type
  std::string description;
};

/// Returns a declaration without default that allows any value.
template <typename T>
ParameterDeclaration DeclareParameter(const std::string& name, const std::string& description) {
  return {name, kParameterType<T>, std::nullopt, {}, description};
}

/// The core's schema. Any thread may use it: each declaration makes a new list, so the lists that
/// readers hold do not change.
class ParameterSchema final : public IParametersCollectionPrototype {
 public:
  using Declarations = std::vector<ParameterDeclaration>;

  void AddParameterBool(const std::string& name, bool defaultValue,
                        const std::string& description) override;
  void AddParameterInt(const std::string& name, int defaultValue,
                       const std::string& description) override;
  void AddParameterString(const std::string& name, const std::string& defaultValue,
                          const std::string& description) override;
  void AddParameterFourCC(const std::string& name, const std::vector<FourCC>& allowedValues,
                          const std::string& description) override;
  void AddParameterProResCodecVariant(const std::string& name, ProResCodecVariant defaultValue,
                                      const std::string& description) override;
  std::vector<ParameterDescription> GetDescriptions() const override;

  /// Rejects a name that is already declared.
  void Declare(ParameterDeclaration declaration);
  /// Returns the declarations made so far, in order.
  std::shared_ptr<const Declarations> GetDeclarations() const;

 private:
  template <typename T>
  void DeclareWithDefault(const std::string& name, const T& defaultValue,
                          const std::string& description);

  mutable std::mutex mutex_;
  std::shared_ptr<const Declarations> declarations_ = std::make_shared<Declarations>();
};

}  // namespace vix

#endif  // CORE_PARAMETERSCHEMA_H
