// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_MEDIA_SOUND_SIDETRACKS_H
#define TOOL_MEDIA_SOUND_SIDETRACKS_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include "format/Sound.h"
#include "media/container/Libav.h"

namespace vixprores {

/// A piece of a sound track, with times in ticks of the track.
struct SoundPacket {
  std::size_t track = 0;  ///< place in the list of selected tracks
  Packet packet;
};

/// The sound of an input. It is read together with the video, by the same thread.
class SideTracks {
 public:
  virtual ~SideTracks() = default;
  /// Returns the selected tracks; all of them at first.
  virtual const std::vector<SoundTrack>& GetSound() const = 0;
  /// Selects tracks by their positions among all sound tracks, from 0.
  virtual void SelectSound(const std::vector<std::size_t>& places) = 0;
  /// Returns the damage found so far.
  virtual const std::vector<SoundDamage>& GetSoundDamage() const = 0;
  /// Returns the packets read with the video since the last call, in their order.
  virtual std::vector<SoundPacket> TakeSound() = 0;
  /// Reads past the video until the sound has reached that time (in ticks of `tick` seconds), then
  /// returns the packets like TakeSound().
  virtual std::vector<SoundPacket> ReadSoundUntil(std::int64_t time, AVRational tick) = 0;
};

}  // namespace vixprores

#endif  // TOOL_MEDIA_SOUND_SIDETRACKS_H
