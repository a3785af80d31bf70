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

/// Tick of times in microseconds.
inline constexpr AVRational kMicrosecond{1, 1'000'000};

/// A point in time.
struct TimePoint {
  std::int64_t time = 0;  ///< in ticks
  AVRational tick{0, 1};  ///< in seconds
};

/// Sound that accompanies a video. Used by the thread that reads the video.
class SoundSource {
 public:
  virtual ~SoundSource() = default;
  /// Returns the tracks of the packets; in an input all of them, until some are selected.
  virtual const std::vector<SoundTrack>& GetSound() const = 0;
  /// Returns the damage found so far.
  virtual std::vector<SoundDamage> GetSoundDamage() const = 0;
  /// Sets the time up to which the video has been read; sources that are separate from the video
  /// read up to it. Called before TakeSound().
  virtual void FollowVideo(const TimePoint& /*time*/) {}
  /// Returns the packets read with the video since the last call, in their order.
  virtual std::vector<SoundPacket> TakeSound() = 0;
  /// Reads past the video until the sound has reached that time (in ticks of `tick` seconds), then
  /// returns the packets like TakeSound(). The last call to a source whose rest is not needed.
  virtual std::vector<SoundPacket> ReadSoundUntil(std::int64_t time, AVRational tick) = 0;
  /// Returns the remaining packets once the video has been read to its end. The last call.
  virtual std::vector<SoundPacket> FinishSound() { return TakeSound(); }
};

/// The sound of an input file. It is read together with the video, by the same thread.
class SideTracks : public SoundSource {
 public:
  /// Selects tracks by their positions among all sound tracks, from 0.
  virtual void SelectSound(const std::vector<std::size_t>& places) = 0;
  /// Makes FrameReader::SkipTo() continue with the sound from that many seconds before the frame,
  /// so that decoders get the packets before it.
  virtual void SetSoundPreroll(int /*seconds*/) {}
};

}  // namespace vixprores

#endif  // TOOL_MEDIA_SOUND_SIDETRACKS_H
