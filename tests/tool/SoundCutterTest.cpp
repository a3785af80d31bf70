// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "media/sound/SoundCutter.h"

extern "C" {
#include <libavcodec/codec_par.h>
#include <libavutil/channel_layout.h>
}

namespace vixprores {
namespace {

constexpr int kRate = 48000;

SoundTrack MakeTrack(AVCodecID codec, int channels, AVRational timeBase) {
  const std::shared_ptr<AVCodecParameters> parameters(
      avcodec_parameters_alloc(),
      [](AVCodecParameters* pointer) { avcodec_parameters_free(&pointer); });
  parameters->codec_type = AVMEDIA_TYPE_AUDIO;
  parameters->codec_id = codec;
  parameters->sample_rate = kRate;
  av_channel_layout_default(&parameters->ch_layout, channels);
  return {parameters, timeBase, {}};
}

// Returns a packet of samples numbered from `first` on, two bytes each.
Packet MakePacket(std::int64_t time, int first, int count) {
  Packet packet(av_packet_alloc());
  av_new_packet(packet.get(), 2 * count);
  for (int i = 0; i < count; ++i) {
    const auto sample = static_cast<std::uint16_t>(first + i);
    std::memcpy(packet->data + 2 * i, &sample, 2);
  }
  packet->pts = packet->dts = time;
  packet->duration = count;
  return packet;
}

std::uint16_t SampleAt(const Packet& packet, std::size_t place) {
  std::uint16_t sample = 0;
  std::memcpy(&sample, packet->data + 2 * place, 2);
  return sample;
}

TEST(SoundCutter, LeavesEverythingWithoutAPart) {
  SoundCutter cutter(MakeTrack(AV_CODEC_ID_PCM_S16LE, 1, {1, kRate}), std::nullopt);
  const Packet packet = cutter.Cut(MakePacket(-100, 7, 50));
  ASSERT_TRUE(packet);
  EXPECT_EQ(packet->pts, -100);
  EXPECT_EQ(packet->duration, 50);
  EXPECT_EQ(packet->size, 100);
  EXPECT_EQ(SampleAt(packet, 0), 7);
}

TEST(SoundCutter, CutsToTheSampleAndStartsAtZero) {
  // Frames 2 and 3 of 25 a second: samples 3840 to 7679.
  SoundCutter cutter(MakeTrack(AV_CODEC_ID_PCM_S16LE, 1, {1, kRate}), TimeSpan{2, 4, 2, {1, 25}});
  EXPECT_FALSE(cutter.Cut(MakePacket(0, 0, 3840)));
  const Packet inside = cutter.Cut(MakePacket(3840, 3840, 1000));
  ASSERT_TRUE(inside);
  EXPECT_EQ(inside->pts, 0);
  const Packet end = cutter.Cut(MakePacket(4840, 4840, 5000));
  ASSERT_TRUE(end);
  EXPECT_EQ(end->pts, 1000);
  EXPECT_EQ(end->duration, 7680 - 4840);
  EXPECT_FALSE(cutter.Cut(MakePacket(9840, 9840, 10)));
}

TEST(SoundCutter, CutsBothEndsOfOnePacket) {
  SoundCutter cutter(MakeTrack(AV_CODEC_ID_PCM_S16LE, 1, {1, kRate}), TimeSpan{1, 2, 1, {1, 25}});
  const Packet packet = cutter.Cut(MakePacket(0, 0, 10000));
  ASSERT_TRUE(packet);
  EXPECT_EQ(packet->duration, 1920);
  EXPECT_EQ(SampleAt(packet, 0), 1920);
  EXPECT_EQ(SampleAt(packet, 1919), 3839);
}

TEST(SoundCutter, AdjacentPartsHaveEverySampleOnce) {
  const AVRational frame{1001, 30000};
  int next = 0;
  for (std::int64_t first = 0; first < 30; first += 3) {
    SoundCutter cutter(MakeTrack(AV_CODEC_ID_PCM_S16LE, 1, {1, kRate}),
                       TimeSpan{first, first + 3, first, frame});
    const Packet packet = cutter.Cut(MakePacket(0, 0, 60000));
    ASSERT_TRUE(packet);
    EXPECT_EQ(SampleAt(packet, 0), next);
    next += static_cast<int>(packet->duration);
  }
  EXPECT_EQ(next, 48048);
}

TEST(SoundCutter, CountsSamplesWhereTheClockIsCoarser) {
  SoundCutter cutter(MakeTrack(AV_CODEC_ID_PCM_S16LE, 1, {1, 1000}), std::nullopt);
  EXPECT_EQ(cutter.Cut(MakePacket(0, 0, 1024))->pts, 0);
  EXPECT_EQ(cutter.Cut(MakePacket(21, 0, 1024))->pts, 1024);  // 21 ms are 1008 samples
  EXPECT_EQ(cutter.Cut(MakePacket(43, 0, 1024))->pts, 2048);
  EXPECT_EQ(cutter.Cut(MakePacket(500, 0, 1024))->pts, 24000);  // a gap
}

TEST(SoundCutter, KeepsPacketsOfCompressedSoundWhole) {
  SoundCutter cutter(MakeTrack(AV_CODEC_ID_AAC, 2, {1, kRate}), TimeSpan{1, 2, 1, {1, 25}});
  EXPECT_FALSE(cutter.Cut(MakePacket(1000, 0, 500)));
  const Packet packet = cutter.Cut(MakePacket(2000, 0, 500));
  ASSERT_TRUE(packet);
  EXPECT_EQ(packet->size, 1000);
  EXPECT_EQ(packet->pts, 80);
  EXPECT_FALSE(cutter.Cut(MakePacket(3840, 0, 500)));
}

TEST(SoundCutter, CutsAtExtremeTimes) {
  for (const std::int64_t time : {INT64_MIN + 1, INT64_MAX}) {
    SoundCutter cutter(MakeTrack(AV_CODEC_ID_PCM_S16LE, 1, {1, kRate}),
                       TimeSpan{-time, time, time, {1, 25}});
    cutter.Cut(MakePacket(time, 0, 10));
    cutter.Cut(MakePacket(-time, 0, 10));
  }
}

TEST(SoundTrack, ComputesTheBytesOfASample) {
  EXPECT_EQ(MakeTrack(AV_CODEC_ID_PCM_S24LE, 6, {1, kRate}).SampleBytes(), 18);
  EXPECT_EQ(MakeTrack(AV_CODEC_ID_PCM_F32BE, 1, {1, kRate}).SampleBytes(), 4);
  EXPECT_EQ(MakeTrack(AV_CODEC_ID_AAC, 2, {1, kRate}).SampleBytes(), 0);
}

}  // namespace
}  // namespace vixprores
