// SPDX-License-Identifier: BSD-2-Clause
#include "media/sound/DecodedSound.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <new>
#include <utility>

#include "base/Limits.h"

extern "C" {
#include <libavcodec/codec_par.h>
#include <libavutil/channel_layout.h>
#include <libavutil/common.h>
#include <libavutil/mathematics.h>
}

namespace vixprores {
namespace {

// Returns the track as PCM.
SoundTrack DescribePcm(SoundTrack track, PcmFormat format, int rate) {
  const AVCodecParameters& source = *track.parameters;
  const std::shared_ptr<AVCodecParameters> pcm(
      avcodec_parameters_alloc(),
      [](AVCodecParameters* parameters) { avcodec_parameters_free(&parameters); });
  if (!pcm || av_channel_layout_copy(&pcm->ch_layout, &source.ch_layout) < 0) {
    throw std::bad_alloc();
  }
  pcm->codec_type = AVMEDIA_TYPE_AUDIO;
  pcm->codec_id = static_cast<AVCodecID>(CodecOf(format));
  pcm->sample_rate = rate > 0 ? rate : source.sample_rate;
  pcm->bits_per_coded_sample = av_get_exact_bits_per_sample(pcm->codec_id);
  pcm->block_align = pcm->bits_per_coded_sample / 8 * pcm->ch_layout.nb_channels;
  track.parameters = pcm;
  track.timeBase = {1, pcm->sample_rate};
  track.end.reset();
  return track;
}

template <typename Value>
void Append(std::vector<Value>& values, std::vector<Value> more) {
  std::ranges::move(more, std::back_inserter(values));
}

}  // namespace

SoundConverter::SoundConverter(const SoundTrack& track, PcmFormat format, int rate,
                               const std::string& name)
    : decoder_(track, name), format_(format), track_(DescribePcm(track, format, rate)) {}

// Tracks may decode at another rate than their file states.
std::vector<SoundBlock> SoundConverter::Resample(const SoundBlock& block) {
  std::vector<SoundBlock> blocks;
  if (resampler_ && resampler_->GetSourceRate() != block.rate) {
    blocks = resampler_->Finish();
    resampler_.reset();
  }
  const int rate = track_.parameters->sample_rate;
  if (block.rate == rate) {
    blocks.push_back(block);
    return blocks;
  }
  if (!resampler_) resampler_.emplace(block.rate, rate, block.channels);
  Append(blocks, resampler_->Convert(block));
  return blocks;
}

std::vector<Packet> SoundConverter::Pack(const std::vector<SoundBlock>& blocks) {
  std::vector<Packet> packets;
  for (const SoundBlock& block : blocks) {
    for (const SoundBlock& resampled : Resample(block)) {
      packets.push_back(MakePcm(resampled, format_));
    }
  }
  return packets;
}

std::vector<Packet> SoundConverter::Convert(const AVPacket& packet) {
  return Pack(decoder_.Decode(packet));
}

std::vector<Packet> SoundConverter::Finish() {
  std::vector<Packet> packets = Pack(decoder_.Finish());
  if (!resampler_) return packets;
  for (const SoundBlock& block : resampler_->Finish()) packets.push_back(MakePcm(block, format_));
  return packets;
}

DecodedSound::DecodedSound(std::shared_ptr<SoundSource> source, const SoundConversion& conversion,
                           const TimePoint& begin, const std::string& name)
    : source_(std::move(source)),
      tracks_(source_->GetSound()),
      hasBegun_(tracks_.size()),
      begin_(begin),
      followed_(begin) {
  for (SoundTrack& track : tracks_) {
    const auto format = conversion.FormatOf(track);
    auto& converter = converters_.emplace_back();
    if (!format) continue;
    converter = std::make_unique<SoundConverter>(track, *format, conversion.rate.value_or(0), name);
    track = converter->GetTrack();
  }
}

void DecodedSound::FollowVideo(const TimePoint& time) {
  followed_ = time;
  source_->FollowVideo(time);
}

// Makes the sound of a track begin with the pictures. After a jump it begins earlier anyway.
void DecodedSound::Begin(std::size_t place, AVPacket& packet, std::vector<SoundPacket>& sound) {
  const SoundTrack& track = tracks_[place];
  const std::int64_t rate = track.parameters->sample_rate;
  const std::int64_t begin =
      av_rescale_q_rnd(begin_.time, begin_.tick, track.timeBase, AV_ROUND_UP);
  const std::int64_t read = av_rescale_q(followed_.time, followed_.tick, track.timeBase);
  for (std::int64_t next = std::max(begin, read - kDecoderPreroll * rate);
       // Later sound keeps its time.
       next < packet.pts && packet.pts - next <= kLongestSilence * rate;) {
    Packet silence = MakeSilence(track, next, packet.pts - next);
    next += silence->duration;
    watch_.Pass(track, {place, std::move(silence)}, false, sound);
  }
  const std::int64_t early = std::clamp<std::int64_t>(begin - packet.pts, 0, packet.duration);
  packet.data += early * track.SampleBytes();
  packet.size -= static_cast<int>(early * track.SampleBytes());
  packet.pts = packet.dts = packet.pts + early;
  packet.duration -= early;
}

// Adds a packet of a converted track.
void DecodedSound::Keep(std::size_t place, Packet packet, std::vector<SoundPacket>& sound) {
  if (!hasBegun_[place]) Begin(place, *packet, sound);
  if (packet->size == 0) return;
  hasBegun_[place] = true;
  watch_.Pass(tracks_[place], {place, std::move(packet)}, false, sound);
}

std::vector<SoundPacket> DecodedSound::Convert(std::vector<SoundPacket> packets) {
  std::vector<SoundPacket> sound;
  for (SoundPacket& packet : packets) {
    SoundConverter* const converter = converters_[packet.track].get();
    if (!converter) {
      sound.push_back(std::move(packet));
      continue;
    }
    for (Packet& pcm : converter->Convert(*packet.packet)) {
      Keep(packet.track, std::move(pcm), sound);
    }
  }
  return sound;
}

void DecodedSound::Finish(std::vector<SoundPacket>& sound) {
  for (std::size_t place = 0; place < converters_.size(); ++place) {
    if (!converters_[place]) continue;
    for (Packet& pcm : converters_[place]->Finish()) {
      Keep(place, std::move(pcm), sound);
    }
  }
}

std::vector<SoundPacket> DecodedSound::ReadSoundUntil(std::int64_t time, AVRational tick) {
  // Decoders and filters return samples later than they get them.
  const std::int64_t later = av_sat_add64(time, av_rescale_q_rnd(1, {1, 1}, tick, AV_ROUND_UP));
  std::vector<SoundPacket> sound = Convert(source_->ReadSoundUntil(later, tick));
  Finish(sound);
  return sound;
}

std::vector<SoundPacket> DecodedSound::FinishSound() {
  std::vector<SoundPacket> sound = Convert(source_->FinishSound());
  Finish(sound);
  return sound;
}

// Returns true for a gap between packets that was found again in the decoded sound.
bool DecodedSound::IsReplaced(const SoundDamage& damage) const {
  constexpr double kTolerance = 0.1;  // seconds
  return damage.kind == SoundDamage::Kind::Missing &&
         std::ranges::any_of(watch_.GetDamage(), [&](const SoundDamage& filled) {
           return filled.track == damage.track && filled.begin < damage.begin + damage.seconds &&
                  damage.begin < filled.begin + filled.seconds + kTolerance;
         });
}

std::vector<SoundDamage> DecodedSound::GetSoundDamage() const {
  std::vector<SoundDamage> damage = source_->GetSoundDamage();
  std::erase_if(damage, [this](const SoundDamage& found) { return IsReplaced(found); });
  Append(damage, watch_.GetDamage());
  for (const auto& converter : converters_) {
    if (converter) Append(damage, converter->GetDamage());
  }
  std::ranges::stable_sort(damage, {}, &SoundDamage::begin);
  return damage;
}

}  // namespace vixprores
