// SPDX-License-Identifier: BSD-2-Clause
#ifndef TESTS_PLUGIN_FAKEHOST_H
#define TESTS_PLUGIN_FAKEHOST_H

/// @file
/// A scripted host. The test program defines every host function that the plug-in calls, so that
/// these definitions take the place of the host core's; each call is written to one list, together
/// with the calls of the codec library.

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "vix/vix.h"

namespace fake {

/// The thirteen common properties, the FourCC and the variant, as plain data.
struct Properties {
  std::int32_t property1 = 0;
  std::int32_t property2 = 0;
  std::int32_t property3 = 0;
  std::int32_t property4 = 0;
  vix::ScanMode scanMode = vix::ScanMode::Progressive;
  std::int32_t property6 = 0;
  std::uint32_t storedWidth = 0;
  std::uint32_t storedHeight = 0;
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  std::int32_t property11 = 0;
  double bitRate = 0;
  vix::EditRate editRate;
  vix::FourCC fourcc = 0;
  vix::ProResCodecVariant variant{};
  friend bool operator==(const Properties&, const Properties&) = default;
};

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

/// State of the scripted host; the fixture makes a new one for every test.
struct Host {
  std::vector<std::string> calls;  ///< every call, in order
  bool noteReleases = false;       ///< list the end of every object too, as "~name"
  std::vector<LogRecord> records;  ///< what the writer got
  std::vector<Registration> registrations;
  std::shared_ptr<vix::ILoggerWriter> writer;
  std::shared_ptr<vix::IElementFactory> factory;                       ///< answer of GetFactory
  std::shared_ptr<const vix::IParametersCollectionInstance> manifest;  ///< of GetManifest
  std::map<std::string, std::shared_ptr<vix::IMemoryBlockAllocator>> allocators;
  std::uint32_t rate = 0;              ///< answer of GetProResVideoRateMbps
  std::vector<std::uint32_t> strides;  ///< answer of GetStrides; empty = by the picture
  std::uint32_t frameBytes = 0;        ///< answer of GetFrameBytes; 0 = by the picture
  std::uint32_t spareBytes = 0;        ///< what buffers get beyond what they ask for
  /// Replaces CreateVideoParameters if set.
  std::function<std::shared_ptr<vix::IVideoParameters>(vix::VCodecFamily)> createParameters;
  std::vector<std::weak_ptr<Buffer>> buffers;          ///< every buffer made so far
  std::map<std::string, int> created;                  ///< objects made so far, by kind
  std::map<std::string, std::function<void()>> hooks;  ///< run at each call of that function

  /// Notes one call, then runs the hook of that function, which may throw.
  void Call(const std::string& function, const std::string& arguments = "");
  /// Name of the next object of that kind: "buffer1", "buffer2", ...
  std::string NextName(const std::string& kind);
  /// The calls since the last TakeCalls().
  std::vector<std::string> TakeCalls() { return std::exchange(calls, {}); }
  /// How many of the calls so far start with `text`.
  std::size_t CountCalls(const std::string& text) const;
};

Host& TheHost();
/// Starts over with a host that knows nothing.
void ResetHost();

/// Text of the values, separated by commas.
template <typename... Values>
std::string Join(const Values&... values) {
  std::ostringstream text;
  text.imbue(std::locale::classic());
  const char* separator = "";
  ((text << std::exchange(separator, ", ") << values), ...);
  return text.str();
}

/// Anything that shows up in the list of calls. Notes its own end.
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

/// Name of an object of the fake host; "null" for none.
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

/// An interface without operations of interest.
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

/// A configuration or registry entry; values are set through the public maps.
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

/// Parameters of either family over plain data. `Interface` is the family's own interface.
template <typename Interface>
class VideoParametersBase : public Interface, public Named {
 public:
  VideoParametersBase(std::string name, vix::VCodecFamily codecFamily)
      : Named(std::move(name)), family(codecFamily) {}

