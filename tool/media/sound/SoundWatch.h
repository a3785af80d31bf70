// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_MEDIA_SOUND_SOUNDWATCH_H
#define TOOL_MEDIA_SOUND_SOUNDWATCH_H

#include <map>
#include <vector>

#include "media/container/SampleClock.h"
#include "media/sound/SideTracks.h"

namespace vixprores {

/// Detects damage of the sound of a file. Missing packets leave a gap in the times, which outputs
/// without times of their own would close up, so that all later sound came too early: silence fills
/// the gap if the samples are uncompressed. The amount of silence is bounded by that of the sound.
class SoundWatch {
 public:
  /// Appends a packet of that track to `queue`, with silence before it for missing samples.
  void Pass(const SoundTrack& track, SoundPacket sound, bool isAltered,
            std::vector<SoundPacket>& queue);
  /// Notes samples of that track that come out of order and are left out.
  void LeaveOut(const SoundTrack& track, std::int64_t first, std::int64_t count) {
    Note(track, Kind::Altered, Treatment::LeftOut, first, count);
  }
  /// The next packets do not follow the last ones.
  void Jump() { tracks_.clear(); }

  const std::vector<SoundDamage>& GetDamage() const { return damage_; }

 private:
  using Kind = SoundDamage::Kind;
  using Treatment = SoundDamage::Treatment;
  struct Passed {
    SampleClock clock;
    std::int64_t lastCount = 0;   ///< samples in the last packet
    std::int64_t soundBytes = 0;  ///< of all packets
    std::int64_t filledBytes = 0;
  };

  static std::int64_t MeasureGap(const SoundTrack& track, const Passed& passed,
                                 const AVPacket& packet);
  void Fill(const SoundTrack& track, std::int64_t gap, std::size_t place, Passed& passed,
            std::vector<SoundPacket>& queue);
  void Note(const SoundTrack& track, Kind kind, Treatment treatment, std::int64_t first,
            std::int64_t count);

  std::map<std::size_t, Passed> tracks_;  ///< by place in the file
  std::vector<SoundDamage> damage_;
};

}  // namespace vixprores

#endif  // TOOL_MEDIA_SOUND_SOUNDWATCH_H
