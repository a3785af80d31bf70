// SPDX-License-Identifier: BSD-2-Clause
#include "media/container/SampleClock.h"

#include <algorithm>

extern "C" {
#include <libavutil/common.h>
#include <libavutil/mathematics.h>
}

namespace vixprores {

SampleClock::SampleClock(const SoundTrack& track)
    : sampleBytes_(track.SampleBytes()),
      timeBase_(track.timeBase),
      samples_{1, track.parameters->sample_rate},
      tick_(std::max<std::int64_t>(1, av_rescale_q(1, timeBase_, samples_))) {}

std::int64_t SampleClock::Locate(const AVPacket& packet) const {
  const std::int64_t time = packet.pts != AV_NOPTS_VALUE ? packet.pts : packet.dts;
  if (time == AV_NOPTS_VALUE) return next_.value_or(0);
  const std::int64_t told = av_rescale_q(time, timeBase_, samples_);
  // Damaged times can be arbitrarily far apart.
  const bool isNext =
      next_ && told >= av_sat_sub64(*next_, tick_) && told <= av_sat_add64(*next_, tick_);
  return isNext ? *next_ : told;
}

std::int64_t SampleClock::Count(const AVPacket& packet) const {
  // A duration of more samples than the packet has bytes for is damaged.
  return sampleBytes_ > 0 ? packet.size / sampleBytes_
                          : std::clamp<std::int64_t>(
                                av_rescale_q(packet.duration, timeBase_, samples_), 0, INT32_MAX);
}

void SampleClock::Pass(std::int64_t first, std::int64_t count) {
  next_ = count > 0 ? std::optional(av_sat_add64(first, count)) : std::nullopt;
}

}  // namespace vixprores
