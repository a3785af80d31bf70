// SPDX-License-Identifier: BSD-2-Clause
#ifndef CORE_REGISTRYTABLE_H
#define CORE_REGISTRYTABLE_H

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "vix/Parameters.h"
#include "vix/Registry.h"
#include "vix/Types.h"

namespace vix {

/// What a factory is found by.
struct RegistryKey {
  ElementFactoryType factoryType;
  std::string implementation;
  std::string type;
  friend bool operator==(const RegistryKey&, const RegistryKey&) = default;

  /// "label.implementation.type", as messages show it.
  std::string GetText() const;
};

/// One row of the registry.
struct Registration {
  RegistryKey key;
  std::optional<std::string> registrant;  ///< none = the core itself, which nobody can replace
  const void* plugin = nullptr;           ///< identifies the loaded plug-in that it came from
  std::shared_ptr<IElementFactory> factory;
  std::shared_ptr<const IParametersCollectionInstance> entry;
  std::shared_ptr<const IParametersCollectionInstance> manifest;
};

/// All registrations of the process, in the order in which they were made. May be used by any
/// thread. Factories and entries are never destroyed, nor are they called, under the lock: their
/// code is a plug-in's.
class RegistryTable {
 public:
  using Predicate = std::function<bool(const Registration&)>;

  static RegistryTable& Instance();

  /// Adds all of `additions` or, where a key is taken by another registrant, none.
  void Add(const std::vector<Registration>& additions);
  void RemoveIf(const Predicate& predicate);
  std::optional<Registration> Find(const RegistryKey& key) const;
  std::vector<Registration> GetAll() const;

 private:
  RegistryTable();

  mutable std::mutex mutex_;
  std::vector<Registration> registrations_;
};

/// While it lives, it collects what this thread registers, in place of the registry. Nests.
class RegistrationCollector {
 public:
  RegistrationCollector();
  ~RegistrationCollector();
  RegistrationCollector(const RegistrationCollector&) = delete;
  RegistrationCollector& operator=(const RegistrationCollector&) = delete;

  /// The innermost collector of the calling thread, or null.
  static RegistrationCollector* GetCurrent();

  std::vector<Registration>& GetRegistrations() { return registrations_; }

 private:
  std::vector<Registration> registrations_;
  RegistrationCollector* outer_;
};

}  // namespace vix

#endif  // CORE_REGISTRYTABLE_H
