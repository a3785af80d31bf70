// SPDX-License-Identifier: BSD-2-Clause
#include "media/sound/AlignedSound.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "media/sound/SoundWatch.h"

extern "C" {
#include <libavcodec/codec_par.h>
#include <libavutil/common.h>
#include <libavutil/mathematics.h>
}

namespace vixprores {
namespace {

// End of an unlimited part; differences to it do not overflow.
constexpr std::int64_t kUnlimited = std::numeric_limits<std::int64_t>::max() / 4;

std::int64_t ToTicks(const TimePoint& time, AVRational tick) {
  return av_rescale_q(time.time, time.tick, tick);
}

// Drops the samples of a packet of PCM from a position on.
void CutAt(std::int64_t end, int sampleBytes, AVPacket& packet) {
  packet.duration = std::clamp<std::int64_t>(end - packet.pts, 0, packet.duration);
  packet.size = static_cast<int>(packet.duration * sampleBytes);
}

}  // namespace

AlignedSound::AlignedSound(std::shared_ptr<SoundSource> source, const TimePoint& videoBegin,
                           const TimePoint& offset)
    : source_(std::move(source)),
      shift_(ToTicks(videoBegin, kMicrosecond) + ToTicks(offset, kMicrosecond)),
      followed_(videoBegin),
      tracks_(source_->GetSound()) {
  for (SoundTrack& track : tracks_) {
    const AVRational sample{1, track.parameters->sample_rate};
    const std::int64_t first =
        av_rescale_q_rnd(videoBegin.time, videoBegin.tick, sample, AV_ROUND_UP);
    const std::int64_t early = -ToTicks(offset, sample);
    const TimeSpan part{early, kUnlimited, early - first, sample};
    state_.push_back({SoundCutter(track, part), first, {}});
    track.timeBase = sample;
    track.isTimed = true;
  }
}

TimePoint AlignedSound::ToSource(const TimePoint& time) const {
  return {av_sat_sub64(ToTicks(time, kMicrosecond), shift_), kMicrosecond};
}

void AlignedSound::FollowVideo(const TimePoint& time) {
  followed_ = time;
  source_->FollowVideo(ToSource(time));
}

void AlignedSound::Take(std::vector<SoundPacket> packets) {
  for (SoundPacket& sound : packets) {
    Track& track = state_[sound.track];
    Packet packet = track.cutter.Cut(std::move(sound.packet));
    if (packet) track.waiting.push_back(std::move(packet));
  }
}

// Returns the sound of one track up to a time, with silence for what is missing. PCM at the end of
// the video is cut to the sample.
void AlignedSound::Return(std::size_t place, std::int64_t end, bool isEnd,
                          std::vector<SoundPacket>& sound) {
  Track& track = state_[place];
  const int sampleBytes = tracks_[place].SampleBytes();
  while (track.next < end) {
    const std::int64_t stated = track.waiting.empty() ? end : track.waiting.front()->pts;
    if (track.waiting.empty() && !isEnd) return;
    if (sampleBytes > 0 && track.next < stated) {
      CheckSilence(tracks_[place], std::min(stated, end) - track.next);
      Packet silence = MakeSilence(tracks_[place], track.next, std::min(stated, end) - track.next);
      track.next += silence->duration;
      sound.push_back({place, std::move(silence)});
    } else {
      // The video may end inside the packet.
      const bool isWhole = isEnd || sampleBytes == 0 || track.waiting.empty() ||
                           stated + track.waiting.front()->duration <= end;
      if (track.waiting.empty() || stated >= end || !isWhole) return;
      Packet packet = std::move(track.waiting.front());
      track.waiting.pop_front();
      if (isEnd && sampleBytes > 0) CutAt(end, sampleBytes, *packet);
      track.next = std::max(track.next, av_sat_add64(packet->pts, packet->duration));
      sound.push_back({place, std::move(packet)});
    }
  }
}

std::vector<SoundPacket> AlignedSound::ReturnUntil(const TimePoint& time, bool isEnd) {
  std::vector<SoundPacket> sound;
  for (std::size_t place = 0; place < state_.size(); ++place) {
    const AVRational sample = tracks_[place].timeBase;
    Return(place, av_rescale_q_rnd(time.time, time.tick, sample, AV_ROUND_UP), isEnd, sound);
  }
  return sound;
}

std::vector<SoundPacket> AlignedSound::TakeSound() {
  Take(source_->TakeSound());
  return ReturnUntil(followed_, false);
}

std::vector<SoundPacket> AlignedSound::ReadSoundUntil(std::int64_t time, AVRational tick) {
  // Times of open ends are later than the video.
  const bool isOpen = av_compare_ts(time, tick, followed_.time, followed_.tick) > 0;
  const TimePoint end = isOpen ? followed_ : TimePoint{time, tick};
  const TimePoint source = ToSource(end);
  Take(source_->ReadSoundUntil(source.time, source.tick));
  return ReturnUntil(end, true);
}

std::vector<SoundPacket> AlignedSound::FinishSound() {
  return ReadSoundUntil(followed_.time, followed_.tick);
}

std::vector<SoundDamage> AlignedSound::GetSoundDamage() const {
  std::vector<SoundDamage> damage = source_->GetSoundDamage();
  for (SoundDamage& found : damage)
    found.begin += static_cast<double>(shift_) * av_q2d(kMicrosecond);
  return damage;
}

JoinedSound::JoinedSound(std::vector<std::shared_ptr<SoundSource>> sources)
    : sources_(std::move(sources)) {
  std::size_t next = 0;
  for (const auto& source : sources_) {
    const std::size_t number = next;
    numbers_.push_back(number);
    for (SoundTrack track : source->GetSound()) {
      track.number += number;
      next = std::max(next, track.number + 1);
      tracks_.push_back(std::move(track));
    }
  }
}

template <typename Take>
std::vector<SoundPacket> JoinedSound::Collect(const Take& take) {
  std::vector<SoundPacket> all;
  std::size_t first = 0;
  for (const auto& source : sources_) {
    for (SoundPacket& sound : take(*source)) {
      all.push_back({first + sound.track, std::move(sound.packet)});
    }
    first += source->GetSound().size();
  }
  return all;
}

void JoinedSound::FollowVideo(const TimePoint& time) {
  for (const auto& source : sources_) source->FollowVideo(time);
}

std::vector<SoundPacket> JoinedSound::TakeSound() {
  return Collect([](SoundSource& source) { return source.TakeSound(); });
}

std::vector<SoundPacket> JoinedSound::ReadSoundUntil(std::int64_t time, AVRational tick) {
  return Collect([&](SoundSource& source) { return source.ReadSoundUntil(time, tick); });
}

std::vector<SoundPacket> JoinedSound::FinishSound() {
  return Collect([](SoundSource& source) { return source.FinishSound(); });
}

std::vector<SoundDamage> JoinedSound::GetSoundDamage() const {
  std::vector<SoundDamage> all;
  for (std::size_t i = 0; i < sources_.size(); ++i) {
    for (SoundDamage damage : sources_[i]->GetSoundDamage()) {
      damage.track += numbers_[i];
      all.push_back(damage);
    }
  }
  return all;
}

}  // namespace vixprores
