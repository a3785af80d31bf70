// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_REPORT_JSON_H
#define TOOL_REPORT_JSON_H

/// @file
/// JSON of the reports. Keys and their order do not change: users' scripts read them.

#include <cstddef>
#include <functional>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/Text.h"
#include "format/FramePlace.h"
#include "format/Sound.h"
#include "format/StreamFormat.h"

namespace vixprores {

using JsonValue = nlohmann::ordered_json;

/// Returns the text of `json` with bytes that are not UTF-8 replaced by a replacement character:
/// file names may contain any bytes, JSON may not. Escapes all control characters.
std::string Dump(const JsonValue& json);

template <typename Value>
JsonValue OrNull(const std::optional<Value>& value) {
  return value ? JsonValue(*value) : JsonValue();
}

/// Returns the timecode of a frame as text; null if `start`, the timecode of frame 0, is unknown.
JsonValue TimecodeJson(const std::optional<Timecode>& start, std::int64_t frame);
/// Returns the rate as text; null if it is 0, unknown.
JsonValue RateJson(Rational rate);
/// Returns text like "25 fps".
std::string RateText(Rational rate);
/// Returns {"frame": 17, "count": 1, "timecode": "10:00:00:17", "offset": 12345}; null = unknown.
JsonValue PlaceJson(const FramePlace& place);
/// Adds the number of damaged packets, the number of gaps, and the list of both.
void AddSoundDamage(const std::vector<SoundDamage>& damage, JsonValue& json);

/// Writes an object with one list, which may be too long for memory as a whole.
/// @param first        object with the members before the list
/// @param key          name of the list
/// @param writeElement writes the element with the given index
/// @param last         object with the members after the list
void WriteWithList(const TextSink& write, const JsonValue& first, std::string_view key,
                   std::size_t count, const std::function<void(std::size_t)>& writeElement,
                   const JsonValue& last = JsonValue::object());

}  // namespace vixprores

#endif  // TOOL_REPORT_JSON_H
