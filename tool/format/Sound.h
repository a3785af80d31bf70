// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_FORMAT_SOUND_H
#define TOOL_FORMAT_SOUND_H

/// @file
/// Sound tracks and their damage.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <span>
#include <string>
#include <vector>

extern "C" {
#include <libavutil/rational.h>
}

struct AVCodecParameters;

namespace vixprores {

/// Description of a sound track. The samples themselves are never interpreted.
struct SoundTrack {
  std::shared_ptr<const AVCodecParameters> parameters;
  AVRational timeBase{0, 1};  ///< tick of packet times, in seconds
  std::map<std::string, std::string> metadata;
  std::size_t number = 0;  ///< place among all sound tracks of the file
  bool isTimed = true;     ///< the file stores packet times; otherwise samples are counted

  /// Returns the bytes of one sample of all channels; 0 if packets cannot be cut because they are
  /// compressed.
  int SampleBytes() const;
  /// Returns the name of a layout of more than two channels ("5.1") that only the container states;
  /// empty if there is none.
  std::string SurroundLayout() const;
};

/// A stretch of a sound track that was altered or is missing.
struct SoundDamage {
  enum class Kind { Altered, Missing };
  enum class Treatment { Kept, Silenced, ClosedUp, LeftOut };

  Kind kind = Kind::Missing;
  Treatment treatment = Treatment::ClosedUp;  ///< in copies of the track
  std::size_t track = 0;                      ///< place among all sound tracks of the file, from 0
  double begin = 0;                           ///< in seconds
  double seconds = 0;                         ///< duration
};

/// Returns the first few entries, for text reports; JSON reports list all of them.
inline std::span<const SoundDamage> FirstOf(const std::vector<SoundDamage>& damage) {
  constexpr std::size_t kMostListed = 8;
  return std::span(damage).first(std::min(damage.size(), kMostListed));
}

/// Returns text like "sound track 1 lacks 21 ms at 00:00:01.480".
std::string Describe(const SoundDamage& damage);
/// Returns how copies of the track treat the damage: "filled with silence".
const char* ToWord(SoundDamage::Treatment treatment);

/// Returns the number of entries of that kind.
std::int64_t CountSoundDamage(const std::vector<SoundDamage>& damage, SoundDamage::Kind kind);
/// Returns text like "1 damaged packet of sound, 2 gaps in the sound"; empty = no damage.
std::string SumUp(const std::vector<SoundDamage>& damage);

}  // namespace vixprores

#endif  // TOOL_FORMAT_SOUND_H
