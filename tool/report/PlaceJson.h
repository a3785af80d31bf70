// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_REPORT_PLACEJSON_H
#define TOOL_REPORT_PLACEJSON_H

#include <nlohmann/json.hpp>

#include "format/FramePlace.h"

namespace vixprores {

/// {"frame": 17, "count": 1, "timecode": "10:00:00:17", "offset": 12345}; null = unknown
inline nlohmann::ordered_json PlaceJson(const FramePlace& place) {
  using Json = nlohmann::ordered_json;
  return {{"frame", place.number},
          {"count", place.count},
          {"timecode", place.timecode ? Json(place.timecode->ToText()) : Json()},
          {"offset", place.offset ? Json(*place.offset) : Json()}};
}

}  // namespace vixprores

#endif  // TOOL_REPORT_PLACEJSON_H
