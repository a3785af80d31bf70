// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_FORMAT_TIMECODE_H
#define TOOL_FORMAT_TIMECODE_H

#include <cstdint>
#include <optional>
#include <string>

#include "format/StreamFormat.h"

namespace vixprores {

/// The time of day that a frame is labelled with (SMPTE ST 12-1), counted in frames. A label has
/// 24, 25, 30, 48, 50, 60, 100 or 120 frames a second; where the frames come 1000/1001 times as
/// fast as that, labels may be dropped to stay with the clock: two (at 30 a second, and as many
/// more at multiples of it) at the start of each minute but every tenth.
class Timecode {
 public:
  /// Reads "HH:MM:SS:FF", or "HH:MM:SS;FF" with drop frame. Refuses, with a UsageError that says
  /// why, what is no label of a stream of that rate, dropped labels included.
  static Timecode Parse(const std::string& text, Rational rate);
  /// The same for a text out of a file: none where it is no label of that rate.
  static std::optional<Timecode> Find(const std::string& text, Rational rate);

  /// The label that many frames later (or earlier), modulo 24 hours.
  Timecode operator+(std::int64_t frames) const;
  std::string ToText() const;

  friend bool operator==(const Timecode&, const Timecode&) = default;

 private:
  Timecode(int framesPerSecond, bool dropFrame, std::int64_t frame)
      : framesPerSecond_(framesPerSecond), dropFrame_(dropFrame), frame_(frame) {}

  std::int64_t LabelsDroppedBefore(std::int64_t minute) const;
  std::int64_t FramesPerDay() const;

  int framesPerSecond_;  ///< of the labels
  bool dropFrame_;
  std::int64_t frame_;  ///< frames since midnight
};

}  // namespace vixprores

#endif  // TOOL_FORMAT_TIMECODE_H
