// SPDX-License-Identifier: BSD-2-Clause
#include "container/SoundCutter.h"

#include <algorithm>
#include <cstdlib>
#include <limits>

extern "C" {
#include <libavutil/mathematics.h>
}

namespace vixprores {
namespace {

// Far enough, and differences of it can still be told.
constexpr std::int64_t kEver = std::numeric_limits<std::int64_t>::max() / 4;

// The first sample at that time or after it.
std::int64_t SampleAt(std::int64_t time, AVRational tick, AVRational clock) {
  return av_rescale_q_rnd(time, tick, clock, AV_ROUND_UP);
}

}  // namespace

SoundCutter::SoundCutter(const SoundTrack& track, const std::optional<TimeSpan>& part)
    : sampleBytes_(track.SampleBytes()),
      timeBase_(track.timeBase),
      clock_{1, track.parameters->sample_rate},
      begin_(part ? SampleAt(part->begin, part->tick, clock_) : -kEver),
      end_(part ? SampleAt(part->end, part->tick, clock_) : kEver),
      shift_(part ? SampleAt(part->shift, part->tick, clock_) : 0) {}

// Clocks may be coarser than samples; where packets follow each other without a gap that the clock
// could tell, they are counted.
std::int64_t SoundCutter::Locate(const AVPacket& packet) {
  const std::int64_t time = packet.pts != AV_NOPTS_VALUE ? packet.pts : packet.dts;
  if (time == AV_NOPTS_VALUE) return next_.value_or(0);
  const std::int64_t told = av_rescale_q(time, timeBase_, clock_);
  const std::int64_t tick = std::max<std::int64_t>(1, av_rescale_q(1, timeBase_, clock_));
  return next_ && std::abs(told - *next_) <= tick ? *next_ : told;
}

Packet SoundCutter::Cut(Packet packet) {
  std::int64_t first = Locate(*packet);
  std::int64_t count = sampleBytes_ > 0 ? packet->size / sampleBytes_
                                        : av_rescale_q(packet->duration, timeBase_, clock_);
  next_ = count > 0 ? std::optional(first + count) : std::nullopt;
  if (sampleBytes_ > 0) {
    const std::int64_t before = std::clamp<std::int64_t>(begin_ - first, 0, count);
    first += before;
    count = std::clamp<std::int64_t>(end_ - first, 0, count - before);
    packet->data += before * sampleBytes_;
    packet->size = static_cast<int>(count * sampleBytes_);
  }
  if (packet->size == 0 || first < begin_ || first >= end_) return nullptr;
  packet->pts = packet->dts = first - shift_;
  packet->duration = count;
  return packet;
}

}  // namespace vixprores
