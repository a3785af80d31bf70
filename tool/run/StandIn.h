// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_RUN_STANDIN_H
#define TOOL_RUN_STANDIN_H

#include <cstdint>
#include <memory>

#include "format/StreamFormat.h"
#include "media/FrameWriter.h"
#include "vix/Samples.h"

namespace vixprores {

/// What is written in place of frames that cannot be decoded: the frame before them, or a grey
/// picture where there is none. Used by the thread that writes.
class StandIn {
 public:
  /// @param format of the uncompressed frames
  /// @param writer that the frames are for; must outlive the object
  StandIn(const StreamFormat& format, const FrameWriter& writer)
      : format_(format), writer_(writer) {}

  /// A frame as the writer takes it, to stand in for those behind it.
  void Remember(std::shared_ptr<const vix::IVideoSample> frame) { last_ = std::move(frame); }
  /// The frame of that number, as the writer takes it.
  std::shared_ptr<const vix::IVideoSample> Make(std::int64_t number);

 private:
  std::shared_ptr<const vix::IVideoSample> MakeGrey() const;

  StreamFormat format_;
  const FrameWriter& writer_;
  std::shared_ptr<const vix::IVideoSample> last_;
};

}  // namespace vixprores

#endif  // TOOL_RUN_STANDIN_H
