// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_MEDIA_SOUND_SOUNDWATCH_H
#define TOOL_MEDIA_SOUND_SOUNDWATCH_H

#include <map>
#include <vector>

#include "media/container/SampleClock.h"
#include "media/sound/SideTracks.h"

namespace vixprores {

/// Keeps account of what is damaged of the sound of a file. Packets that are missing leave a hole
/// in the times, which outputs without times of their own would close up, so that all that follows
/// came too early: silence takes their place, as long as samples can be made at all.
class SoundWatch {
 public:
  /// Appends a packet of that track to `queue`, with silence in front for what is missing.
  void Pass(const SoundTrack& track, SoundPacket sound, bool isAltered,
            std::vector<SoundPacket>& queue);
  /// Notes samples of that track that come out of order and are left out.
  void LeaveOut(const SoundTrack& track, std::int64_t first, std::int64_t count) {
    Note(track, Kind::Altered, Treatment::LeftOut, first, count);
  }
  /// What comes next does not follow what came before.
  void Jump() { tracks_.clear(); }

  const std::vector<SoundDamage>& GetDamage() const { return damage_; }

 private:
  using Kind = SoundDamage::Kind;
  using Treatment = SoundDamage::Treatment;
  struct Passed {
    SampleClock clock;
    std::int64_t lastCount = 0;  ///< samples in the last packet
  };

  static std::int64_t MeasureGap(const SoundTrack& track, const Passed& passed,
                                 const AVPacket& packet);
  void Fill(const SoundTrack& track, std::int64_t gap, std::size_t place, SampleClock& clock,
            std::vector<SoundPacket>& queue);
  void Note(const SoundTrack& track, Kind kind, Treatment treatment, std::int64_t first,
            std::int64_t count);

  std::map<std::size_t, Passed> tracks_;  ///< by their places in the file
  std::vector<SoundDamage> damage_;
};

}  // namespace vixprores

#endif  // TOOL_MEDIA_SOUND_SOUNDWATCH_H
