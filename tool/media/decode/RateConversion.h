// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_MEDIA_DECODE_RATECONVERSION_H
#define TOOL_MEDIA_DECODE_RATECONVERSION_H

#include <cstdint>
#include <optional>
#include <string>

#include "media/decode/VideoDecoder.h"

namespace vixprores {

/// A picture and its number in the stream.
struct NumberedPicture {
  std::int64_t number = 0;
  Picture picture;
  bool isUneven = false;  ///< came at another time than the constant rate requires
};

/// Brings pictures to a constant rate: frame N shows the last picture whose time, rounded to whole
/// frames, is not after N. Repeats and drops pictures for that, so that all keep their time.
class RateConversion {
 public:
  /// @param start time of frame 0
  /// @param tick  of times, in seconds
  RateConversion(Rational rate, AVRational tick, std::int64_t start, const std::string& name)
      : rate_(rate), tick_(tick), start_(start), name_(name) {}

  /// Takes the next picture; null ends the stream. Call Pull() until it returns none first.
  void Push(Picture picture);
  /// Returns the next frame; none if another picture is needed, or the stream has ended.
  std::optional<NumberedPicture> Pull();
  /// Continues with any later or earlier picture.
  void Jump();

  /// Returns a note on pictures repeated and dropped so far; empty = none were.
  std::string DescribeChanges() const;

 private:
  std::int64_t FrameAt(std::int64_t time) const;

  Rational rate_;
  AVRational tick_;
  std::int64_t start_;
  std::string name_;
  Picture current_;
  Picture pending_;         ///< follows it
  std::int64_t next_ = 0;   ///< frame
  std::int64_t until_ = 0;  ///< frame that the current picture does not show any more
  bool isShown_ = false;    ///< the current picture has been
  bool isAfterJump_ = false;
  std::int64_t repeated_ = 0;
  std::int64_t dropped_ = 0;
};

}  // namespace vixprores

#endif  // TOOL_MEDIA_DECODE_RATECONVERSION_H
