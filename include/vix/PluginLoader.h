// SPDX-License-Identifier: BSD-2-Clause
#ifndef VIX_PLUGINLOADER_H
#define VIX_PLUGINLOADER_H

#include <memory>
#include <string>

#include "vix/Export.h"

namespace vix {

/// A loaded plug-in. Letting go of it removes its factories from the registry; the library itself
/// stays in memory until the last element and factory that came from it is gone.
class VIX_API IPlugin {
 public:
  virtual ~IPlugin() = default;
  /// Path that the plug-in was loaded from.
  virtual std::string GetPath() const = 0;
};

/// Loads a plug-in library and calls its entry `RegisterAll` with the registrant text.
/// A missing file, a missing dependency, a missing entry and a failing registration are refused
/// with a VIXRuntimeError that names the path and the reason; nothing stays registered then.
VIX_API std::shared_ptr<IPlugin> LoadPlugin(const std::string& path, const std::string& registrant);

}  // namespace vix

#endif  // VIX_PLUGINLOADER_H
