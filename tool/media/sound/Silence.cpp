// SPDX-License-Identifier: BSD-2-Clause
#include "media/sound/Silence.h"

#include <algorithm>
#include <iterator>
#include <map>
#include <memory>
#include <mutex>
#include <new>
#include <string_view>

#include "base/Errors.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/buffer.h>
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

}  // namespace vixprores
