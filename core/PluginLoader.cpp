// SPDX-License-Identifier: BSD-2-Clause
#include "vix/PluginLoader.h"

#include <dlfcn.h>

#include <algorithm>
#include <cstddef>
#include <exception>
#include <filesystem>
#include <memory>
#include <mutex>
#include <new>
#include <string>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "LibraryFile.h"
#include "RegistryTable.h"
#include "vix/Buffers.h"
#include "vix/Error.h"
#include "vix/Registry.h"

namespace vix {
namespace {

constexpr const char* kEntryName = "RegisterAll";

[[noreturn]] void RejectPlugin(const std::string& path, const std::string& reason,
                               ErrorCode code = ErrorCode::Failed) {
  throw VIXError(code, "Cannot load plug-in \"" + path + "\": " + reason);
}

/// Returns true while this thread throws or handles an exception: its destructor may be code of a
/// library.
bool IsHandlingException() {
  return std::uncaught_exceptions() > 0 || std::current_exception() != nullptr;
}

/// Libraries whose last owner ended during an exception; they are unloaded later.
class ParkedLibraries {
 public:
  static ParkedLibraries& Instance() {
    static auto* const instance =
        new ParkedLibraries;  // never destroyed: used by static destructors
    return *instance;
  }

  void Park(void* handle) noexcept {
    try {
      const std::lock_guard lock(mutex_);
      parked_.push_back({handle, std::this_thread::get_id()});
    } catch (const std::bad_alloc&) {
      // Without memory for the list, the library stays loaded.
    }
  }

  /// Unloads the libraries that this thread parked, unless it is still handling an exception.
  void UnloadOwn() {
    if (IsHandlingException()) return;
    std::vector<Parked> own;
    {
      const std::lock_guard lock(mutex_);
      const auto others = std::partition(parked_.begin(), parked_.end(), [](const Parked& parked) {
        return parked.thread != std::this_thread::get_id();
      });
      own.assign(others, parked_.end());
      parked_.erase(others, parked_.end());
    }
    for (const Parked& parked : own) dlclose(parked.handle);
  }

 private:
  struct Parked {
    void* handle;
    std::thread::id thread;
  };

  std::mutex mutex_;
  std::vector<Parked> parked_;  // guarded by mutex_
};

/// A loaded library; the last owner unloads it.
class Library {
 public:
  explicit Library(const std::string& path) : handle_(dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL)) {
    if (handle_ == nullptr) RejectPlugin(path, dlerror());
  }
  ~Library() {
    if (IsHandlingException()) {
      ParkedLibraries::Instance().Park(handle_);
    } else {
      dlclose(handle_);
    }
  }
  Library(const Library&) = delete;
  Library& operator=(const Library&) = delete;

  /// Returns what identifies the library in memory.
  const void* GetHandle() const { return handle_; }
  /// Returns the address of an exported function, or null.
  void* FindFunction(const char* name) const { return dlsym(handle_, name); }

 private:
  void* handle_;
};

/// An object whose code is in a library. The object is the last member, so its destructor returns
/// before the library can be unloaded. The core made the reference count of this struct, so no code
/// of the library runs after that.
template <typename T>
struct Held {
  std::shared_ptr<Library> library;
  std::shared_ptr<T> object;
};

/// Returns the same object with an ownership that also keeps the library loaded.
template <typename T>
std::shared_ptr<T> Hold(const std::shared_ptr<Library>& library, std::shared_ptr<T> object) {
  if (!object) return nullptr;
  const auto held = std::make_shared<Held<T>>(Held<T>{library, std::move(object)});
  return std::shared_ptr<T>(held, held->object.get());
}

/// An allocator whose blocks keep the library loaded, too: blocks may outlive their allocator.
class HeldAllocator final : public IMemoryBlockAllocator {
 public:
  HeldAllocator(std::shared_ptr<Library> library, std::shared_ptr<IMemoryBlockAllocator> allocator)
      : library_(std::move(library)), allocator_(std::move(allocator)) {}

  std::shared_ptr<IMemoryBlock> AllocateBlock(std::size_t bytes) override {
    return Hold(library_, allocator_->AllocateBlock(bytes));
  }

