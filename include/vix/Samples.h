// SPDX-License-Identifier: BSD-2-Clause
#ifndef VIX_SAMPLES_H
#define VIX_SAMPLES_H

/// @file
/// Samples and the containers in which they flow from element to element. Immutable once made.

#include <memory>
#include <vector>

#include "vix/Buffers.h"
#include "vix/Export.h"
#include "vix/StreamDescription.h"
#include "vix/Types.h"

namespace vix {

/// One sample: bytes and the time that they span.
class VIX_API ISample {
 public:
  virtual ~ISample() = default;
  /// The bytes, possibly null.
  virtual std::shared_ptr<const IBuffer> GetBuffer() const = 0;
  /// The spans of time that the sample covers, as they were given.
  virtual const std::vector<TimeLimits>& GetTimeLimits() const = 0;
};

/// One video frame.
class VIX_API IVideoSample : public ISample {
 public:
  /// Description of the frame, possibly null.
  virtual std::shared_ptr<const IVideoParameters> GetVideoParameters() const = 0;
  /// Info of the stream that the frame belongs to, possibly null.
  virtual std::shared_ptr<const IVideoInfo> GetVideoInfo() const { return nullptr; }
  /// Metadata of the frame.
  virtual std::vector<std::shared_ptr<const IMetadata>> GetMetadata() const { return {}; }
};

/// The samples that are pushed into, or pulled out of, an element together.
class VIX_API ISampleContainer {
 public:
  virtual ~ISampleContainer() = default;
  /// The video samples of the container.
  /// @param track   only those of this track; null = of any
  /// @param channel only those of this channel; null = of any
  virtual std::vector<std::shared_ptr<const IVideoSample>> GetVideoSamples(
      std::shared_ptr<const ITrack> track, std::shared_ptr<const IChannelInfo> channel) const = 0;
};

/// A new video sample. Null pointers are kept as they are.
VIX_API std::shared_ptr<IVideoSample> CreateVideoSample(
    std::shared_ptr<const IVideoParameters> parameters, std::shared_ptr<const IVideoInfo> info,
    std::shared_ptr<const IBuffer> buffer, const std::vector<TimeLimits>& timeLimits,
    std::vector<std::shared_ptr<const IMetadata>> metadata);

/// A new container of one sample; a null sample gives an empty container, one that is not a video
/// sample a container without video samples. A sample without info belongs to no track or channel.
VIX_API std::shared_ptr<ISampleContainer> CreateSampleContainer(
    std::shared_ptr<const ISample> sample, std::shared_ptr<const IPackagingInfo> packagingInfo);

}  // namespace vix

#endif  // VIX_SAMPLES_H
