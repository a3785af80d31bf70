// SPDX-License-Identifier: BSD-2-Clause
#ifndef VIX_PLUGINLOADER_H
#define VIX_PLUGINLOADER_H

#include <memory>
#include <string>

#include "vix/Export.h"

namespace vix {

/// A loaded plug-in. Letting go of it removes its factories from the registry; the library itself
/// stays in memory until the last factory, registry entry, element and memory block that came from
/// it is gone. What its elements hand out otherwise may outlive them when it was made by the
/// creation functions of the core. A library that would leave while the thread handles an
/// exception, which may be the library's own, leaves with the thread's next LoadPlugin().
class VIX_API IPlugin {
 public:
  virtual ~IPlugin() = default;
  /// Absolute path that the plug-in was loaded from.
  virtual std::string GetPath() const = 0;
};

/// Loads a plug-in library and calls its entry `RegisterAll` with the registrant text. What the
/// entry registers on the calling thread belongs to the plug-in and becomes visible when the entry
/// has returned. A relative path is taken from the working directory; no other place is searched.
///
/// A missing file, a missing dependency, a missing entry and a failing registration are refused
/// with a VIXRuntimeError that names the path and the reason; nothing stays registered then. May be
/// called from any thread. A program that keeps what the plug-in made drops all of it before it
/// expects the library to be gone.
VIX_API std::shared_ptr<IPlugin> LoadPlugin(const std::string& path, const std::string& registrant);

}  // namespace vix

#endif  // VIX_PLUGINLOADER_H
