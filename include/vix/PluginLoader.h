// SPDX-License-Identifier: BSD-2-Clause
#ifndef VIX_PLUGINLOADER_H
#define VIX_PLUGINLOADER_H

/// @file
/// Loading of plug-ins. Any thread may call every function.

#include <memory>
#include <string>
#include <vector>

#include "vix/Error.h"
#include "vix/Export.h"

namespace vix {

/// A loaded plug-in. Its destructor removes its factories from the registry. The library stays
/// loaded until the last of its factories, registry entries, elements and memory blocks is
/// destroyed. Other objects from its elements may outlive the library if the core's creation
/// functions made them. If the last owner ends while its thread handles an exception, which may
/// belong to the library, the next LoadPlugin() of that thread unloads the library.
class VIX_API IPlugin {
 public:
  virtual ~IPlugin() = default;
  /// Returns the absolute path of the library.
  virtual std::string GetPath() const = 0;
};

/// Loads a plug-in library and calls its entry `RegisterAll` with the registrant text.
/// Registrations that the entry makes on the calling thread belong to the plug-in and take effect
/// when the entry returns. A relative path is relative to the working directory; no other folder is
/// searched.
///
/// Throws a VIXError that names path and reason if the file, a dependency or the entry is missing,
/// if the file is truncated (ErrorCode::Truncated), if a key belongs to another registrant or to
/// another library (ErrorCode::AlreadyExists), or if the entry fails. Nothing stays registered
/// then. A library may be loaded again under the same registrant; the newer registrations take the
/// place of the older ones.
VIX_API std::shared_ptr<IPlugin> LoadPlugin(const std::string& path, const std::string& registrant);

/// A file or folder that LoadPlugins() could not use.
struct PluginFailure {
  std::string path;    ///< as found, or as VIX_PLUGIN_PATH names it
  ErrorCode code;      ///< cause
  std::string reason;  ///< text for users, which contains the path
};

/// Result of LoadPlugins().
struct LoadedPlugins {
  std::vector<std::shared_ptr<IPlugin>> plugins;  ///< in the order in which they were loaded
  std::vector<PluginFailure> failures;            ///< in the order in which they were found
};

/// Returns the default folder of LoadPlugins(), "vix-plugins-1" beside the core library, whether or
/// not it exists; empty if the core library was moved after it was loaded.
VIX_API std::string GetPluginFolder();

/// Loads every plug-in of some folders with LoadPlugin(): of the folders in the environment
/// variable VIX_PLUGIN_PATH, which are separated by colons, or, if it is not set or empty, of the
/// default folder. Files whose names end in ".so" are plug-ins. The order is that of the folders,
/// and of the names within each. A library that is found twice is loaded once. A file that fails
/// does not prevent others; a truncated one is recognised, other damage of a library is not.
/// Ignored are empty names, and, with a failure, folders that do not exist or whose names do not
/// begin with '/'. Programs with more rights than their user (setuid) ignore the variable.
VIX_API LoadedPlugins LoadPlugins(const std::string& registrant);

}  // namespace vix

#endif  // VIX_PLUGINLOADER_H
