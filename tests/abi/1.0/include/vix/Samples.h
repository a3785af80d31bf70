// SPDX-License-Identifier: BSD-2-Clause
#ifndef VIX_SAMPLES_H
#define VIX_SAMPLES_H

/// @file
/// Samples, and the containers in which elements exchange them. Both are immutable.

#include <memory>
#include <vector>

#include "vix/Buffers.h"
#include "vix/Export.h"
#include "vix/StreamDescription.h"
#include "vix/Types.h"

namespace vix {

/// Bytes and their time.
class VIX_API ISample {
 public:
  virtual ~ISample() = default;
  /// Returns the bytes; may be null.
  virtual std::shared_ptr<const IBuffer> GetBuffer() const = 0;
  /// Returns the time spans of the sample.
  virtual const std::vector<TimeLimits>& GetTimeLimits() const = 0;
};

/// One video frame.
class VIX_API IVideoSample : public ISample {
 public:
  /// Returns the description of the frame; may be null.
  virtual std::shared_ptr<const IVideoParameters> GetVideoParameters() const = 0;
  /// Returns the info of the frame's stream; may be null.
  virtual std::shared_ptr<const IVideoInfo> GetVideoInfo() const { return nullptr; }
  /// Returns the metadata of the frame.
  virtual std::vector<std::shared_ptr<const IMetadata>> GetMetadata() const { return {}; }
};

/// Samples that an element receives or returns together.
class VIX_API ISampleContainer {
 public:
  virtual ~ISampleContainer() = default;
  /// Returns the video samples of the container.
  /// @param track   selects the samples of this track; null = all
  /// @param channel selects the samples of this channel; null = all
  virtual std::vector<std::shared_ptr<const IVideoSample>> GetVideoSamples(
      std::shared_ptr<const ITrack> track, std::shared_ptr<const IChannelInfo> channel) const = 0;
};

/// Creates a video sample. Every pointer may be null.
VIX_API std::shared_ptr<IVideoSample> CreateVideoSample(
    std::shared_ptr<const IVideoParameters> parameters, std::shared_ptr<const IVideoInfo> info,
    std::shared_ptr<const IBuffer> buffer, const std::vector<TimeLimits>& timeLimits,
    std::vector<std::shared_ptr<const IMetadata>> metadata);

/// Creates a container of one sample, or an empty one if `sample` is null. A sample without info
/// belongs to no track and no channel.
VIX_API std::shared_ptr<ISampleContainer> CreateSampleContainer(
    std::shared_ptr<const ISample> sample, std::shared_ptr<const IPackagingInfo> packagingInfo);

}  // namespace vix

#endif  // VIX_SAMPLES_H