 private:
  std::shared_ptr<Library> library_;
  std::shared_ptr<IMemoryBlockAllocator> allocator_;
};

template <>
std::shared_ptr<IMemoryBlockAllocator> Hold(const std::shared_ptr<Library>& library,
                                            std::shared_ptr<IMemoryBlockAllocator> allocator) {
  if (!allocator) return nullptr;
  return std::make_shared<HeldAllocator>(library, std::move(allocator));
}

/// Returns a factory like `factory` whose elements keep the library loaded; null for other types.
template <ElementFactoryType T>
std::shared_ptr<IElementFactory> HoldFactoryOf(const std::shared_ptr<Library>& library,
                                               const std::shared_ptr<IElementFactory>& factory) {
  const auto typed = std::dynamic_pointer_cast<ElementFactory<T>>(factory);
  if (!typed) return nullptr;
  return std::make_shared<ElementFactory<T>>(
      [library,
       held = Hold(library, typed)](std::shared_ptr<const IParametersCollectionInstance> config) {
        return Hold(library, held->GetCreator()(std::move(config)));
      });
}

using FactoryHolder = std::shared_ptr<IElementFactory> (*)(const std::shared_ptr<Library>&,
                                                           const std::shared_ptr<IElementFactory>&);
constexpr FactoryHolder kFactoryHolders[] = {
    HoldFactoryOf<ElementFactoryType::VideoDecoder>,
    HoldFactoryOf<ElementFactoryType::VideoEncoder>,
    HoldFactoryOf<ElementFactoryType::MemoryBlockAllocator>,
};

std::shared_ptr<IElementFactory> HoldFactory(const std::shared_ptr<Library>& library,
                                             const std::shared_ptr<IElementFactory>& factory) {
  for (const FactoryHolder hold : kFactoryHolders) {
    if (auto held = hold(library, factory)) return held;
  }
  return Hold(library, factory);
}

/// Why a plug-in cannot be used; an empty reason = it can.
struct LoadFailure {
  std::string reason;
  ErrorCode code = ErrorCode::Failed;
};

/// Calls the plug-in's entry. Returns the text of its exception, which is destroyed by then,
/// because its code is in the library.
LoadFailure CallEntry(void* entry, const std::string& registrant) {
  const auto registerAll = reinterpret_cast<void (*)(const char*)>(entry);
  try {
    registerAll(registrant.c_str());
    return {};
  } catch (const VIXError& error) {
    return {std::string(kEntryName) + " failed: " + error.what(), error.GetCode()};
  } catch (const std::exception& error) {
    return {std::string(kEntryName) + " failed: " + error.what()};
  } catch (...) {
    return {std::string(kEntryName) + " failed with an unknown exception type"};
  }
}

class Plugin final : public IPlugin {
 public:
  Plugin(std::string path, std::shared_ptr<Library> library)
      : path_(std::move(path)), library_(std::move(library)) {}
  ~Plugin() override {
    RegistryTable::Instance().RemoveIf([this](const Registration& registration) {
      return registration.origin.plugin == library_.get();
    });
  }
  Plugin(const Plugin&) = delete;
  Plugin& operator=(const Plugin&) = delete;

  std::string GetPath() const override { return path_; }

  /// Calls the library's entry and adds its registrations.
  LoadFailure Register(const std::string& registrant) const {
    void* const entry = library_->FindFunction(kEntryName);
    if (entry == nullptr) return {std::string("it does not export ") + kEntryName};

    RegistrationCollector collector;
    LoadFailure failure = CallEntry(entry, registrant);
    if (!failure.reason.empty()) return failure;

    std::error_code error;
    const PluginOrigin origin{library_.get(), library_->GetHandle(),
                              std::filesystem::weakly_canonical(path_, error).string()};

    std::vector<Registration>& registrations = collector.GetRegistrations();
    for (Registration& registration : registrations) {
      registration.origin = origin;
      registration.factory = HoldFactory(library_, registration.factory);
      registration.entry = Hold(library_, registration.entry);
    }
    try {
      RegistryTable::Instance().Add(registrations);
    } catch (const VIXError& taken) {
      return {taken.what(), taken.GetCode()};
    }
    return {};
  }

 private:
  std::string path_;
  std::shared_ptr<Library> library_;
};

}  // namespace

std::shared_ptr<IPlugin> LoadPlugin(const std::string& path, const std::string& registrant) {
  std::error_code error;
  // dlopen() would search a bare name in the system's library folders.
  const std::string absolute = std::filesystem::absolute(path, error).string();
  if (path.empty() || !std::filesystem::exists(absolute, error)) {
    RejectPlugin(path, "no such file", ErrorCode::NotFound);
  }
  // A named pipe, for example, would block its reader.
  if (!GetFileId(absolute)) RejectPlugin(absolute, "it is not a file", ErrorCode::BadArgument);
  const std::string truncation = FindTruncation(absolute);
  if (!truncation.empty()) RejectPlugin(absolute, truncation, ErrorCode::Truncated);
  ParkedLibraries::Instance().UnloadOwn();
  LoadFailure failure;
  {
    auto plugin = std::make_shared<Plugin>(absolute, std::make_shared<Library>(absolute));
    failure = plugin->Register(registrant);
    if (failure.reason.empty()) return plugin;
  }
  RejectPlugin(absolute, failure.reason, failure.code);  // the library is unloaded by now
}

}  // namespace vix