  void SetVideoProperty1(std::int32_t v) override { Set("SetVideoProperty1", values.property1, v); }
  void SetVideoProperty2(std::int32_t v) override { Set("SetVideoProperty2", values.property2, v); }
  void SetVideoProperty3(std::int32_t v) override { Set("SetVideoProperty3", values.property3, v); }
  void SetVideoProperty4(std::int32_t v) override { Set("SetVideoProperty4", values.property4, v); }
  void SetScanMode(vix::ScanMode v) override {
    Call("SetScanMode", Join(static_cast<int>(v)));
    values.scanMode = v;
  }
  void SetVideoProperty6(std::int32_t v) override { Set("SetVideoProperty6", values.property6, v); }
  void SetStoredWidth(std::uint32_t v) override { Set("SetStoredWidth", values.storedWidth, v); }
  void SetStoredHeight(std::uint32_t v) override { Set("SetStoredHeight", values.storedHeight, v); }
  void SetWidth(std::uint32_t v) override { Set("SetWidth", values.width, v); }
  void SetHeight(std::uint32_t v) override { Set("SetHeight", values.height, v); }
  void SetVideoProperty11(std::int32_t v) override {
    Set("SetVideoProperty11", values.property11, v);
  }
  void SetEditRate(vix::EditRate v) override {
    Call("SetEditRate", Join(v.numerator, v.denominator));
    values.editRate = v;
  }
  void SetBitRate(double v) override { Set("SetBitRate", values.bitRate, v); }

  vix::VCodecFamily GetCodecFamily() const override { return Get("GetCodecFamily", family); }
  std::int32_t GetVideoProperty1() const override {
    return Get("GetVideoProperty1", values.property1);
  }
  std::int32_t GetVideoProperty2() const override {
    return Get("GetVideoProperty2", values.property2);
  }
  std::int32_t GetVideoProperty3() const override {
    return Get("GetVideoProperty3", values.property3);
  }
  std::int32_t GetVideoProperty4() const override {
    return Get("GetVideoProperty4", values.property4);
  }
  vix::EditRate GetEditRate() const override { return Get("GetEditRate", values.editRate); }
  vix::ScanMode GetScanMode() const override { return Get("GetScanMode", values.scanMode); }
  std::int32_t GetVideoProperty6() const override {
    return Get("GetVideoProperty6", values.property6);
  }
  std::uint32_t GetStoredWidth() const override {
    return Get("GetStoredWidth", values.storedWidth);
  }
  std::uint32_t GetStoredHeight() const override {
    return Get("GetStoredHeight", values.storedHeight);
  }
  std::uint32_t GetWidth() const override { return Get("GetWidth", values.width); }
  std::uint32_t GetHeight() const override { return Get("GetHeight", values.height); }
  std::int32_t GetVideoProperty11() const override {
    return Get("GetVideoProperty11", values.property11);
  }
  double GetBitRate() const override { return Get("GetBitRate", values.bitRate); }
  void CopyFrom(std::shared_ptr<const vix::IVideoParameters> source) override {
    Call("CopyFrom", NameOf(source));
  }

  Properties values;
  vix::VCodecFamily family;  ///< what GetCodecFamily answers, whatever the class

