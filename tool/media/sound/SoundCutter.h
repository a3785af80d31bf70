// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_MEDIA_SOUND_SOUNDCUTTER_H
#define TOOL_MEDIA_SOUND_SOUNDCUTTER_H

#include <cstdint>
#include <optional>
#include <vector>

#include "format/Sound.h"
#include "media/sound/SideTracks.h"

namespace vixprores {

/// Half-open part of a stream, from `begin` to before `end`, in ticks of `tick` seconds.
struct TimeSpan {
  std::int64_t begin;
  std::int64_t end;
  std::int64_t shift;  ///< subtracted from every time
  AVRational tick;
};

/// Converts the times of one sound track's packets to samples, and cuts the packets to a part of
/// the stream: PCM at the exact sample, compressed sound at packets. Adjacent parts of a stream
/// yield adjacent samples.
class SoundCutter {
 public:
  /// @param part part to keep; nullopt = everything
  SoundCutter(const SoundTrack& track, const std::optional<TimeSpan>& part);

  /// Returns the packet with times in samples, or null if no part of it is kept.
  Packet Cut(Packet packet);

 private:
  int sampleBytes_;
  SampleClock clock_;
  std::int64_t begin_;  ///< first sample to keep
  std::int64_t end_;    ///< after the last sample to keep
  std::int64_t shift_;
};

/// The sound that accompanies a part of a video, ready for a writer. Used by the thread that reads
/// the video.
class SoundCopy {
 public:
  /// @param tracks null = no sound
  /// @param part   part of the video to copy the sound of; nullopt = all sound
  SoundCopy(SoundSource* tracks, const std::optional<TimeSpan>& part);

  /// Returns the sound read with the video since the last call.
  std::vector<SoundPacket> Take();
  /// Returns the remaining sound after the last frame of the part.
  std::vector<SoundPacket> TakeRest();

 private:
  std::vector<SoundPacket> Cut(std::vector<SoundPacket> packets);

  SoundSource* tracks_;
  std::optional<TimeSpan> part_;
  std::vector<SoundCutter> cutters_;
};

}  // namespace vixprores

#endif  // TOOL_MEDIA_SOUND_SOUNDCUTTER_H
