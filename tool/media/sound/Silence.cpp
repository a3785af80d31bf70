// SPDX-License-Identifier: BSD-2-Clause
#include "media/sound/Silence.h"

#include <algorithm>
#include <iterator>
#include <new>
#include <string_view>

extern "C" {
#include <libavutil/mathematics.h>
}

namespace vixprores {
namespace {

using namespace std::string_view_literals;

struct Silence {
  AVCodecID codec;
  std::string_view sample;
};

// Bytes of a silent sample, where they are not all 0.
constexpr Silence kSilence[] = {
    {AV_CODEC_ID_PCM_U8, "\x80"sv},          {AV_CODEC_ID_PCM_ALAW, "\xD5"sv},
    {AV_CODEC_ID_PCM_MULAW, "\xFF"sv},       {AV_CODEC_ID_PCM_U16LE, "\0\x80"sv},
    {AV_CODEC_ID_PCM_U16BE, "\x80\0"sv},     {AV_CODEC_ID_PCM_U24LE, "\0\0\x80"sv},
    {AV_CODEC_ID_PCM_U24BE, "\x80\0\0"sv},   {AV_CODEC_ID_PCM_U32LE, "\0\0\0\x80"sv},
    {AV_CODEC_ID_PCM_U32BE, "\x80\0\0\0"sv},
};

std::string_view SilenceOf(AVCodecID codec) {
  const auto found = std::ranges::find(kSilence, codec, &Silence::codec);
  return found != std::end(kSilence) ? found->sample : "\0"sv;
}

}  // namespace

Packet MakeSilence(const SoundTrack& track, std::int64_t first, std::int64_t count) {
  Packet packet(av_packet_alloc());
  const std::int64_t bytes = count * track.SampleBytes();
  if (!packet || av_new_packet(packet.get(), static_cast<int>(bytes)) < 0) throw std::bad_alloc();
  const std::string_view sample = SilenceOf(track.parameters->codec_id);
  for (std::size_t i = 0; i < static_cast<std::size_t>(bytes); ++i) {
    packet->data[i] = static_cast<std::uint8_t>(sample[i % sample.size()]);
  }
  const AVRational samples{1, track.parameters->sample_rate};
  packet->pts = packet->dts = av_rescale_q(first, samples, track.timeBase);
  packet->duration = av_rescale_q(count, samples, track.timeBase);
  return packet;
}

}  // namespace vixprores
