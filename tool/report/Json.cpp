// SPDX-License-Identifier: BSD-2-Clause
#include "report/Json.h"

namespace vixprores {
namespace {

// Returns the members of an object as text, without its braces.
std::string Members(const JsonValue& object) {
  const std::string text = Dump(object);
  return text.substr(1, text.size() - 2);
}

}  // namespace

std::string Dump(const JsonValue& json) {
  const std::string text = json.dump(-1, ' ', false, JsonValue::error_handler_t::replace);
  // JSON allows DEL and the controls after it (C1) in texts, but terminals obey them.
  return PrintableText(Replace(text, "\x7F", "\\u007F"));
}

JsonValue TimecodeJson(const std::optional<Timecode>& start, std::int64_t frame) {
  return start ? JsonValue((*start + frame).ToText()) : JsonValue();
}

JsonValue RateJson(Rational rate) {
  return rate.numerator > 0 ? JsonValue(Describe(rate)) : JsonValue();
}

std::string RateText(Rational rate) {
  return rate.numerator > 0 ? Describe(rate) + " fps" : "unknown rate";
}

JsonValue PlaceJson(const FramePlace& place) {
  return {{"frame", place.number},
          {"count", place.count},
          {"timecode", TimecodeJson(place.timecode, 0)},
          {"offset", OrNull(place.offset)}};
}

void AddSoundDamage(const std::vector<SoundDamage>& damage, JsonValue& json) {
  json["damagedSoundPackets"] = CountSoundDamage(damage, SoundDamage::Kind::Altered);
  json["soundGaps"] = CountSoundDamage(damage, SoundDamage::Kind::Missing);
  json["soundDamage"] = JsonValue::array();
  for (const SoundDamage& each : damage) {
    json["soundDamage"].push_back(
        {{"track", each.track + 1},
         {"what", each.kind == SoundDamage::Kind::Missing ? "missing" : "altered"},
         {"begin", each.begin},
         {"seconds", each.seconds}});
  }
}

void WriteWithList(const TextSink& write, const JsonValue& first, std::string_view key,
                   std::size_t count, const std::function<void(std::size_t)>& writeElement,
                   const JsonValue& last) {
  write("{" + Members(first) + (first.empty() ? "" : ",") + "\"" + std::string(key) + "\":[");
  for (std::size_t i = 0; i < count; ++i) {
    if (i > 0) write(",");
    writeElement(i);
  }
  write("]" + std::string(last.empty() ? "" : ",") + Members(last) + "}");
}

}  // namespace vixprores
