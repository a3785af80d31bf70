// SPDX-License-Identifier: BSD-2-Clause
#ifndef VIX_PARAMETERS_H
#define VIX_PARAMETERS_H

/// @file
/// Configuration: a prototype declares parameters, an instance holds values for them.
///
/// A wrong name, a wrong type or a value outside the allowed list is refused with a
/// VIXRuntimeError that names the key, the value and what is allowed.
///
/// The pure operations are what plug-ins rely on. Those behind them serve host programs; an
/// implementation that offers only the former inherits a refusal for the latter.

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "vix/Error.h"
#include "vix/Export.h"
#include "vix/Types.h"

namespace vix {

/// What the operations that only host programs need answer where an implementation lacks them.
[[noreturn]] inline void RefuseParameterOperation(const char* operation) {
  throw VIXRuntimeError(std::string("These parameters do not offer ") + operation);
}

/// One declared parameter, in words, for host programs that show it.
struct ParameterDescription {
  std::string name;                         ///< key of the getters and setters
  std::string type;                         ///< "bool", "int", "string", "FourCC", ...
  std::optional<std::string> defaultValue;  ///< none when declared without a default
  std::vector<std::string> allowedValues;   ///< empty = any value of the type
  std::string description;                  ///< what it is for
};

/// Schema of a set of parameters. Built by one thread, then shared as const. What is declared after
/// an instance was made does not reach that instance.
class VIX_API IParametersCollectionPrototype {
 public:
  virtual ~IParametersCollectionPrototype() = default;

  /// Declares one parameter; a name may be declared once.
  /// @{
  virtual void AddParameterBool(const std::string& name, bool defaultValue,
                                const std::string& description) = 0;
  virtual void AddParameterInt(const std::string& name, int defaultValue,
                               const std::string& description) = 0;
  virtual void AddParameterString(const std::string& name, const std::string& defaultValue,
                                  const std::string& description) = 0;
  /// @}
  /// Declared without a default: an instance reports a value only after one was set.
  virtual void AddParameterFourCC(const std::string& name, const std::vector<FourCC>& allowedValues,
                                  const std::string& description) = 0;
  /// Declares one parameter; a name may be declared once.
  virtual void AddParameterProResCodecVariant(const std::string& name,
                                              ProResCodecVariant defaultValue,
                                              const std::string& description) = 0;

  /// The declared parameters in the order of their declaration.
  virtual std::vector<ParameterDescription> GetDescriptions() const {
    RefuseParameterOperation("GetDescriptions");
  }
};

/// Values for the parameters of one prototype. A getter reports the value that was set, else the
/// declared default, else it refuses. Built by one thread, then shared as const.
class VIX_API IParametersCollectionInstance {
 public:
  virtual ~IParametersCollectionInstance() = default;

  /// The value that was set, else the declared default.
  /// @{
  virtual bool GetBool(const std::string& name) const = 0;
  virtual std::int32_t GetInt(const std::string& name) const = 0;
  virtual std::string GetString(const std::string& name) const = 0;
  /// @}
  /// Sets a value.
  virtual void SetString(const std::string& name, const std::string& value) = 0;
  /// True only when a value was set on this instance: a declared default does not count.
  virtual bool HasString(const std::string& name) const = 0;
  /// The value that was set; there is no default.
  virtual FourCC GetFourCC(const std::string& name) const = 0;
  /// True only when a value was set on this instance.
  virtual bool HasFourCC(const std::string& name) const = 0;
  /// The value that was set, else the declared default.
  virtual ProResCodecVariant GetProResCodecVariant(const std::string& name) const = 0;
  /// Refuses null.
  virtual void SetParametersCollectionPrototype(
      const std::string& name, std::shared_ptr<const IParametersCollectionPrototype> value) = 0;
  /// Sets a value.
  virtual void SetElementFactoryType(const std::string& name, ElementFactoryType value) = 0;

  /// Sets a value.
  /// @{
  virtual void SetBool(const std::string& /*name*/, bool /*value*/) {
    RefuseParameterOperation("SetBool");
  }
  virtual void SetInt(const std::string& /*name*/, std::int32_t /*value*/) {
    RefuseParameterOperation("SetInt");
  }
  virtual void SetFourCC(const std::string& /*name*/, FourCC /*value*/) {
    RefuseParameterOperation("SetFourCC");
  }
  virtual void SetProResCodecVariant(const std::string& /*name*/, ProResCodecVariant /*value*/) {
    RefuseParameterOperation("SetProResCodecVariant");
  }
  /// @}
  /// The value that was set, else the declared default.
  /// @{
  virtual std::shared_ptr<const IParametersCollectionPrototype> GetParametersCollectionPrototype(
      const std::string& /*name*/) const {
    RefuseParameterOperation("GetParametersCollectionPrototype");
  }
  virtual ElementFactoryType GetElementFactoryType(const std::string& /*name*/) const {
    RefuseParameterOperation("GetElementFactoryType");
  }
  /// @}
  /// The schema that this instance was made for.
  virtual std::shared_ptr<const IParametersCollectionPrototype> GetPrototype() const {
    RefuseParameterOperation("GetPrototype");
  }
};

/// A new, empty schema.
VIX_API std::shared_ptr<IParametersCollectionPrototype> CreateParametersCollectionPrototype();
/// A new value set in which every parameter of `prototype` reports its declared default.
/// Refuses a null prototype and one that this core did not make.
VIX_API std::shared_ptr<IParametersCollectionInstance> CreateParametersCollectionInstance(
    std::shared_ptr<const IParametersCollectionPrototype> prototype);

}  // namespace vix

#endif  // VIX_PARAMETERS_H
