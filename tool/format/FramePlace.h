// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_FORMAT_FRAMEPLACE_H
#define TOOL_FORMAT_FRAMEPLACE_H

#include <cstdint>
#include <optional>
#include <string>

#include "format/Timecode.h"

namespace vixprores {

/// Where a frame stands in its stream, or several that follow each other.
struct FramePlace {
  std::int64_t number = 0;
  std::int64_t count = 1;              ///< from that number on
  std::optional<Timecode> timecode;    ///< of the first; none = unknown
  std::optional<std::int64_t> offset;  ///< of the first in the file, in bytes; none = unknown
};

/// "frame 17 (10:00:00:17) at byte 12345", "frame 17 and 2 more"
std::string Describe(const FramePlace& place);

}  // namespace vixprores

#endif  // TOOL_FORMAT_FRAMEPLACE_H
