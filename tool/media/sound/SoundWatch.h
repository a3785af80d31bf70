// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_MEDIA_SOUND_SOUNDWATCH_H
#define TOOL_MEDIA_SOUND_SOUNDWATCH_H

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "format/Sound.h"
#include "media/container/Libav.h"
#include "media/sound/SideTracks.h"

namespace vixprores {

/// Makes silent samples of an uncompressed sound track from sample `first` on: up to `count`,
/// limited to one second and a small block, at least one. Their times are in ticks of the track.
/// All silence shares one block of memory, so that long gaps need almost none.
Packet MakeSilence(const SoundTrack& track, std::int64_t first, std::int64_t count);

/// Fails if that many samples of silence are to fill a track up: times of pictures that far apart
/// are damaged.
void CheckSilence(const SoundTrack& track, std::int64_t count);

/// Detects damage of the sound of a file. Missing packets leave a gap in the times. Outputs without
/// times would close the gap, and all later sound would be early; so silence fills the gap if the
/// samples are uncompressed. The amount of silence is bounded by the amount of sound.
class SoundWatch {
 public:
  /// Appends a packet of that track to `queue`, preceded by silence for missing samples.
  void Pass(const SoundTrack& track, SoundPacket sound, bool isAltered,
            std::vector<SoundPacket>& queue);
  /// Records out-of-order samples of that track that are dropped.
  void LeaveOut(const SoundTrack& track, std::int64_t first, std::int64_t count) {
    Note(track, Kind::Altered, Treatment::LeftOut, first, count);
  }
  /// Checks the end of a track after its last packet. Records the sound up to the end that the file
  /// states as missing, or returns a note if the track ends before the pictures do. Tolerates the
  /// length of a frame or of the last packet.
  /// @param statedEnd   of the track, in seconds; nullopt = unknown
  /// @param picturesEnd in seconds
  /// @param frame       duration of a frame in seconds
  std::string CheckEnd(const SoundTrack& track, std::optional<double> statedEnd, double picturesEnd,
                       double frame);
  /// Declares that the next packets need not be adjacent to the last ones.
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
