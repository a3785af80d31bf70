// SPDX-License-Identifier: BSD-2-Clause
#include <gmock/gmock.h>

#include <span>
#include <vector>

#include "media/sound/SoundWatch.h"

extern "C" {
#include <libavcodec/codec_par.h>
#include <libavutil/channel_layout.h>
}

namespace vixprores {
namespace {

using testing::Each;
using testing::IsEmpty;
using testing::SizeIs;

constexpr int kSoundRate = 48000;
constexpr AVRational kMilliseconds{1, 1000};

SoundTrack MakeTrack(AVCodecID codec, AVRational timeBase, int rate, int channels) {
  const std::shared_ptr<AVCodecParameters> parameters(
      avcodec_parameters_alloc(),
      [](AVCodecParameters* pointer) { avcodec_parameters_free(&pointer); });
  parameters->codec_type = AVMEDIA_TYPE_AUDIO;
  parameters->codec_id = codec;
  parameters->sample_rate = rate;
  av_channel_layout_default(&parameters->ch_layout, channels);
  return {parameters, timeBase, {}};
}

SoundTrack MakeMono(AVCodecID codec, AVRational timeBase) {
  return MakeTrack(codec, timeBase, kSoundRate, 1);
}

// Passes packets of 1024 samples, each `bytes` long, with these times.
struct Watched {
  Watched(const SoundTrack& track, int bytes, const std::vector<std::int64_t>& times) {
    for (const std::int64_t time : times) {
      Packet packet(av_packet_alloc());
      av_new_packet(packet.get(), bytes);
      packet->pts = packet->dts = time;
      packet->duration = av_rescale_q(1024, {1, kSoundRate}, track.timeBase);
      watch.Pass(track, {0, std::move(packet)}, false, queue);
    }
  }

