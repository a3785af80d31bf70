// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_REPORT_PLACEJSON_H
#define TOOL_REPORT_PLACEJSON_H

#include <nlohmann/json.hpp>

#include "format/FramePlace.h"

namespace vixprores {

/// {"frame": 17, "count": 1, "timecode": "10:00:00:17", "offset": 12345}; null = unknown
inline nlohmann::ordered_json PlaceJson(const FramePlace& place) {
  nlohmann::ordered_json json{
      {"frame", place.number}, {"count", place.count}, {"timecode", nullptr}, {"offset", nullptr}};
  if (place.timecode) json["timecode"] = place.timecode->ToText();
  if (place.offset) json["offset"] = *place.offset;
  return json;
}

}  // namespace vixprores

#endif  // TOOL_REPORT_PLACEJSON_H
