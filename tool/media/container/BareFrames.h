// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_MEDIA_CONTAINER_BAREFRAMES_H
#define TOOL_MEDIA_CONTAINER_BAREFRAMES_H

#include <memory>
#include <optional>

#include "base/FramePool.h"
#include "vix/Buffers.h"

namespace vixprores {

/// How the samples of a track hold the frames.
enum class SampleLayout {
  Standard,    ///< frames with their prefix (size and "icpf")
  BareFrames,  ///< frames without it
  BareFields,  ///< frame header and one picture, without the prefix: a field of an interlaced frame
};

/// Decides from the first two samples of a track; the second one is null where there is none.
SampleLayout FindLayout(const vix::IBuffer& first, const vix::IBuffer* second);

/// Makes frames with a prefix out of bare samples. May be used from any thread.
class BareFrames {
 public:
  /// The frame of one sample.
  std::shared_ptr<vix::IBuffer> AddPrefix(const vix::IBuffer& sample) const;
  /// The frame of two fields: the header of the first, and both pictures. Of samples that cannot
  /// be taken apart all bytes are taken, so that what is wrong with them stays to be seen.
  std::shared_ptr<vix::IBuffer> Join(const vix::IBuffer& first, const vix::IBuffer& second) const;

 private:
  FramePool pool_;
};

}  // namespace vixprores

#endif  // TOOL_MEDIA_CONTAINER_BAREFRAMES_H