 protected:
  template <typename T>
  void Set(const char* function, T& member, T value) {
    Call(function, Join(value));
    member = value;
  }
  template <typename T>
  T Get(const char* function, T value) const {
    Call(function);
    return value;
  }
};

class RawParameters : public VideoParametersBase<vix::IVideoParameters_RAW> {
 public:
  explicit RawParameters(std::string name)
      : VideoParametersBase(std::move(name), vix::VCodecFamily::Raw) {}
  vix::FourCC GetFourCC() const override { return Get("GetFourCC", values.fourcc); }
  void SetFourCC(vix::FourCC v) override { Set("SetFourCC", values.fourcc, v); }
};

class ProResParameters : public VideoParametersBase<vix::IVideoParameters_ProRes> {
 public:
  explicit ProResParameters(std::string name)
      : VideoParametersBase(std::move(name), vix::VCodecFamily::ProRes) {}
  vix::ProResCodecVariant GetProResCodecVariant() const override {
    return Get("GetProResCodecVariant", values.variant);
  }
  void SetProResCodecVariant(vix::ProResCodecVariant v) override {
    Call("SetProResCodecVariant", Join(static_cast<int>(v)));
    values.variant = v;
  }
};

class ChannelInfo : public vix::IChannelInfo, public Named {
 public:
  ChannelInfo(std::string name, std::shared_ptr<const vix::ITrack> channelTrack, int channelIndex)
      : Named(std::move(name)), track(std::move(channelTrack)), index(channelIndex) {}
  std::shared_ptr<const vix::ITrack> GetTrack() const override {
    Call("GetTrack");
    return track;
  }
  std::shared_ptr<const vix::ITrack> track;
  int index;
};

class VideoInfo : public vix::IVideoInfo, public Named {
 public:
  VideoInfo(std::string name, std::shared_ptr<const vix::IVideoParameters> videoParameters,
            std::shared_ptr<const vix::IChannelInfo> infoChannel)
      : Named(std::move(name)),
        parameters(std::move(videoParameters)),
        channel(std::move(infoChannel)) {}
  std::shared_ptr<const vix::IChannelInfo> GetChannelInfo() const override {
    Call("GetChannelInfo");
    return channel;
  }
  std::shared_ptr<const vix::IVideoParameters> GetVideoParameters() const override {
    Call("GetVideoParameters");
    return parameters;
  }
  std::shared_ptr<const vix::IVideoParameters> parameters;
  std::shared_ptr<const vix::IChannelInfo> channel;
  std::size_t metadataCount = 0;
  std::size_t clockCount = 0;
};

class InfoContainer : public vix::IInfoContainer, public Named {
 public:
  explicit InfoContainer(std::string name,
                         std::vector<std::shared_ptr<const vix::IVideoInfo>> videoInfos = {})
      : Named(std::move(name)), infos(std::move(videoInfos)) {}
  std::vector<std::shared_ptr<const vix::IVideoInfo>> GetInfo() const override {
    Call("GetInfo");
    return infos;
  }
  std::vector<std::shared_ptr<const vix::IVideoInfo>> infos;
};

/// A buffer over exactly as many bytes as were asked for (plus the host's spareBytes), so that an
/// address sanitizer sees every access beyond them.
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

class VideoSample : public vix::IVideoSample, public Named {
 public:
  using Named::Named;
  std::shared_ptr<const vix::IBuffer> GetBuffer() const override;
  const std::vector<vix::TimeLimits>& GetTimeLimits() const override;
  std::shared_ptr<const vix::IVideoParameters> GetVideoParameters() const override;
  std::vector<std::shared_ptr<const vix::IMetadata>> GetMetadata() const override;

  std::shared_ptr<const vix::IBuffer> buffer;
  std::vector<vix::TimeLimits> timeLimits;
  std::shared_ptr<const vix::IVideoParameters> parameters;
  std::shared_ptr<const vix::IVideoInfo> info;
  std::vector<std::shared_ptr<const vix::IMetadata>> metadata;
};

class SampleContainer : public vix::ISampleContainer, public Named {
 public:
  explicit SampleContainer(std::string name,
                           std::vector<std::shared_ptr<const vix::IVideoSample>> videoSamples = {})
      : Named(std::move(name)), samples(std::move(videoSamples)) {}
  std::vector<std::shared_ptr<const vix::IVideoSample>> GetVideoSamples(
      std::shared_ptr<const vix::ITrack> track,
      std::shared_ptr<const vix::IChannelInfo> channel) const override;
  std::vector<std::shared_ptr<const vix::IVideoSample>> samples;
};

class Allocator : public vix::IMemoryBlockAllocator, public Named {
 public:
  using Named::Named;
  std::shared_ptr<vix::IMemoryBlock> AllocateBlock(std::size_t) override { return nullptr; }
};

/// Keeps the records in TheHost().records.
class Writer : public vix::ILoggerWriter, public Named {
 public:
  using Named::Named;
  void Write(vix::LogLevel level, const char* message, const char* context, const char* sourceFile,
             const char* line, const char* reserved, const char* threadId,
             const char* time) override;
};

}  // namespace fake

#endif  // TESTS_PLUGIN_FAKEHOST_H
