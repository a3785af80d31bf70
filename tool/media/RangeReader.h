// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_MEDIA_RANGEREADER_H
#define TOOL_MEDIA_RANGEREADER_H

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "format/Values.h"
#include "frames/FrameHeaders.h"
#include "media/FrameReader.h"

namespace vixprores {

/// Fails with a Failure that says how many frames `name` has, and which ones --frames asks for.
[[noreturn]] void FailPastTheEnd(const std::string& name, const FrameRange& range,
                                 std::int64_t count);

/// Hands out the frames of a range, or all of them. Used by one thread at a time.
class RangeReader {
 public:
  /// `reader`, of which nothing was read yet, must outlive it. Refuses, with a Failure, a range
  /// that goes past the end, now where the number of frames is known.
  RangeReader(FrameReader& reader, const std::optional<FrameRange>& range);

  /// The next frame; none behind the last one of the range. A range that goes past the end, and an
  /// input without any frame, are Failures; a user who wants to stop is an Interrupted. After a
  /// FrameFailure, which only a frame of the range can be, the next call gives what stands behind.
  std::optional<NumberedFrame> Read();
  /// Leaves out what is in front of that frame, without reading it where the input allows.
  void SkipTo(std::int64_t frame);
  /// Frames that will be handed out; none where only the end of the input tells.
  std::optional<std::int64_t> Count() const;

 private:
  bool IsInRange(std::int64_t number) const { return number >= first_; }

  FrameReader& reader_;
  std::optional<FrameRange> range_;
  std::int64_t first_ = 0;  ///< that is handed out
  std::int64_t next_ = 0;
};

}  // namespace vixprores

#endif  // TOOL_MEDIA_RANGEREADER_H
