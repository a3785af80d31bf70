// SPDX-License-Identifier: BSD-2-Clause
#ifndef TESTS_PLUGIN_FAKESTREAMS_H
#define TESTS_PLUGIN_FAKESTREAMS_H

/// @file
/// Stream descriptions and samples of the scripted host.

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "FakeHost.h"

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
  vix::VCodecFamily family;  ///< result of GetCodecFamily; may contradict the class

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

class VideoSample : public vix::IVideoSample, public Named {
 public:
  using Named::Named;
  std::shared_ptr<const vix::IBuffer> GetBuffer() const override {
    Call("GetBuffer");
    return buffer;
  }
  const std::vector<vix::TimeLimits>& GetTimeLimits() const override {
    Call("GetTimeLimits");
    return timeLimits;
  }
  std::shared_ptr<const vix::IVideoParameters> GetVideoParameters() const override {
    Call("GetVideoParameters");
    return parameters;
  }
  std::vector<std::shared_ptr<const vix::IMetadata>> GetMetadata() const override {
    Call("GetMetadata");
    return metadata;
  }

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
      std::shared_ptr<const vix::IChannelInfo> channel) const override {
    Call("GetVideoSamples", Join(NameOf(track), NameOf(channel)));
    return samples;
  }
  std::vector<std::shared_ptr<const vix::IVideoSample>> samples;
};

}  // namespace fake

#endif  // TESTS_PLUGIN_FAKESTREAMS_H
