// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_FORMAT_SOUNDDAMAGE_H
#define TOOL_FORMAT_SOUNDDAMAGE_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace vixprores {

/// A piece of a sound track that is not what was written, or is not there.
struct SoundDamage {
  enum class Kind { Altered, Missing };
  enum class Treatment { Kept, Silenced, ClosedUp };

  Kind kind = Kind::Missing;
  Treatment treatment = Treatment::ClosedUp;  ///< in what is made of the track
  std::size_t track = 0;                      ///< place among all sound tracks of the file, from 0
  double begin = 0;                           ///< in seconds
  double seconds = 0;                         ///< how long it lasts
};

/// The first few, which texts tell one by one; JSON tells all of them.
inline std::span<const SoundDamage> FirstOf(const std::vector<SoundDamage>& damage) {
  constexpr std::size_t kMostTold = 8;
  return std::span(damage).first(std::min(damage.size(), kMostTold));
}

/// "sound track 1 lacks 21 ms at 00:00:01.480"
std::string Describe(const SoundDamage& damage);
/// What became of it: "filled with silence"
const char* ToWord(SoundDamage::Treatment treatment);

/// How many of them are of that kind.
std::int64_t CountSoundDamage(const std::vector<SoundDamage>& damage, SoundDamage::Kind kind);
/// "1 damaged packet of sound, 2 gaps in the sound"; empty = no damage
std::string SumUp(const std::vector<SoundDamage>& damage);

}  // namespace vixprores

#endif  // TOOL_FORMAT_SOUNDDAMAGE_H
