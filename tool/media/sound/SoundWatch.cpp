// SPDX-License-Identifier: BSD-2-Clause
#include "media/sound/SoundWatch.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <iterator>
#include <map>
#include <memory>
#include <mutex>
#include <new>
#include <string_view>
#include <utility>

#include "base/Errors.h"
#include "base/Limits.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/buffer.h>
#include <libavutil/common.h>
#include <libavutil/mathematics.h>
}

namespace vixprores {
namespace {

using namespace std::string_view_literals;

struct Silence {
  AVCodecID codec;
  std::string_view sample;
};

// Bytes of a silent sample of one channel, unless they are all 0.
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

// Bytes in a block of silence: a multiple of all sample sizes of one channel.
constexpr std::int64_t kSilenceBytes = 3 << 20;

struct BufferDeleter {
  void operator()(AVBufferRef* buffer) const { av_buffer_unref(&buffer); }
};
using Buffer = std::unique_ptr<AVBufferRef, BufferDeleter>;

Buffer MakeBlock(std::string_view sample) {
  Buffer block(av_buffer_allocz(kSilenceBytes + AV_INPUT_BUFFER_PADDING_SIZE));
  if (!block) throw std::bad_alloc();
  if (sample == "\0"sv) return block;
  for (std::size_t i = 0; i < static_cast<std::size_t>(kSilenceBytes); ++i) {
    block->data[i] = static_cast<std::uint8_t>(sample[i % sample.size()]);
  }
  return block;
}

// Returns a reference to the block of silence of that codec.
Buffer ShareBlock(std::string_view sample) {
  static std::mutex mutex;
  static std::map<std::string_view, Buffer> blocks;
  const std::lock_guard lock(mutex);
  Buffer& block = blocks[sample];
  if (!block) block = MakeBlock(sample);
  Buffer reference(av_buffer_ref(block.get()));
  if (!reference) throw std::bad_alloc();
  return reference;
}

}  // namespace

Packet MakeSilence(const SoundTrack& track, std::int64_t first, std::int64_t count) {
  const std::int64_t sampleBytes = track.SampleBytes();
  const std::int64_t most =
      std::min<std::int64_t>(track.parameters->sample_rate, kSilenceBytes / sampleBytes);
  count = std::min(count, most);
  if (count <= 0) throw Failure("a sound track has samples of an implausible size or rate");
  Packet packet(av_packet_alloc());
  if (!packet) throw std::bad_alloc();
  packet->buf = ShareBlock(SilenceOf(track.parameters->codec_id)).release();
  packet->data = packet->buf->data;
  packet->size = static_cast<int>(count * sampleBytes);
  const AVRational samples{1, track.parameters->sample_rate};
  packet->pts = packet->dts = av_rescale_q(first, samples, track.timeBase);
  packet->duration = av_rescale_q(count, samples, track.timeBase);
  return packet;
}

void CheckSilence(const SoundTrack& track, std::int64_t count) {
  const std::int64_t seconds = count / std::max(track.parameters->sample_rate, 1);
  if (seconds <= kLongestFill) return;
  throw Failure("sound track " + std::to_string(track.number + 1) + ": its pictures last " +
                std::to_string(seconds) + " seconds longer, the limit of silence is " +
                std::to_string(kLongestFill) + "; check the frame rate, or leave out the sound");
}

// Returns the number of samples missing before the packet. Times jitter with the clocks of the
// container and the recorder; whole packets get lost, mostly of equal length.
std::int64_t SoundWatch::MeasureGap(const SoundTrack& track, const Passed& passed,
                                    const AVPacket& packet) {
  const auto next = passed.clock.GetNext();
  const std::int64_t tick = passed.clock.GetTick();
  const std::int64_t rate = track.parameters->sample_rate;
  const std::int64_t gap =
      next && track.isTimed ? av_sat_sub64(passed.clock.Locate(packet), *next) : 0;
  if (gap <= std::max<std::int64_t>({2 * tick, 3 * rate / 1000, passed.lastCount / 2})) return 0;
  if (gap > kLongestSilence * rate) return gap;
  // lastCount > 0, because the next sample is known.
  const std::int64_t packets = (gap + passed.lastCount / 2) / passed.lastCount;
  const std::int64_t whole = packets * passed.lastCount;
  return std::abs(gap - whole) <= tick ? whole : gap;
}

void SoundWatch::Note(const SoundTrack& track, Kind kind, Treatment treatment, std::int64_t first,
                      std::int64_t count) {
  const double rate = std::max(1, track.parameters->sample_rate);
  damage_.push_back({kind, treatment, track.number, static_cast<double>(first) / rate,
                     static_cast<double>(count) / rate});
}

void SoundWatch::Fill(const SoundTrack& track, std::int64_t gap, std::size_t place, Passed& passed,
                      std::vector<SoundPacket>& queue) {
  const std::int64_t sampleBytes = track.SampleBytes();
  const std::int64_t first = *passed.clock.GetNext();
  const std::int64_t most =
      kMostSilentBytes + kMostSilentShare * passed.soundBytes - passed.filledBytes;
  const bool isFilled = sampleBytes > 0 && gap <= kLongestSilence * track.parameters->sample_rate &&
                        gap <= most / sampleBytes;
  Note(track, Kind::Missing, isFilled ? Treatment::Silenced : Treatment::ClosedUp, first, gap);
  if (!isFilled) return;
  passed.filledBytes += gap * sampleBytes;
  for (std::int64_t done = 0; done < gap;) {
    Packet silence = MakeSilence(track, first + done, gap - done);
    const std::int64_t count = silence->size / sampleBytes;
    queue.push_back({place, std::move(silence)});
    passed.clock.Pass(first + done, count);
    done += count;
  }
}

std::string SoundWatch::CheckEnd(const SoundTrack& track, std::optional<double> statedEnd,
                                 double picturesEnd, double frame) {
  const auto found = tracks_.find(track.number);
  const auto next = found != tracks_.end() ? found->second.clock.GetNext() : std::nullopt;
  if (!next) return {};
  const double rate = std::max(1, track.parameters->sample_rate);
  const double end = static_cast<double>(*next) / rate;
  const double tolerance = std::max(frame, static_cast<double>(found->second.lastCount) / rate);
  if (statedEnd && *statedEnd - end > tolerance) {
    Note(track, Kind::Missing, Treatment::ClosedUp, *next, std::llround((*statedEnd - end) * rate));
    return {};
  }
  const double missing = picturesEnd - end;
  return missing > tolerance ? DescribeEarlyEnd(track, end, missing) : std::string();
}

void SoundWatch::Pass(const SoundTrack& track, SoundPacket sound, bool isAltered,
                      std::vector<SoundPacket>& queue) {
  Passed& passed = tracks_.try_emplace(track.number, Passed{SampleClock(track)}).first->second;
  const std::int64_t gap = MeasureGap(track, passed, *sound.packet);
  if (gap > 0) Fill(track, gap, sound.track, passed, queue);
  const std::int64_t first = passed.clock.Locate(*sound.packet);
  const std::int64_t count = passed.clock.Count(*sound.packet);
  if (isAltered) Note(track, Kind::Altered, Treatment::Kept, first, count);
  passed.clock.Pass(first, count);
  passed.lastCount = count;
  passed.soundBytes += sound.packet->size;
  queue.push_back(std::move(sound));
}

}  // namespace vixprores
