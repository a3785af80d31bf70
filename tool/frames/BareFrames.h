// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_FRAMES_BAREFRAMES_H
#define TOOL_FRAMES_BAREFRAMES_H

#include <memory>
#include <optional>

#include "base/FramePool.h"
#include "vix/Buffers.h"

namespace vixprores {

/// Layout of frames in the samples of a track.
enum class SampleLayout {
  Standard,    ///< frames with their prefix (size and "icpf")
  BareFrames,  ///< frames without it
  BareFields,  ///< frame header and one picture, without the prefix: a field of an interlaced frame
};

/// Detects the layout from the first two samples of a track; the second may be null.
SampleLayout FindLayout(const vix::IBuffer& first, const vix::IBuffer* second);

/// Makes frames with a prefix from bare samples. May be used from any thread.
class BareFrames {
 public:
  /// Returns the frame of one sample.
  std::shared_ptr<vix::IBuffer> AddPrefix(const vix::IBuffer& sample) const;
  /// Returns the frame of two fields: the header of the first, and both pictures. Samples that
  /// cannot be parsed are joined byte by byte, so that their damage is found later.
  std::shared_ptr<vix::IBuffer> Join(const vix::IBuffer& first, const vix::IBuffer& second) const;

 private:
  FramePool pool_;
};

}  // namespace vixprores

#endif  // TOOL_FRAMES_BAREFRAMES_H
