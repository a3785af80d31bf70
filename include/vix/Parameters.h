// SPDX-License-Identifier: BSD-2-Clause
#ifndef VIX_PARAMETERS_H
#define VIX_PARAMETERS_H

/// @file
/// Configuration: a prototype (schema) declares parameters, an instance holds their values.
///
/// A wrong name, a wrong type or a value that is not allowed causes a VIXRuntimeError that names
/// the parameter, the value and the allowed values.
///
/// Plug-ins rely on the pure virtual operations only. The other operations serve host programs and
/// throw a VIXRuntimeError unless an implementation overrides them.

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "vix/Error.h"
#include "vix/Export.h"
#include "vix/Types.h"

namespace vix {

/// Throws: the implementation does not override this operation.
[[noreturn]] inline void RefuseParameterOperation(const char* operation) {
  throw VIXRuntimeError(std::string("These parameters do not support ") + operation);
}

/// A declared parameter as text, for user interfaces.
struct ParameterDescription {
  std::string name;                         ///< key of the getters and setters
  std::string type;                         ///< "bool", "int", "string", "FourCC", ...
  std::optional<std::string> defaultValue;  ///< nullopt if declared without a default
  std::vector<std::string> allowedValues;   ///< empty = any value of the type
  std::string description;                  ///< purpose
};

/// Schema of a set of parameters. One thread builds it; any number of threads may share it as
/// const. An instance has the parameters that were declared when it was made.
class VIX_API IParametersCollectionPrototype {
 public:
  virtual ~IParametersCollectionPrototype() = default;

  /// Declares one parameter. Rejects a name that is already declared.
  /// @{
  virtual void AddParameterBool(const std::string& name, bool defaultValue,
                                const std::string& description) = 0;
  virtual void AddParameterInt(const std::string& name, int defaultValue,
                               const std::string& description) = 0;
  virtual void AddParameterString(const std::string& name, const std::string& defaultValue,
                                  const std::string& description) = 0;
  /// @}
  /// Declares one parameter without a default. Rejects a name that is already declared.
  virtual void AddParameterFourCC(const std::string& name, const std::vector<FourCC>& allowedValues,
                                  const std::string& description) = 0;
  /// Declares one parameter. Rejects a name that is already declared.
  virtual void AddParameterProResCodecVariant(const std::string& name,
                                              ProResCodecVariant defaultValue,
                                              const std::string& description) = 0;

  /// Returns the parameters in the order of their declaration.
  virtual std::vector<ParameterDescription> GetDescriptions() const {
    RefuseParameterOperation("GetDescriptions");
  }
};

/// Values of the parameters of one prototype. A getter returns the value that was set, otherwise
/// the declared default, and throws if there is neither. One thread builds an instance; any number
/// of threads may share it as const.
class VIX_API IParametersCollectionInstance {
 public:
  virtual ~IParametersCollectionInstance() = default;

  /// Returns the value that was set, otherwise the declared default.
  /// @{
  virtual bool GetBool(const std::string& name) const = 0;
  virtual std::int32_t GetInt(const std::string& name) const = 0;
  virtual std::string GetString(const std::string& name) const = 0;
  /// @}
  /// Sets a value.
  virtual void SetString(const std::string& name, const std::string& value) = 0;
  /// Returns true if a value was set on this instance; a default does not count.
  virtual bool HasString(const std::string& name) const = 0;
  /// Returns the value that was set; there is no default.
  virtual FourCC GetFourCC(const std::string& name) const = 0;
  /// Returns true if a value was set on this instance.
  virtual bool HasFourCC(const std::string& name) const = 0;
  /// Returns the value that was set, otherwise the declared default.
  virtual ProResCodecVariant GetProResCodecVariant(const std::string& name) const = 0;
  /// Sets a schema; rejects null.
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
  /// Returns the value that was set, otherwise the declared default.
  /// @{
  virtual std::shared_ptr<const IParametersCollectionPrototype> GetParametersCollectionPrototype(
      const std::string& /*name*/) const {
    RefuseParameterOperation("GetParametersCollectionPrototype");
  }
  virtual ElementFactoryType GetElementFactoryType(const std::string& /*name*/) const {
    RefuseParameterOperation("GetElementFactoryType");
  }
  /// @}
  /// Returns the schema of this instance.
  virtual std::shared_ptr<const IParametersCollectionPrototype> GetPrototype() const {
    RefuseParameterOperation("GetPrototype");
  }
};

/// Creates an empty schema.
VIX_API std::shared_ptr<IParametersCollectionPrototype> CreateParametersCollectionPrototype();
/// Creates an instance of `prototype` in which no value is set. Rejects null and a prototype that
/// another core made.
VIX_API std::shared_ptr<IParametersCollectionInstance> CreateParametersCollectionInstance(
    std::shared_ptr<const IParametersCollectionPrototype> prototype);

/// Returns descriptions with the names of enumerators ("HQ") in place of their numbers, and with
/// every enumerator as an allowed value, for user interfaces.
VIX_API std::vector<ParameterDescription> NameEnumerators(
    std::vector<ParameterDescription> parameters);

}  // namespace vix

#endif  // VIX_PARAMETERS_H
