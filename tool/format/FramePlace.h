// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_FORMAT_FRAMEPLACE_H
#define TOOL_FORMAT_FRAMEPLACE_H

/// @file
/// Position and time of frames in a stream.

#include <cstdint>
#include <optional>
#include <string>

#include "format/Timecode.h"

namespace vixprores {

/// Position of a frame, or of several in a row.
struct FramePlace {
  std::int64_t number = 0;             ///< of the first frame, from 0
  std::int64_t count = 1;              ///< of frames
  std::optional<Timecode> timecode;    ///< of the first frame; none = unknown
  std::optional<std::int64_t> offset;  ///< of the first frame in the file, in bytes; none = unknown
};

/// "frame 17 (10:00:00:17) at byte 12345", "frame 17 and 2 more"
inline std::string Describe(const FramePlace& place) {
  std::string text = "frame " + std::to_string(place.number);
  if (place.timecode) text += " (" + place.timecode->ToText() + ")";
  if (place.offset) text += " at byte " + std::to_string(*place.offset);
  if (place.count > 1) text += " and " + std::to_string(place.count - 1) + " more";
  return text;
}

/// How frame times that do not fit a constant rate are treated.
enum class FrameTimes {
  Checked,   ///< every such time is a failure
  GapsOnly,  ///< a missing frame is a failure; frames at odd times are counted
  Ignored,   ///< frames follow each other at any time; odd times are counted
};

}  // namespace vixprores

#endif  // TOOL_FORMAT_FRAMEPLACE_H
