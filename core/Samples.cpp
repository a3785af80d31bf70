// SPDX-License-Identifier: BSD-2-Clause
#include "vix/Samples.h"

#include <memory>
#include <utility>
#include <vector>

namespace vix {
namespace {

class VideoSample final : public IVideoSample {
 public:
  VideoSample(std::shared_ptr<const IVideoParameters> parameters,
              std::shared_ptr<const IVideoInfo> info, std::shared_ptr<const IBuffer> buffer,
              const std::vector<TimeLimits>& timeLimits,
              std::vector<std::shared_ptr<const IMetadata>> metadata)
      : parameters_(std::move(parameters)),
        info_(std::move(info)),
        buffer_(std::move(buffer)),
        timeLimits_(timeLimits),
        metadata_(std::move(metadata)) {}

  std::shared_ptr<const IBuffer> GetBuffer() const override { return buffer_; }
  const std::vector<TimeLimits>& GetTimeLimits() const override { return timeLimits_; }
  std::shared_ptr<const IVideoParameters> GetVideoParameters() const override {
    return parameters_;
  }
  std::shared_ptr<const IVideoInfo> GetVideoInfo() const override { return info_; }
  std::vector<std::shared_ptr<const IMetadata>> GetMetadata() const override { return metadata_; }

 private:
  std::shared_ptr<const IVideoParameters> parameters_;
  std::shared_ptr<const IVideoInfo> info_;
  std::shared_ptr<const IBuffer> buffer_;
  std::vector<TimeLimits> timeLimits_;
  std::vector<std::shared_ptr<const IMetadata>> metadata_;
};

class SampleContainer final : public ISampleContainer {
 public:
  SampleContainer(std::shared_ptr<const ISample> sample,
                  std::shared_ptr<const IPackagingInfo> packagingInfo)
      : sample_(std::move(sample)), packagingInfo_(std::move(packagingInfo)) {}

  std::vector<std::shared_ptr<const IVideoSample>> GetVideoSamples(
      std::shared_ptr<const ITrack> track,
      std::shared_ptr<const IChannelInfo> channel) const override {
    const auto video = std::dynamic_pointer_cast<const IVideoSample>(sample_);
    if (!video) return {};
    const auto info = video->GetVideoInfo();
    const auto itsChannel = info ? info->GetChannelInfo() : nullptr;
    const auto itsTrack = itsChannel ? itsChannel->GetTrack() : nullptr;
    if ((track && track != itsTrack) || (channel && channel != itsChannel)) return {};
    return {video};
  }

 private:
  std::shared_ptr<const ISample> sample_;
  std::shared_ptr<const IPackagingInfo> packagingInfo_;
};

}  // namespace

std::shared_ptr<IVideoSample> CreateVideoSample(
    std::shared_ptr<const IVideoParameters> parameters, std::shared_ptr<const IVideoInfo> info,
    std::shared_ptr<const IBuffer> buffer, const std::vector<TimeLimits>& timeLimits,
    std::vector<std::shared_ptr<const IMetadata>> metadata) {
  return std::make_shared<VideoSample>(std::move(parameters), std::move(info), std::move(buffer),
                                       timeLimits, std::move(metadata));
}

std::shared_ptr<ISampleContainer> CreateSampleContainer(
    std::shared_ptr<const ISample> sample, std::shared_ptr<const IPackagingInfo> packagingInfo) {
  return std::make_shared<SampleContainer>(std::move(sample), std::move(packagingInfo));
}

}  // namespace vix
