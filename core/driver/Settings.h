// SPDX-License-Identifier: BSD-2-Clause
#ifndef CORE_DRIVER_SETTINGS_H
#define CORE_DRIVER_SETTINGS_H

/// @file
/// The configuration of a driven element: a copy of the host's, and what a change of it requires.

#include <cstdint>
#include <memory>
#include <string>
#include <variant>
#include <vector>

#include "ProRes/ProResHost.h"
#include "vix/Parameters.h"
#include "vix/Types.h"

namespace vix {

/// Name of the parameter with the allocator of an element's output.
inline constexpr const char* kAllocatorParameter = "Allocator";

/// Most threads that share a frame.
inline constexpr std::int32_t kMostThreads = kWPRMostDefaultThreads;

/// What makes a changed parameter take effect. Each includes the ones before it.
enum class Effort {
  Configure,  ///< SetInitConfig()
  Define,     ///< DefineInput(), which describes the output
  Reopen,     ///< Release() before it, which closes the codec library's decoder
  Remake      ///< a new element: its Release() keeps the codec library open
};

/// The values of one configuration.
class Settings {
 public:
  /// Reads every parameter of `schema` from `config`. Later changes of `config` have no effect.
  /// @throws VIXError (BadArgument, NotFound) without the name of an element, for a value that the
  ///         element would reject later
  Settings(const IParametersCollectionPrototype& schema,
           const IParametersCollectionInstance& config);

  /// Sets the values in an instance of the schema.
  void Apply(IParametersCollectionInstance& config) const;
  /// Returns true if the parameter exists and was set.
  bool IsSet(const std::string& name) const;
  /// Returns true if the parameter exists and is the value true.
  bool IsTrue(const std::string& name) const;
  /// Returns what a change from `before` to this requires.
  Effort ChangeFrom(const Settings& before) const;

 private:
  /// monostate = not set
  using Value =
      std::variant<std::monostate, bool, std::int32_t, std::string, FourCC, ProResCodecVariant>;
  struct Setting {
    std::string name;
    Value value;
  };

  /// Returns the value of a parameter; null if it does not exist.
  const Value* Find(const std::string& name) const;
  static Value Read(const ParameterDescription& parameter,
                    const IParametersCollectionInstance& config);
  static void Check(const Setting& setting);

  std::vector<Setting> settings_;  ///< in the order of the schema
};

}  // namespace vix

#endif  // CORE_DRIVER_SETTINGS_H
