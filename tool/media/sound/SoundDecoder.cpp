// SPDX-License-Identifier: BSD-2-Clause
#include "media/sound/SoundDecoder.h"

#include <algorithm>
#include <cstdlib>
#include <mutex>
#include <new>
#include <utility>

#include "base/Errors.h"
#include "base/Limits.h"
#include "media/container/Demuxer.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/common.h>
#include <libavutil/cpu.h>
#include <libavutil/frame.h>
#include <libavutil/mathematics.h>
}

namespace vixprores {
namespace {

constexpr std::int64_t kSegmentSeconds = 2;
// Codecs with long memories need up to half a second.
constexpr std::int64_t kWarmUpSeconds = 1;
static_assert(kSegmentSeconds + kWarmUpSeconds < kDecoderPreroll);
// Limits of the packets remembered for the next segment, whatever times they state.
constexpr std::size_t kMostRecentPackets = 512;
constexpr int kMostRecentBytes = 8 << 20;

struct SoundFrameDeleter {
  void operator()(AVFrame* frame) const { av_frame_free(&frame); }
};

// Makes decoders that are opened meanwhile compute alike on every processor of the architecture:
// they choose their instructions when they are opened.
class PlainCode {
 public:
  PlainCode() : lock_(Mutex()) {
    av_force_cpu_flags(AV_CPU_FLAG_CMOV | AV_CPU_FLAG_MMX | AV_CPU_FLAG_MMXEXT | AV_CPU_FLAG_SSE |
                       AV_CPU_FLAG_SSE2);
  }
  ~PlainCode() { av_force_cpu_flags(-1); }
  PlainCode(const PlainCode&) = delete;
  PlainCode& operator=(const PlainCode&) = delete;

 private:
  static std::mutex& Mutex() {
    static std::mutex mutex;
    return mutex;
  }

