// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_MEDIA_CONTAINER_SAMPLECLOCK_H
#define TOOL_MEDIA_CONTAINER_SAMPLECLOCK_H

#include <cstdint>
#include <optional>

#include "media/sound/SideTracks.h"

namespace vixprores {

/// Position of the packets of one sound track, in samples. Clocks of containers may be coarser:
/// packets without a gap that such a clock could show are counted as adjacent.
class SampleClock {
 public:
  explicit SampleClock(const SoundTrack& track);

  /// Returns the first sample of the packet.
  std::int64_t Locate(const AVPacket& packet) const;
  /// Returns the number of samples in the packet; 0 = unknown.
  std::int64_t Count(const AVPacket& packet) const;
  /// Moves past a packet with that many samples.
  void Pass(std::int64_t first, std::int64_t count);

  /// Returns the sample after the last packet; nullopt = unknown.
  std::optional<std::int64_t> GetNext() const { return next_; }
  /// Returns the samples per tick of the container's clock, at least 1.
  std::int64_t GetTick() const { return tick_; }

 private:
  int sampleBytes_;
  AVRational timeBase_;
  AVRational samples_;
  std::int64_t tick_;
  std::optional<std::int64_t> next_;
};

}  // namespace vixprores

#endif  // TOOL_MEDIA_CONTAINER_SAMPLECLOCK_H
