// SPDX-License-Identifier: BSD-2-Clause
#ifndef CORE_REGISTRYTABLE_H
#define CORE_REGISTRYTABLE_H

#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "vix/Parameters.h"
#include "vix/Registry.h"
#include "vix/Types.h"

namespace vix {

/// Key of a factory.
struct RegistryKey {
  ElementFactoryType factoryType;
  std::string implementation;
  std::string type;
  friend bool operator==(const RegistryKey&, const RegistryKey&) = default;

  /// Returns "label.implementation.type" for messages.
  std::string GetText() const;
};

/// The plug-in that made a registration.
struct PluginOrigin {
  const void* plugin = nullptr;   ///< identifies one LoadPlugin() call; null = no plug-in
  const void* library = nullptr;  ///< identifies the library in memory
  std::string path;               ///< the library's file, without symbolic links

  /// Returns whether both are the same library, or newer and older contents of one file.
  bool IsSameLibrary(const PluginOrigin& other) const {
    return library == other.library || path == other.path;
  }
};

/// One row of the registry.
struct Registration {
  RegistryKey key;
  std::optional<std::string> registrant;  ///< nullopt = the core, whose registrations are fixed
  PluginOrigin origin;
  std::shared_ptr<IElementFactory> factory;
  std::shared_ptr<const IParametersCollectionInstance> entry;
  std::shared_ptr<const IParametersCollectionInstance> manifest;
};

/// All registrations of the process in order. Any thread may use the table. Factories and entries
/// are neither called nor destroyed under the lock, because that runs code of plug-ins.
class RegistryTable {
 public:
  using Predicate = std::function<bool(const Registration&)>;

  static RegistryTable& Instance();

  /// Adds all registrations, or throws and adds none if a key belongs to another registrant or to
  /// another library of the same registrant.
  void Add(const std::vector<Registration>& additions);
  void RemoveIf(const Predicate& predicate);
  std::optional<Registration> Find(const RegistryKey& key) const;
  std::vector<Registration> GetAll() const;

 private:
  RegistryTable();

  mutable std::mutex mutex_;
  std::list<Registration> registrations_;  // removing allocates nothing, since destructors do it
};

/// Collects the registrations of this thread instead of the registry while it exists. Nests.
class RegistrationCollector {
 public:
  RegistrationCollector();
  ~RegistrationCollector();
  RegistrationCollector(const RegistrationCollector&) = delete;
  RegistrationCollector& operator=(const RegistrationCollector&) = delete;

  /// Returns the innermost collector of the calling thread, or null.
  static RegistrationCollector* GetCurrent();

  std::vector<Registration>& GetRegistrations() { return registrations_; }

 private:
  std::vector<Registration> registrations_;
  RegistrationCollector* outer_;
};

}  // namespace vix

#endif  // CORE_REGISTRYTABLE_H