  std::lock_guard<std::mutex> lock_;
};

[[noreturn]] void FailToDecode(const SoundTrack& track, const std::string& name,
                               const std::string& reason) {
  throw Failure(name + ": cannot decode sound track " + std::to_string(track.number + 1) + " (" +
                avcodec_get_name(track.parameters->codec_id) + "): " + reason +
                "; --audio copy copies it, --audio-tracks selects other tracks, --no-audio leaves "
                "the sound out");
}

bool IsSegmented(const SoundTrack& track) {
  const AVCodecDescriptor* const codec = avcodec_descriptor_get(track.parameters->codec_id);
  return track.SampleBytes() == 0 && codec && (codec->props & AV_CODEC_PROP_LOSSY) != 0;
}

}  // namespace

void SoundDecoder::DecoderDeleter::operator()(AVCodecContext* context) const {
  avcodec_free_context(&context);
}

SoundDecoder::SoundDecoder(const SoundTrack& track, std::string name)
    : track_(track), name_(std::move(name)), isSegmented_(IsSegmented(track)) {
  const AVCodecParameters& sound = *track_.parameters;
  if (sound.sample_rate <= 0 || sound.ch_layout.nb_channels <= 0) {
    FailToDecode(track_, name_, "the file does not state its sample rate and channels");
  }
  if (sound.ch_layout.nb_channels > kMostSoundChannels) {
    FailToDecode(track_, name_,
                 "it has " + std::to_string(sound.ch_layout.nb_channels) + " channels, more than " +
                     std::to_string(kMostSoundChannels));
  }
  decoder_ = Open();
}

SoundDecoder::Decoder SoundDecoder::Open() const {
  const AVCodec* const codec = avcodec_find_decoder(track_.parameters->codec_id);
  if (!codec) FailToDecode(track_, name_, "the linked libavcodec has no decoder for it");
  const MemoryWatch memory;
  Decoder decoder(avcodec_alloc_context3(codec));
  if (!decoder || avcodec_parameters_to_context(decoder.get(), track_.parameters.get()) < 0) {
    throw std::bad_alloc();
  }
  decoder->pkt_timebase = track_.timeBase;
  decoder->thread_count = 1;
  if (track_.SampleBytes() == 0) decoder->max_samples = kMostSoundSamples;
  // Silence and a report are better than sound made of damaged data.
  decoder->err_recognition = AV_EF_CRCCHECK | AV_EF_EXPLODE;
  const PlainCode plain;
  const int result = avcodec_open2(decoder.get(), codec, nullptr);
  if (result < 0) {
    memory.Check();
    FailToDecode(track_, name_, ExplainLibavError(result));
  }
  return decoder;
}

std::vector<SoundBlock> SoundDecoder::Decode(const AVPacket& packet) {
  if (isSegmented_) EnterSegment(packet);
  std::vector<SoundBlock> blocks;
  failedTicks_ = Send(&packet, &blocks) ? 0 : av_sat_add64(failedTicks_, packet.duration);
  if (isSegmented_) Remember(packet);
  return blocks;
}

// Replaces the decoder at the first packet of a segment.
void SoundDecoder::EnterSegment(const AVPacket& packet) {
  const std::int64_t time = TimeOf(packet);
  if (time == AV_NOPTS_VALUE) return;
  const AVRational segment{kSegmentSeconds, 1};
  const std::int64_t number = av_rescale_q_rnd(time, track_.timeBase, segment, AV_ROUND_DOWN);
  if (number <= segment_) return;
  const bool isFirst = std::exchange(segment_, number) == INT64_MIN;
  if (isFirst) return;
  decoder_ = Open();
  const std::int64_t begin = number * kSegmentSeconds - kWarmUpSeconds;
  const auto isInTime = [&](const Packet& earlier) {
    return av_compare_ts(TimeOf(*earlier), track_.timeBase, begin, {1, 1}) >= 0;
  };
  for (auto earlier = std::ranges::find_if(recent_, isInTime); earlier != recent_.end();
       ++earlier) {
    Send(earlier->get(), nullptr);
  }
}

void SoundDecoder::Remember(const AVPacket& packet) {
  if (packet.size > kMostRecentBytes) return recent_.clear();
  Packet copy(av_packet_clone(&packet));
  if (!copy) throw std::bad_alloc();
  recent_.push_back(std::move(copy));
  std::int64_t bytes = 0;
  for (const Packet& one : recent_) bytes += one->size;
  while (recent_.size() > kMostRecentPackets || bytes > kMostRecentBytes) {
    bytes -= recent_.front()->size;
    recent_.pop_front();
  }
}

// Decodes a packet; null = the end. Returns false if it is damaged.
// @param blocks null = drop what is decoded
bool SoundDecoder::Send(const AVPacket* packet, std::vector<SoundBlock>* blocks) {
  const std::unique_ptr<AVFrame, SoundFrameDeleter> frame(av_frame_alloc());
  if (!frame) throw std::bad_alloc();
  const MemoryWatch memory;
  int result = avcodec_send_packet(decoder_.get(), packet);
  if (result == AVERROR(ENOMEM)) throw std::bad_alloc();
  bool isWhole = result >= 0;
  while (result != AVERROR(EAGAIN) && result != AVERROR_EOF) {
    result = avcodec_receive_frame(decoder_.get(), frame.get());
    if (result == AVERROR(ENOMEM)) throw std::bad_alloc();
    if (result >= 0 && blocks) {
      const std::int64_t time =
          frame->pts != AV_NOPTS_VALUE ? frame->pts : frame->best_effort_timestamp;
      Place(ReadSamples(*frame), time, *blocks);
    }
    if (result < 0 && result != AVERROR(EAGAIN) && result != AVERROR_EOF) isWhole = false;
  }
  memory.Check();
  return isWhole;
}

// Largest position of a sample. Damaged times may be farther, and differences must not overflow.
constexpr std::int64_t kFarthest = std::int64_t{1} << 53;

// Returns the position of a block. Times may be coarser than samples, and jitter; blocks without a
// gap that such times could show follow each other.
std::int64_t SoundDecoder::Locate(const SoundBlock& block, std::int64_t time) const {
  if (time == AV_NOPTS_VALUE || (next_ && !track_.isTimed)) return next_.value_or(0);
  const AVRational samples{1, block.rate};
  const std::int64_t stated =
      std::clamp(av_rescale_q(time, track_.timeBase, samples), -kFarthest, kFarthest);
  const std::int64_t tick = av_rescale_q(1, track_.timeBase, samples);
  // Most tracks start at time 0, from which delays in coarse ticks deviate.
  if (!next_) return tick > 1 && Distance(stated, 0) <= tick ? 0 : stated;
  const std::int64_t jitter =
      std::max<std::int64_t>({2 * tick, 3 * block.rate / 1000, block.Count() / 2});
  return Distance(stated, *next_) <= jitter ? *next_ : stated;
}

// Appends a block at its position, without samples that overlap the one before or that follow the
// end of the track.
void SoundDecoder::Place(SoundBlock block, std::int64_t time, std::vector<SoundBlock>& blocks) {
  if (block.samples.empty() || block.rate <= 0) return;
  block = SetChannels(std::move(block), track_.parameters->ch_layout.nb_channels);
  if (std::exchange(rate_, block.rate) != block.rate) next_.reset();
  block.first = Locate(block, time);
  if (next_ && block.first < *next_) {
    const std::int64_t overlap = std::min(av_sat_sub64(*next_, block.first), block.Count());
    Note(SoundDamage::Kind::Altered, SoundDamage::Treatment::LeftOut, block.first, overlap,
         block.rate);
    DropFront(block, overlap);
  }
  if (track_.end) {
    const std::int64_t end = av_rescale_q(*track_.end, track_.timeBase, {1, block.rate});
    DropBack(block, av_sat_sub64(av_sat_add64(block.first, block.Count()), end));
  }
  if (block.samples.empty()) return;
  next_ = av_sat_add64(block.first, block.Count());
  blocks.push_back(std::move(block));
}

std::vector<SoundBlock> SoundDecoder::Finish() {
  std::vector<SoundBlock> blocks;
  Send(nullptr, &blocks);
  if (failedTicks_ > 0 && next_) {
    Note(SoundDamage::Kind::Missing, SoundDamage::Treatment::ClosedUp, *next_,
         av_rescale_q(failedTicks_, track_.timeBase, {1, rate_}), rate_);
  }
  return blocks;
}

void SoundDecoder::Note(SoundDamage::Kind kind, SoundDamage::Treatment treatment,
                        std::int64_t first, std::int64_t count, int rate) {
  const double begin = static_cast<double>(first) / rate;
  const double seconds = static_cast<double>(count) / rate;
  damage_.push_back({kind, treatment, track_.number, begin, seconds});
}

}  // namespace vixprores
