// SPDX-License-Identifier: BSD-2-Clause
#include "vix/StreamDescription.h"

#include <memory>
#include <utility>
#include <vector>

#include "vix/Error.h"

namespace vix {
namespace {

/// The common properties of video streams behind the interface of one codec family.
template <VCodecFamily F>
class VideoParameters : public VideoParameters_trait<F>::Type {
 public:
  void SetVideoProperty1(std::int32_t value) override { property1_ = value; }
  void SetVideoProperty2(std::int32_t value) override { property2_ = value; }
  void SetVideoProperty3(std::int32_t value) override { property3_ = value; }
  void SetVideoProperty4(std::int32_t value) override { property4_ = value; }
  void SetScanMode(ScanMode value) override { scanMode_ = value; }
  void SetVideoProperty6(std::int32_t value) override { property6_ = value; }
  void SetStoredWidth(std::uint32_t pixels) override { storedWidth_ = pixels; }
  void SetStoredHeight(std::uint32_t rows) override { storedHeight_ = rows; }
  void SetWidth(std::uint32_t pixels) override { width_ = pixels; }
  void SetHeight(std::uint32_t rows) override { height_ = rows; }
  void SetVideoProperty11(std::int32_t value) override { property11_ = value; }
  void SetEditRate(EditRate value) override { editRate_ = value; }
  void SetBitRate(double mbps) override { bitRate_ = mbps; }

  VCodecFamily GetCodecFamily() const override { return F; }
  std::int32_t GetVideoProperty1() const override { return property1_; }
  std::int32_t GetVideoProperty2() const override { return property2_; }
  std::int32_t GetVideoProperty3() const override { return property3_; }
  std::int32_t GetVideoProperty4() const override { return property4_; }
  EditRate GetEditRate() const override { return editRate_; }
  ScanMode GetScanMode() const override { return scanMode_; }
  std::int32_t GetVideoProperty6() const override { return property6_; }
  std::uint32_t GetStoredWidth() const override { return storedWidth_; }
  std::uint32_t GetStoredHeight() const override { return storedHeight_; }
  std::uint32_t GetWidth() const override { return width_; }
  std::uint32_t GetHeight() const override { return height_; }
  std::int32_t GetVideoProperty11() const override { return property11_; }
  double GetBitRate() const override { return bitRate_; }

  void CopyFrom(std::shared_ptr<const IVideoParameters> source) override {
    using Interface = typename VideoParameters_trait<F>::Type;
    const auto sameFamily = std::dynamic_pointer_cast<const Interface>(source);
    if (!sameFamily) {
      throw VIXRuntimeError("CopyFrom needs a description of the same codec family");
    }
    CopyCommon(*sameFamily);
    CopyOwn(*sameFamily);
  }

 protected:
  /// Copies the properties that only this codec family has.
  virtual void CopyOwn(const typename VideoParameters_trait<F>::Type& source) = 0;

 private:
  // Uses the getters, because the source may be the implementation of another program.
  void CopyCommon(const IVideoParameters& source) {
    property1_ = source.GetVideoProperty1();
    property2_ = source.GetVideoProperty2();
    property3_ = source.GetVideoProperty3();
    property4_ = source.GetVideoProperty4();
    scanMode_ = source.GetScanMode();
    property6_ = source.GetVideoProperty6();
    storedWidth_ = source.GetStoredWidth();
    storedHeight_ = source.GetStoredHeight();
    width_ = source.GetWidth();
    height_ = source.GetHeight();
    property11_ = source.GetVideoProperty11();
    editRate_ = source.GetEditRate();
    bitRate_ = source.GetBitRate();
  }

  std::int32_t property1_ = 0;
  std::int32_t property2_ = 0;
  std::int32_t property3_ = 0;
  std::int32_t property4_ = 0;
  ScanMode scanMode_{};
  std::int32_t property6_ = 0;
  std::uint32_t storedWidth_ = 0;
  std::uint32_t storedHeight_ = 0;
  std::uint32_t width_ = 0;
  std::uint32_t height_ = 0;
  std::int32_t property11_ = 0;
  EditRate editRate_;
  double bitRate_ = 0;
};

class RawVideoParameters final : public VideoParameters<VCodecFamily::Raw> {
 public:
  FourCC GetFourCC() const override { return fourcc_; }
  void SetFourCC(FourCC value) override { fourcc_ = value; }

