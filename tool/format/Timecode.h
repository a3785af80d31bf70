// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_FORMAT_TIMECODE_H
#define TOOL_FORMAT_TIMECODE_H

#include <cstdint>
#include <optional>
#include <string>

#include "format/StreamFormat.h"

namespace vixprores {

/// Time of day that labels a frame (SMPTE ST 12-1), counted in frames. Labels have 24, 25, 30, 48,
/// 50, 60, 100 or 120 frames per second. At a rate of 1000/1001 times that, labels may be dropped
/// to keep up with the clock: two (at 30 per second; more at its multiples) at the start of every
/// minute except every tenth.
class Timecode {
 public:
  /// Parses "HH:MM:SS:FF", or "HH:MM:SS;FF" with drop frame. Throws a UsageError with the reason if
  /// it is no label of a stream of that rate, or a dropped one.
  static Timecode Parse(const std::string& text, Rational rate);
  /// Does the same for a text from a file; returns nullopt if it is no label of that rate.
  static std::optional<Timecode> Find(const std::string& text, Rational rate);

  /// Returns true for text of the form "HH:MM:SS:FF" or "HH:MM:SS;FF".
  static bool IsNotation(const std::string& text);

  /// Returns the number of frames from this label to the next one that reads `text`, 0 to a day.
  /// Both notations mean labels of this timecode.
  /// @throws UsageError if there is no such label
  std::int64_t CountFramesTo(std::string text) const;
  /// Returns the label so many frames later (or earlier), modulo 24 hours.
  Timecode operator+(std::int64_t frames) const;
  bool IsDropFrame() const { return dropFrame_; }
  /// Returns the frames since midnight.
  std::int64_t FrameOfDay() const { return frame_; }
  std::string ToText() const;
  /// Returns the number of frames since midnight.
  std::int64_t GetFrame() const { return frame_; }

  friend bool operator==(const Timecode&, const Timecode&) = default;

 private:
  Timecode(int framesPerSecond, bool dropFrame, std::int64_t frame)
      : framesPerSecond_(framesPerSecond), dropFrame_(dropFrame), frame_(frame) {}

  std::int64_t FramesPerDay() const;

  int framesPerSecond_;  ///< of the labels
  bool dropFrame_;
  std::int64_t frame_;  ///< frames since midnight
};

}  // namespace vixprores

#endif  // TOOL_FORMAT_TIMECODE_H
