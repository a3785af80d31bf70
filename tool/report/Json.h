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

#include "format/FramePlace.h"
#include "format/Sound.h"

namespace vixprores {

using JsonValue = nlohmann::ordered_json;

/// Takes a long text piece by piece.
using TextSink = std::function<void(std::string_view)>;

/// Writes to standard output.
TextSink StandardOutput();

/// The text of `json`, with a replacement character for each byte that is not UTF-8: file names may
/// have any bytes, JSON may not.
std::string Dump(const JsonValue& json);

template <typename Value>
JsonValue OrNull(const std::optional<Value>& value) {
  return value ? JsonValue(*value) : JsonValue();
}

/// The timecode of a frame as text; null if `start`, that of frame 0, is unknown.
JsonValue TimecodeJson(const std::optional<Timecode>& start, std::int64_t frame);
/// {"frame": 17, "count": 1, "timecode": "10:00:00:17", "offset": 12345}; null = unknown
JsonValue PlaceJson(const FramePlace& place);
/// Adds the numbers of damaged packets and of gaps, and the list of both.
void AddSoundDamage(const std::vector<SoundDamage>& damage, JsonValue& json);

/// Writes an object with a list that may be too long to be in memory as a whole.
/// @param first        object with the members before the list
/// @param key          name of the list
/// @param writeElement writes the element of that index
/// @param last         object with the members behind the list
void WriteWithList(const TextSink& write, const JsonValue& first, std::string_view key,
                   std::size_t count, const std::function<void(std::size_t)>& writeElement,
                   const JsonValue& last = JsonValue::object());

}  // namespace vixprores

#endif  // TOOL_REPORT_JSON_H
