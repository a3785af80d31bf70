// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_REPORT_SOUNDDAMAGEJSON_H
#define TOOL_REPORT_SOUNDDAMAGEJSON_H

#include <nlohmann/json.hpp>
#include <vector>

#include "format/Sound.h"

namespace vixprores {

/// Adds how many packets are damaged, how many gaps there are, and all of them one by one.
inline void AddSoundDamage(const std::vector<SoundDamage>& damage, nlohmann::ordered_json& json) {
  json["damagedSoundPackets"] = CountSoundDamage(damage, SoundDamage::Kind::Altered);
  json["soundGaps"] = CountSoundDamage(damage, SoundDamage::Kind::Missing);
  json["soundDamage"] = nlohmann::ordered_json::array();
  for (const SoundDamage& each : damage) {
    json["soundDamage"].push_back(
        {{"track", each.track + 1},
         {"what", each.kind == SoundDamage::Kind::Missing ? "missing" : "altered"},
         {"begin", each.begin},
         {"seconds", each.seconds}});
  }
}

}  // namespace vixprores

#endif  // TOOL_REPORT_SOUNDDAMAGEJSON_H
