// SPDX-License-Identifier: BSD-2-Clause
#include "media/sound/SoundCutter.h"

#include <algorithm>
#include <limits>
#include <utility>

extern "C" {
#include <libavutil/common.h>
#include <libavutil/mathematics.h>
}

namespace vixprores {
namespace {

// End of an unlimited part; differences to it do not overflow.
constexpr std::int64_t kEver = std::numeric_limits<std::int64_t>::max() / 4;

// Returns the first sample at or after that time.
std::int64_t SampleAt(std::int64_t time, AVRational tick, const SoundTrack& track) {
  return av_rescale_q_rnd(time, tick, {1, track.parameters->sample_rate}, AV_ROUND_UP);
}

}  // namespace

SoundCutter::SoundCutter(const SoundTrack& track, const std::optional<TimeSpan>& part)
    : sampleBytes_(track.SampleBytes()),
      clock_(track),
      begin_(part ? SampleAt(part->begin, part->tick, track) : -kEver),
      end_(part ? SampleAt(part->end, part->tick, track) : kEver),
      shift_(part ? SampleAt(part->shift, part->tick, track) : 0) {}

Packet SoundCutter::Cut(Packet packet) {
  std::int64_t first = clock_.Locate(*packet);
  std::int64_t count = clock_.Count(*packet);
  clock_.Pass(first, count);
  if (sampleBytes_ > 0) {
    const std::int64_t before = std::clamp<std::int64_t>(av_sat_sub64(begin_, first), 0, count);
    first = av_sat_add64(first, before);
    count = std::clamp<std::int64_t>(av_sat_sub64(end_, first), 0, count - before);
    packet->data += before * sampleBytes_;
    packet->size = static_cast<int>(count * sampleBytes_);
  }
  if (packet->size == 0 || first < begin_ || first >= end_) return nullptr;
  packet->pts = packet->dts = av_sat_sub64(first, shift_);
  packet->duration = count;
  return packet;
}

SoundCopy::SoundCopy(SoundSource* tracks, const std::optional<TimeSpan>& part)
    : tracks_(tracks), part_(part) {
  if (!tracks_) return;
  for (const SoundTrack& track : tracks_->GetSound()) cutters_.emplace_back(track, part);
}

std::vector<SoundPacket> SoundCopy::Cut(std::vector<SoundPacket> packets) {
  std::vector<SoundPacket> kept;
  for (SoundPacket& sound : packets) {
    if (Packet packet = cutters_[sound.track].Cut(std::move(sound.packet))) {
      kept.push_back({sound.track, std::move(packet)});
    }
  }
  return kept;
}

std::vector<SoundPacket> SoundCopy::Take() {
  return tracks_ ? Cut(tracks_->TakeSound()) : std::vector<SoundPacket>();
}

std::vector<SoundPacket> SoundCopy::TakeRest() {
  if (!tracks_) return {};
  return Cut(part_ ? tracks_->ReadSoundUntil(part_->end, part_->tick) : tracks_->FinishSound());
}

}  // namespace vixprores
