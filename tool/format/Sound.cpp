// SPDX-License-Identifier: BSD-2-Clause
#include "format/Sound.h"

#include <algorithm>
#include <array>
#include <climits>
#include <cmath>
#include <cstdio>
#include <string_view>

#include "base/Text.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/channel_layout.h>
#include <libavutil/common.h>
#include <libavutil/mathematics.h>
}

namespace vixprores {
int SoundTrack::SampleBytes() const {
  // Non-zero only if every sample has the same number of bits, which means PCM.
  const std::int64_t bits = std::int64_t{av_get_exact_bits_per_sample(parameters->codec_id)} *
                            parameters->ch_layout.nb_channels;
  const std::int64_t bytes = bits % 8 == 0 && bits / 8 <= INT_MAX ? bits / 8 : 0;
  const bool isPacked = parameters->block_align == 0 || parameters->block_align == bytes;
  return isPacked ? static_cast<int>(bytes) : 0;
}

int CodecOf(PcmFormat format) {
  constexpr std::array kCodecs{AV_CODEC_ID_PCM_S16LE, AV_CODEC_ID_PCM_S24LE, AV_CODEC_ID_PCM_F32LE};
  return kCodecs.at(static_cast<std::size_t>(format));
}

std::optional<PcmFormat> SoundConversion::FormatOf(const SoundTrack& track) const {
  if (copies) return std::nullopt;
  const AVCodecParameters& sound = *track.parameters;
  const bool keepsRate = !rate || *rate == sound.sample_rate;
  const bool isPcm = track.SampleBytes() > 0;
  if (format) {
    const bool isMade = keepsRate && sound.codec_id == CodecOf(*format);
    return isMade ? std::nullopt : format;
  }
  if (keepsRate && (isPcm || !decodes)) return std::nullopt;
  const bool isFloat = std::string_view(avcodec_get_name(sound.codec_id)).starts_with("pcm_f");
  return isFloat ? PcmFormat::Pcm32f : PcmFormat::Pcm24;
}

std::string SoundTrack::LayoutName() const {
  const AVChannelLayout& layout = parameters->ch_layout;
  if (layout.order == AV_CHANNEL_ORDER_UNSPEC) return Count(layout.nb_channels, "channel");
  std::array<char, 128> name{};
  av_channel_layout_describe(&layout, name.data(), name.size());
  return name.data();
}

int SoundTrack::SampleBits() const {
  if (SampleBytes() == 0) return 0;
  return parameters->bits_per_raw_sample > 0 ? parameters->bits_per_raw_sample
                                             : av_get_exact_bits_per_sample(parameters->codec_id);
}

std::string SoundTrack::Describe() const {
  std::string text = avcodec_get_name(parameters->codec_id) + std::string(", ") +
                     std::to_string(parameters->sample_rate) + " Hz, " + LayoutName();
  if (const int bits = SampleBits()) text += ", " + std::to_string(bits) + " bits";
  if (seconds) text += ", " + ClockText(*seconds);
  for (const char* name : {"language", "title"}) {
    const auto found = metadata.find(name);
    if (found != metadata.end()) text += ", " + found->second;
  }
  return text;
}

std::string SoundTrack::SurroundLayout() const {
  const AVChannelLayout& layout = parameters->ch_layout;
  const bool isStated = layout.order != AV_CHANNEL_ORDER_UNSPEC && layout.nb_channels > 2;
  if (!isStated || SampleBytes() == 0) return {};  // compressed sound carries its own layout
  return LayoutName();
}

std::string Describe(const SoundDamage& damage) {
  const std::string track = "sound track " + std::to_string(damage.track + 1);
  const std::string length = std::to_string(std::llround(damage.seconds * 1000)) + " ms";
  const std::string time = " at " + ClockText(damage.begin);
  if (damage.kind == SoundDamage::Kind::Missing) return track + " lacks " + length + time;
  return track + " has " + length + time +
         (damage.treatment == SoundDamage::Treatment::LeftOut ? " that are out of order"
                                                              : " that are not what was written");
}

std::string DescribeEarlyEnd(const SoundTrack& track, double end, double missing) {
  return "sound track " + std::to_string(track.number + 1) + " ends at " + ClockText(end) + ", " +
         std::to_string(std::llround(missing * 1000)) + " ms before the pictures";
}

const char* ToWord(SoundDamage::Treatment treatment) {
  return WordOf(treatment, {"kept as they are", "filled with silence",
                            "with nothing in their place", "left out"});
}

std::int64_t CountSoundDamage(const std::vector<SoundDamage>& damage, SoundDamage::Kind kind) {
  return std::ranges::count(damage, kind, &SoundDamage::kind);
}

std::string SumUp(const std::vector<SoundDamage>& damage) {
  const std::int64_t altered = CountSoundDamage(damage, SoundDamage::Kind::Altered);
  const std::int64_t gaps = CountSoundDamage(damage, SoundDamage::Kind::Missing);
  std::string text;
  if (altered > 0) text = Count(altered, "damaged packet") + " of sound";
  if (gaps > 0) text += (text.empty() ? "" : ", ") + Count(gaps, "gap") + " in the sound";
  return text;
}

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
