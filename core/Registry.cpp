// SPDX-License-Identifier: BSD-2-Clause
#include "vix/Registry.h"

#include <algorithm>
#include <array>
#include <cassert>
#include <charconv>
#include <list>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Allocators.h"
#include "ParameterSchema.h"
#include "RegistryTable.h"
#include "vix/Error.h"

namespace vix {
namespace {

constexpr std::string_view kCoreIdPrefix = "vixCore ";

/// Version numbers that must be equal in plug-in and core.
struct Compatibility {
  unsigned major;
  unsigned minor;
  friend bool operator==(const Compatibility&, const Compatibility&) = default;
};
constexpr Compatibility kThisCore{0, 7};

/// Parses "major.minor.patch.build.revision"; nullopt for any other form.
std::optional<Compatibility> ParseVersion(std::string_view version) {
  std::array<unsigned, 5> numbers{};
  const char* next = version.data();
  const char* const end = next + version.size();
  for (unsigned& number : numbers) {
    const bool isFirst = &number == &numbers.front();
    if (!isFirst && (next == end || *next++ != '.')) return std::nullopt;
    const auto [stop, error] = std::from_chars(next, end, number);
    if (error != std::errc()) return std::nullopt;
    next = stop;
  }
  if (next != end) return std::nullopt;
  return Compatibility{numbers[0], numbers[1]};
}

void CheckCoreId(const std::string& coreId) {
  std::optional<Compatibility> wanted;
  if (coreId.starts_with(kCoreIdPrefix)) {
    wanted = ParseVersion(std::string_view(coreId).substr(kCoreIdPrefix.size()));
  }
  if (!wanted) {
    throw VIXError(ErrorCode::BadArgument,
                   "RegisterFactory: malformed core identity \"" + coreId + "\"; expected " +
                       "the identity of a version major.minor.patch.build.revision");
  }
  if (*wanted != kThisCore) {
    throw VIXError(ErrorCode::Unsupported,
                   "RegisterFactory: core identity \"" + coreId + "\" is not compatible " +
                       "with this core, whose version is " + std::to_string(kThisCore.major) + '.' +
                       std::to_string(kThisCore.minor));
  }
}

/// Reads key and manifest from a registry entry.
Registration ReadEntry(std::shared_ptr<const IParametersCollectionInstance> entry) try {
  Registration registration;
  registration.key = {entry->GetElementFactoryType("class"), entry->GetString("implementation"),
                      entry->GetString("type")};
  registration.manifest =
      CreateParametersCollectionInstance(entry->GetParametersCollectionPrototype("init_config"));
  registration.entry = std::move(entry);
  return registration;
} catch (const VIXRuntimeError& error) {
  throw VIXError(ErrorCode::BadArgument,
                 std::string("RegisterFactory: incomplete registry entry: ") + error.what());
}

std::shared_ptr<const IParametersCollectionInstance> MakeRecyclerEntry() {
  const auto entry = CreateParametersCollectionInstance(GetRegistryEntryPrototype());
  entry->SetElementFactoryType("class", ElementFactoryType::MemoryBlockAllocator);
  entry->SetString("type", "Recycler");
  entry->SetString("implementation", "vix");
  entry->SetParametersCollectionPrototype("init_config", CreateParametersCollectionPrototype());
  return entry;
}

/// Names who made a registration, for messages.
std::string DescribeOwner(const Registration& registration) {
  if (!registration.registrant) return "the core";
  std::string text = "registrant \"" + *registration.registrant + '"';
  if (registration.origin.plugin) text += " with plug-in \"" + registration.origin.path + '"';
  return text;
}

/// Returns whether a registration may take the place of an earlier one. What a program registers
/// itself replaces, and is replaced by, what its plug-ins register under the same registrant.
bool MayReplace(const Registration& present, const Registration& addition) {
  if (present.registrant != addition.registrant) return false;
  return !present.origin.plugin || !addition.origin.plugin ||
         present.origin.IsSameLibrary(addition.origin);
}

/// Adds one registration to `table`, in place of the one that it may replace.
void Insert(std::list<Registration>& table, const Registration& addition) {
  const auto taken = std::find_if(table.begin(), table.end(), [&](const Registration& present) {
    return present.key == addition.key;
  });
  if (taken != table.end()) {
    if (!MayReplace(*taken, addition)) {
      throw VIXError(ErrorCode::AlreadyExists, "RegisterFactory: " + addition.key.GetText() +
                                                   " belongs to " + DescribeOwner(*taken) +
                                                   " and cannot be registered by " +
                                                   DescribeOwner(addition));
    }
    table.erase(taken);
  }
  table.push_back(addition);
}

thread_local RegistrationCollector* innermostCollector = nullptr;

}  // namespace

std::string RegistryKey::GetText() const {
  return GetLabel(factoryType) + '.' + implementation + '.' + type;
}

RegistryTable& RegistryTable::Instance() {
  // Never destroyed: destructors of static objects may still create and release elements.
  static auto& table = *new RegistryTable;
  return table;
}

RegistryTable::RegistryTable() {
  using RecyclerFactory = ElementFactory<ElementFactoryType::MemoryBlockAllocator>;
  Registration recycler = ReadEntry(MakeRecyclerEntry());
  recycler.factory = std::make_shared<RecyclerFactory>(
      [](std::shared_ptr<const IParametersCollectionInstance>) { return CreateRecycler(); });
  registrations_.push_back(std::move(recycler));
}

void RegistryTable::Add(const std::vector<Registration>& additions) {
  // Declared before the lock, so that replaced registrations are destroyed without it.
  std::list<Registration> next;
  const std::lock_guard lock(mutex_);
  next = registrations_;
  for (const Registration& addition : additions) Insert(next, addition);
  next.swap(registrations_);
}

void RegistryTable::RemoveIf(const Predicate& predicate) {
  std::list<Registration> removed;  // declared before the lock, as in Add()
  const std::lock_guard lock(mutex_);
  for (auto next = registrations_.begin(); next != registrations_.end();) {
    const auto registration = next++;
    if (predicate(*registration)) removed.splice(removed.end(), registrations_, registration);
  }
}

std::optional<Registration> RegistryTable::Find(const RegistryKey& key) const {
  const std::lock_guard lock(mutex_);
  for (const Registration& registration : registrations_) {
    if (registration.key == key) return registration;
  }
  return std::nullopt;
}

std::vector<Registration> RegistryTable::GetAll() const {
  const std::lock_guard lock(mutex_);
  return {registrations_.begin(), registrations_.end()};
}

RegistrationCollector::RegistrationCollector() : outer_(innermostCollector) {
  innermostCollector = this;
}

RegistrationCollector::~RegistrationCollector() {
  assert(innermostCollector == this);
  innermostCollector = outer_;
}

RegistrationCollector* RegistrationCollector::GetCurrent() {
  return innermostCollector;
}

std::shared_ptr<const IParametersCollectionPrototype> GetRegistryEntryPrototype() {
  // Never destroyed, like the registry.
  static const auto& prototype = *new std::shared_ptr<const ParameterSchema>([] {
    auto schema = std::make_shared<ParameterSchema>();
    schema->Declare(DeclareParameter<ElementFactoryType>("class", "Kind of element"));
    schema->Declare(DeclareParameter<std::string>("type", "Codec or task of the element"));
    schema->Declare(DeclareParameter<std::string>("implementation", "Implementer of the element"));
    schema->Declare(DeclareParameter<std::shared_ptr<const IParametersCollectionPrototype>>(
        "init_config", "Schema of the element's parameters"));
    return schema;
  }());
  return prototype;
}

std::string GetVIXCoreIdInternal(std::string version) {
  return std::string(kCoreIdPrefix) + version;
}

void RegisterFactory(std::string registrant, std::string coreId,
                     std::shared_ptr<IElementFactory> factory,
                     std::shared_ptr<const IParametersCollectionInstance> registryEntry) {
  CheckCoreId(coreId);
  if (!factory) throw VIXError(ErrorCode::BadArgument, "RegisterFactory: the factory is null");
  if (!registryEntry)
    throw VIXError(ErrorCode::BadArgument, "RegisterFactory: the registry entry is null");

  Registration registration = ReadEntry(std::move(registryEntry));
  if (factory->GetFactoryType() != registration.key.factoryType) {
    throw VIXError(ErrorCode::BadArgument, "RegisterFactory: " + registration.key.GetText() +
                                               " got a " + GetLabel(factory->GetFactoryType()) +
                                               " factory");
  }
  registration.registrant = std::move(registrant);
  registration.factory = std::move(factory);

  if (RegistrationCollector* collector = RegistrationCollector::GetCurrent()) {
    collector->GetRegistrations().push_back(std::move(registration));
  } else {
    RegistryTable::Instance().Add({std::move(registration)});
  }
}

void UnregisterFactories(const std::string& registrant) {
  RegistryTable::Instance().RemoveIf(
      [&](const Registration& registration) { return registration.registrant == registrant; });
}

std::shared_ptr<IElementFactory> GetFactory(ElementFactoryType factoryType,
                                            const std::string& implementation,
                                            const std::string& type) {
  const auto found = RegistryTable::Instance().Find({factoryType, implementation, type});
  return found ? found->factory : nullptr;
}

std::shared_ptr<const IParametersCollectionInstance> GetManifest(ElementFactoryType factoryType,
                                                                 const std::string& implementation,
                                                                 const std::string& type) {
  const auto found = RegistryTable::Instance().Find({factoryType, implementation, type});
  return found ? found->manifest : nullptr;
}

std::vector<std::shared_ptr<const IParametersCollectionInstance>> GetRegistryEntries() {
  std::vector<std::shared_ptr<const IParametersCollectionInstance>> entries;
  for (const Registration& registration : RegistryTable::Instance().GetAll()) {
    entries.push_back(registration.entry);
  }
  return entries;
}

}  // namespace vix