  SoundWatch watch;
  std::vector<SoundPacket> queue;
};

TEST(SoundWatch, AcceptsTimesInMilliseconds) {
  std::vector<std::int64_t> times;
  for (std::int64_t i = 0; i < 1000; ++i) times.push_back((i * 1024 + 24) / 48);
  const Watched watched(MakeMono(AV_CODEC_ID_PCM_S16LE, kMilliseconds), 2048, times);
  EXPECT_THAT(watched.watch.GetDamage(), IsEmpty());
  EXPECT_THAT(watched.queue, SizeIs(1000));
}

TEST(SoundWatch, AcceptsTimesThatJitterByTwoMilliseconds) {
  const Watched watched(MakeMono(AV_CODEC_ID_PCM_S16LE, kMilliseconds), 2048,
                        {0, 23, 43, 66, 85, 109});
  EXPECT_THAT(watched.watch.GetDamage(), IsEmpty());
}

TEST(SoundWatch, FillsWithAsManySamplesAsLostPacketsHad) {
  // The third and fourth packets, from 42.67 ms on, are missing.
  const Watched watched(MakeMono(AV_CODEC_ID_PCM_S16LE, kMilliseconds), 2048, {0, 21, 85, 107});
  ASSERT_THAT(watched.watch.GetDamage(), SizeIs(1));
  const SoundDamage& gap = watched.watch.GetDamage()[0];
  EXPECT_EQ(gap.kind, SoundDamage::Kind::Missing);
  EXPECT_EQ(gap.treatment, SoundDamage::Treatment::Silenced);
  EXPECT_DOUBLE_EQ(gap.begin, 2048.0 / kSoundRate);
  EXPECT_DOUBLE_EQ(gap.seconds, 2048.0 / kSoundRate);
  ASSERT_THAT(watched.queue, SizeIs(5));
  EXPECT_EQ(watched.queue[2].packet->pts, 43);
  EXPECT_EQ(watched.queue[2].packet->size, 4096);
  EXPECT_THAT(std::span(watched.queue[2].packet->data, 4096), Each(0));
}

TEST(SoundWatch, SilenceOfUnsignedSamplesIsInTheMiddle) {
  const Watched watched(MakeMono(AV_CODEC_ID_PCM_U8, {1, kSoundRate}), 1024, {0, 2048});
  ASSERT_THAT(watched.queue, SizeIs(3));
  EXPECT_EQ(watched.queue[1].packet->pts, 1024);
  EXPECT_THAT(std::span(watched.queue[1].packet->data, 1024), Each(0x80));
}

TEST(SoundWatch, LongSilenceComesInPieces) {
  const Watched watched(MakeMono(AV_CODEC_ID_PCM_S16LE, {1, kSoundRate}), 2048,
                        {0, 1024 + 5 * kSoundRate / 2});
  std::int64_t bytes = 0;
  for (const SoundPacket& sound : watched.queue) {
    EXPECT_EQ(sound.packet->pts, bytes / 2);
    bytes += sound.packet->size;
  }
  EXPECT_THAT(watched.queue, SizeIs(5));
  EXPECT_THAT(watched.watch.GetDamage(), SizeIs(1));
}

// Uses sample sizes whose product with the rate exceeds 32 bits.
TEST(SoundWatch, DoesNotFillGapsOfAbsurdRates) {
  constexpr int kAbsurdRate = 268435460;
  const SoundTrack track = MakeTrack(AV_CODEC_ID_PCM_S32LE, {1, 1000}, kAbsurdRate, 4);
  const Watched watched(track, 2048, {0, 3000});
  EXPECT_THAT(watched.queue, SizeIs(2));
  EXPECT_EQ(watched.watch.GetDamage()[0].treatment, SoundDamage::Treatment::ClosedUp);
}

TEST(SoundWatch, BoundsSilenceByTheSound) {
  std::vector<std::int64_t> times;
  for (std::int64_t i = 0; i < 100; ++i) times.push_back(i * 20'000);
  const SoundTrack track = MakeTrack(AV_CODEC_ID_PCM_S32LE, {1, 1000}, 192000, 8);
  const Watched watched(track, 2048, times);
  std::int64_t bytes = 0;
  for (const SoundPacket& sound : watched.queue) bytes += sound.packet->size;
  EXPECT_GT(bytes, 100 * 2048);
  EXPECT_LT(bytes, std::int64_t{300} << 20);
  EXPECT_THAT(watched.watch.GetDamage(), SizeIs(99));
}

TEST(SoundWatch, SilenceSharesItsMemory) {
  const Watched watched(MakeMono(AV_CODEC_ID_PCM_S16LE, {1, kSoundRate}), 2048,
                        {0, 1024 + 5 * kSoundRate / 2});
  ASSERT_THAT(watched.queue, SizeIs(5));
  EXPECT_EQ(watched.queue[1].packet->data, watched.queue[2].packet->data);
}

TEST(SoundWatch, MeasuresExtremeGaps) {
  for (const std::int64_t time : {INT64_MIN + 1, INT64_MAX}) {
    const Watched watched(MakeMono(AV_CODEC_ID_PCM_S16LE, {1, kSoundRate}), 2048,
                          {0, time, -time, time});
    EXPECT_THAT(watched.queue, SizeIs(4));
  }
}

TEST(SoundWatch, ReportsGapsThatItDoesNotFill) {
  for (const auto& [codec, time] :
       {std::pair(AV_CODEC_ID_AAC, 2048), std::pair(AV_CODEC_ID_PCM_S16LE, 3600 * kSoundRate)}) {
    const Watched watched(MakeMono(codec, {1, kSoundRate}), 2048, {0, time});
    EXPECT_THAT(watched.queue, SizeIs(2));
    ASSERT_THAT(watched.watch.GetDamage(), SizeIs(1));
    EXPECT_EQ(watched.watch.GetDamage()[0].treatment, SoundDamage::Treatment::ClosedUp);
  }
}

TEST(SoundWatch, ReportsNoGapAfterAJump) {
  const SoundTrack track = MakeMono(AV_CODEC_ID_PCM_S16LE, {1, kSoundRate});
  Watched watched(track, 2048, {0});
  watched.watch.Jump();
  Packet packet(av_packet_alloc());
  av_new_packet(packet.get(), 2048);
  packet->pts = packet->dts = 10 * kSoundRate;
  watched.watch.Pass(track, {0, std::move(packet)}, false, watched.queue);
  EXPECT_THAT(watched.watch.GetDamage(), IsEmpty());
}

TEST(SoundWatch, ReportsNoGapInCountedTimes) {
  SoundTrack track = MakeMono(AV_CODEC_ID_PCM_S16LE, {1, kSoundRate});
  track.isTimed = false;
  EXPECT_THAT(Watched(track, 2048, {0, 4096}).watch.GetDamage(), IsEmpty());
}

}  // namespace
}  // namespace vixprores
