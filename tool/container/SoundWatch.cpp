// SPDX-License-Identifier: BSD-2-Clause
#include "container/SoundWatch.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <new>
#include <string_view>
#include <utility>

extern "C" {
#include <libavutil/mathematics.h>
}

namespace vixprores {
namespace {

using namespace std::string_view_literals;

// A time that is so far off is more likely to be what is damaged.
constexpr std::int64_t kLongestSilence = 60;  // seconds

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

}  // namespace

// Samples that are missing in front of the packet; 0 = none. Times jitter by the container's clock
// and that of the recorder, and packets are lost as a whole, mostly those of one length.
std::int64_t SoundWatch::MeasureGap(const SoundTrack& track, const Passed& passed,
                                    const AVPacket& packet) {
  const auto next = passed.clock.GetNext();
  const std::int64_t tick = passed.clock.GetTick();
  const std::int64_t rate = track.parameters->sample_rate;
  const std::int64_t gap = next && track.isTimed ? passed.clock.Locate(packet) - *next : 0;
  if (gap <= std::max<std::int64_t>({2 * tick, 3 * rate / 1000, passed.lastCount / 2})) return 0;
  const std::int64_t packets = (gap + passed.lastCount / 2) / passed.lastCount;
  const std::int64_t whole = packets * passed.lastCount;
  return std::abs(gap - whole) <= tick ? whole : gap;
}

void SoundWatch::Note(const SoundTrack& track, Kind kind, Treatment treatment, std::int64_t first,
                      std::int64_t count) {
  const double rate = track.parameters->sample_rate;
  damage_.push_back({kind, treatment, track.number, static_cast<double>(first) / rate,
                     static_cast<double>(count) / rate});
}

void SoundWatch::Fill(const SoundTrack& track, std::int64_t gap, std::size_t place,
                      SampleClock& clock, std::vector<SoundPacket>& queue) {
  const std::int64_t rate = track.parameters->sample_rate;
  const std::int64_t first = *clock.GetNext();
  const bool isFilled = track.SampleBytes() > 0 && gap <= kLongestSilence * rate;
  Note(track, Kind::Missing, isFilled ? Treatment::Silenced : Treatment::ClosedUp, first, gap);
  if (!isFilled) return;
  for (std::int64_t done = 0; done < gap; done += rate) {
    const std::int64_t count = std::min(rate, gap - done);
    queue.push_back({place, MakeSilence(track, first + done, count)});
    clock.Pass(first + done, count);
  }
}

void SoundWatch::Pass(const SoundTrack& track, SoundPacket sound, bool isAltered,
                      std::vector<SoundPacket>& queue) {
  Passed& passed = tracks_.try_emplace(track.number, Passed{SampleClock(track)}).first->second;
  const std::int64_t gap = MeasureGap(track, passed, *sound.packet);
  if (gap > 0) Fill(track, gap, sound.track, passed.clock, queue);
  const std::int64_t first = passed.clock.Locate(*sound.packet);
  const std::int64_t count = passed.clock.Count(*sound.packet);
  if (isAltered) Note(track, Kind::Altered, Treatment::Kept, first, count);
  passed.clock.Pass(first, count);
  passed.lastCount = count;
  queue.push_back(std::move(sound));
}

}  // namespace vixprores
