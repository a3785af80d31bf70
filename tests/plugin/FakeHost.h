// SPDX-License-Identifier: BSD-2-Clause
#ifndef TESTS_PLUGIN_FAKEHOST_H
#define TESTS_PLUGIN_FAKEHOST_H

/// @file
/// A scripted host. The test program defines every host function that the plug-in calls, which
/// replaces the host core. All calls, including those of the codec library, are recorded in one
/// list.

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "vix/vix.h"

namespace fake {

struct LogRecord {
  vix::LogLevel level{};
  std::string message, context, sourceFile, line, reserved, threadId, time;
};

class Buffer;

struct Registration {
  std::string registrant, coreId;
  std::shared_ptr<vix::IElementFactory> factory;
  std::shared_ptr<const vix::IParametersCollectionInstance> entry;
};

/// State of the scripted host, new for every test.
struct Host {
  std::vector<std::string> calls;  ///< every call, in order
  bool noteReleases = false;       ///< record destructors as "~name"
  std::vector<LogRecord> records;  ///< records of the writer
  std::vector<Registration> registrations;
  std::shared_ptr<vix::ILoggerWriter> writer;
  std::shared_ptr<vix::IElementFactory> factory;                       ///< result of GetFactory
  std::shared_ptr<const vix::IParametersCollectionInstance> manifest;  ///< result of GetManifest
  std::map<std::string, std::shared_ptr<vix::IMemoryBlockAllocator>> allocators;
  std::uint32_t rate = 0;              ///< result of GetProResVideoRateMbps
  std::vector<std::uint32_t> strides;  ///< result of GetStrides; empty = computed
  std::uint32_t frameBytes = 0;        ///< result of GetFrameBytes; 0 = computed
  std::uint32_t spareBytes = 0;        ///< extra bytes of every allocation
  /// Replaces CreateVideoParameters if set.
  std::function<std::shared_ptr<vix::IVideoParameters>(vix::VCodecFamily)> createParameters;
  std::vector<std::weak_ptr<Buffer>> buffers;          ///< every buffer made so far
  std::map<std::string, int> created;                  ///< objects made so far, by kind
  std::map<std::string, std::function<void()>> hooks;  ///< run by each call of the function

  /// Records a call, then runs the hook of the function, which may throw.
  void Call(const std::string& function, const std::string& arguments = "");
  /// Returns the name of the next object of that kind: "buffer1", "buffer2", ...
  std::string NextName(const std::string& kind);
  /// Returns the calls since the last TakeCalls().
  std::vector<std::string> TakeCalls() { return std::exchange(calls, {}); }
  /// Returns the number of recorded calls that start with `text`.
  std::size_t CountCalls(const std::string& text) const;
};

Host& TheHost();
/// Replaces the host by a new one.
void ResetHost();

/// Joins the values with commas.
template <typename... Values>
std::string Join(const Values&... values) {
  std::ostringstream text;
  text.imbue(std::locale::classic());
  const char* separator = "";
  ((text << std::exchange(separator, ", ") << values), ...);
  return text.str();
}

/// Base of objects whose calls and destructors are recorded.
class Named {
 public:
  explicit Named(std::string name) : name_(std::move(name)) {}
  virtual ~Named() {
    if (TheHost().noteReleases) TheHost().calls.push_back("~" + name_);
  }
  Named(const Named&) = delete;
  Named& operator=(const Named&) = delete;
  const std::string& GetName() const { return name_; }

 protected:
  void Call(const std::string& function, const std::string& arguments = "") const {
    TheHost().Call(name_ + "." + function, arguments);
  }

 private:
  std::string name_;
};

/// Returns the name of an object of the scripted host; "null" for null.
template <typename T>
std::string NameOf(const T* object) {
  if (object == nullptr) return "null";
  const auto* const named = dynamic_cast<const Named*>(object);
  return named == nullptr ? "unknown" : named->GetName();
}
template <typename T>
std::string NameOf(const std::shared_ptr<T>& object) {
  return NameOf(object.get());
}

/// An object of an interface without operations.
template <typename Interface>
class Marker : public Interface, public Named {
 public:
  using Named::Named;
};

class Prototype : public vix::IParametersCollectionPrototype, public Named {
 public:
  using Named::Named;
  void AddParameterBool(const std::string& name, bool value, const std::string& text) override;
  void AddParameterInt(const std::string& name, int value, const std::string& text) override;
  void AddParameterString(const std::string& name, const std::string& value,
                          const std::string& text) override;
  void AddParameterFourCC(const std::string& name, const std::vector<vix::FourCC>& allowed,
                          const std::string& text) override;
  void AddParameterProResCodecVariant(const std::string& name, vix::ProResCodecVariant value,
                                      const std::string& text) override;
};

/// A configuration or registry entry. Tests set values through the public maps.
class Instance : public vix::IParametersCollectionInstance, public Named {
 public:
  using Named::Named;
  bool GetBool(const std::string& name) const override;
  std::int32_t GetInt(const std::string& name) const override;
  std::string GetString(const std::string& name) const override;
  void SetString(const std::string& name, const std::string& value) override;
  bool HasString(const std::string& name) const override;
  vix::FourCC GetFourCC(const std::string& name) const override;
  bool HasFourCC(const std::string& name) const override;
  vix::ProResCodecVariant GetProResCodecVariant(const std::string& name) const override;
  void SetParametersCollectionPrototype(
      const std::string& name,
      std::shared_ptr<const vix::IParametersCollectionPrototype> value) override;
  void SetElementFactoryType(const std::string& name, vix::ElementFactoryType value) override;

  std::map<std::string, std::int32_t> numbers;  ///< booleans, integers, variants, factory types
  std::map<std::string, std::string> texts;
  std::map<std::string, vix::FourCC> fourccs;
  std::map<std::string, std::shared_ptr<const vix::IParametersCollectionPrototype>> prototypes;
};

/// A buffer of exactly the requested bytes and the host's spareBytes, so that an address sanitizer
/// detects every access outside.
class Buffer : public vix::IBuffer, public Named {
 public:
  using Named::Named;
  Buffer(std::string name, const std::vector<std::uint8_t>& contents);
  std::uint8_t* GetData() const override;
  std::uint32_t GetSize() const override;
  void SetSize(std::uint32_t bytes) override;
  void Allocate(std::uint32_t bytes) override;
  void Resize(std::uint32_t bytes) override;

  std::vector<std::uint8_t> Contents() const { return {memory.get(), memory.get() + size}; }
  void Provide(std::uint32_t bytes);

  std::unique_ptr<std::uint8_t[]> memory;
  std::uint32_t size = 0;
};

class Allocator : public vix::IMemoryBlockAllocator, public Named {
 public:
  using Named::Named;
  std::shared_ptr<vix::IMemoryBlock> AllocateBlock(std::size_t) override { return nullptr; }
};

/// Stores records in TheHost().records.
class Writer : public vix::ILoggerWriter, public Named {
 public:
  using Named::Named;
  void Write(vix::LogLevel level, const char* message, const char* context, const char* sourceFile,
             const char* line, const char* reserved, const char* threadId,
             const char* time) override;
};

}  // namespace fake

#endif  // TESTS_PLUGIN_FAKEHOST_H