 private:
  void CopyOwn(const IVideoParameters_RAW& source) override { fourcc_ = source.GetFourCC(); }

  FourCC fourcc_ = 0;
};

class ProResVideoParameters final : public VideoParameters<VCodecFamily::ProRes> {
 public:
  ProResCodecVariant GetProResCodecVariant() const override { return variant_; }
  void SetProResCodecVariant(ProResCodecVariant value) override { variant_ = value; }

 private:
  void CopyOwn(const IVideoParameters_ProRes& source) override {
    variant_ = source.GetProResCodecVariant();
  }

  ProResCodecVariant variant_{};
};

class ChannelInfo final : public IChannelInfo {
 public:
  ChannelInfo(std::shared_ptr<const ITrack> track, int index)
      : track_(std::move(track)), index_(index) {}

  std::shared_ptr<const ITrack> GetTrack() const override { return track_; }
  int GetIndex() const override { return index_; }

 private:
  std::shared_ptr<const ITrack> track_;
  int index_;
};

class VideoInfo final : public IVideoInfo {
 public:
  VideoInfo(std::shared_ptr<const IVideoParameters> parameters,
            std::shared_ptr<const IChannelInfo> channelInfo,
            std::vector<std::shared_ptr<const IMetadata>> metadata,
            std::vector<std::shared_ptr<const IClockInfo>> clockInfos)
      : parameters_(std::move(parameters)),
        channelInfo_(std::move(channelInfo)),
        metadata_(std::move(metadata)),
        clockInfos_(std::move(clockInfos)) {}

  std::shared_ptr<const IChannelInfo> GetChannelInfo() const override { return channelInfo_; }
  std::shared_ptr<const IVideoParameters> GetVideoParameters() const override {
    return parameters_;
  }

 private:
  std::shared_ptr<const IVideoParameters> parameters_;
  std::shared_ptr<const IChannelInfo> channelInfo_;
  // Only kept alive: the contract has no operation that reads them.
  std::vector<std::shared_ptr<const IMetadata>> metadata_;
  std::vector<std::shared_ptr<const IClockInfo>> clockInfos_;
};

class InfoContainer final : public IInfoContainer {
 public:
  InfoContainer(std::shared_ptr<const IInfo> info,
                std::shared_ptr<const IPackagingInfo> packagingInfo)
      : info_(std::move(info)), packagingInfo_(std::move(packagingInfo)) {}

  std::vector<std::shared_ptr<const IVideoInfo>> GetInfo() const override {
    const auto video = std::dynamic_pointer_cast<const IVideoInfo>(info_);
    if (!video) return {};
    return {video};
  }

 private:
  std::shared_ptr<const IInfo> info_;
  std::shared_ptr<const IPackagingInfo> packagingInfo_;
};

}  // namespace

std::shared_ptr<IVideoParameters> CreateVideoParameters(VCodecFamily family) {
  if (family == VCodecFamily::Raw) return std::make_shared<RawVideoParameters>();
  if (family == VCodecFamily::ProRes) return std::make_shared<ProResVideoParameters>();
  return nullptr;
}

std::shared_ptr<IVideoInfo> CreateVideoInfo(
    std::shared_ptr<const IVideoParameters> parameters,
    std::shared_ptr<const IChannelInfo> channelInfo,
    std::vector<std::shared_ptr<const IMetadata>> metadata,
    std::vector<std::shared_ptr<const IClockInfo>> clockInfos) {
  return std::make_shared<VideoInfo>(std::move(parameters), std::move(channelInfo),
                                     std::move(metadata), std::move(clockInfos));
}

std::shared_ptr<IChannelInfo> CreateChannelInfo(std::shared_ptr<const ITrack> track, int index) {
  return std::make_shared<ChannelInfo>(std::move(track), index);
}

std::shared_ptr<IInfoContainer> CreateInfoContainer(
    std::shared_ptr<const IInfo> info, std::shared_ptr<const IPackagingInfo> packagingInfo) {
  return std::make_shared<InfoContainer>(std::move(info), std::move(packagingInfo));
}

}  // namespace vix
