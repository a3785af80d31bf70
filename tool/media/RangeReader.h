// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_MEDIA_RANGEREADER_H
#define TOOL_MEDIA_RANGEREADER_H

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "format/Values.h"
#include "media/FrameReader.h"

namespace vixprores {

/// Throws a Failure that states the frames of `name` and the frames that --frames selects.
[[noreturn]] void FailPastTheEnd(const std::string& name, const FrameRange& range,
                                 std::int64_t count);

/// Returns the frames of a range, or all of them. Used by one thread at a time.
class RangeReader {
 public:
  /// Rejects a range that exceeds the input if the number of frames is known.
  /// @param reader must outlive this; must not have been read from
  RangeReader(FrameReader& reader, const std::optional<FrameRange>& range);

  /// Returns the next frame, nullopt after the last one of the range. Throws a FrameFailure for a
  /// damaged frame of the range (the next call resumes after it), a Failure if the range exceeds
  /// the input or the input has no frame, and Interrupted when the user asks to stop.
  std::optional<NumberedFrame> Read();
  /// Drops the frames before that one, without reading them if the input allows.
  void SkipTo(std::int64_t frame);

 private:
  FrameReader& reader_;
  std::optional<FrameRange> range_;
  std::int64_t first_ = 0;  ///< returned
  std::int64_t next_ = 0;   ///< read
};

}  // namespace vixprores

#endif  // TOOL_MEDIA_RANGEREADER_H
