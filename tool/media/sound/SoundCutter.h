// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_MEDIA_SOUND_SOUNDCUTTER_H
#define TOOL_MEDIA_SOUND_SOUNDCUTTER_H

#include <cstdint>
#include <optional>

#include "media/container/SampleClock.h"
#include "media/sound/SideTracks.h"

namespace vixprores {

/// A part of a stream, from `begin` on, up to but without `end`, in ticks of `tick` seconds.
struct TimeSpan {
  std::int64_t begin;
  std::int64_t end;
  std::int64_t shift;  ///< that is taken off every time
  AVRational tick;
};

/// Moves the packets of one sound track onto a clock of samples, and cuts them to a part of the
/// stream: PCM to the sample, what is compressed to the packet. Adjacent parts of a stream give
/// adjacent samples.
class SoundCutter {
 public:
  /// @param part what is to be kept; none = everything
  SoundCutter(const SoundTrack& track, const std::optional<TimeSpan>& part);

  /// The packet on a clock of 1 / samples per second, or null where nothing of it is kept.
  Packet Cut(Packet packet);

 private:
  int sampleBytes_;
  SampleClock clock_;
  std::int64_t begin_;  ///< first sample that is kept
  std::int64_t end_;    ///< behind the last one
  std::int64_t shift_;
};

}  // namespace vixprores

#endif  // TOOL_MEDIA_SOUND_SOUNDCUTTER_H
