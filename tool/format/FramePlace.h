// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_FORMAT_FRAMEPLACE_H
#define TOOL_FORMAT_FRAMEPLACE_H

/// @file
/// Position and time of frames in a stream.

#include <cstdint>
#include <optional>
#include <string>

#include "base/Limits.h"
#include "format/Timecode.h"

namespace vixprores {

/// Position of a frame, or of several in a row.
struct FramePlace {
  std::int64_t number = 0;             ///< of the first frame, from 0
  std::int64_t count = 1;              ///< of frames
  std::optional<Timecode> timecode;    ///< of the first frame; none = unknown
  std::optional<std::int64_t> offset;  ///< of the first frame in the file, in bytes; none = unknown
};

/// Returns text like "frame 17 (10:00:00:17) at byte 12345" or "frame 17 and 2 more".
inline std::string Describe(const FramePlace& place) {
  std::string text = "frame " + std::to_string(place.number);
  if (place.timecode) text += " (" + place.timecode->ToText() + ")";
  if (place.offset) text += " at byte " + std::to_string(*place.offset);
  if (place.count > 1) text += " and " + std::to_string(place.count - 1) + " more";
  return text;
}

/// Returns `what`, said of one frame, as said of `count` frames: "is missing" or "are missing".
inline std::string Inflect(const std::string& what, std::int64_t count) {
  return count > 1 && what.starts_with("is ") ? "are " + what.substr(3) : what;
}

/// How frame times that do not fit a constant rate are treated.
enum class FrameTimes {
  Checked,   ///< every such time is a failure
  GapsOnly,  ///< a missing frame is a failure; frames at odd times are counted
  Evident,   ///< as Ignored if an index states the times, else as GapsOnly
  Ignored,   ///< frames follow each other at any time; odd times are counted
};

/// Limits the number of frames that replace lost ones, so that a damaged time cannot fill the disk:
/// over the whole run, kMostStandIns plus the number of frames that are not lost.
class StandInLimit {
 public:
  void CountFrame() { ++left_; }
  /// Returns true, and counts them as used, if `frames` frames may be filled in.
  bool Take(std::int64_t frames) {
    if (frames > left_) return false;
    left_ -= frames;
    return true;
  }

 private:
  std::int64_t left_ = kMostStandIns;
};

}  // namespace vixprores

#endif  // TOOL_FORMAT_FRAMEPLACE_H
