// SPDX-License-Identifier: BSD-2-Clause
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "media/container/Interleaver.h"

extern "C" {
#include <libavcodec/avcodec.h>
}

namespace vixprores {
namespace {

constexpr int kSoundRate = 48000;
constexpr int kSamplesPerFrame = 1920;  // at 25 frames per second

MovieContent MovieWithSound(std::size_t soundTracks, AVCodecID codec) {
  MovieContent content;
  content.video.rate = {25, 1};
  for (std::size_t i = 0; i < soundTracks; ++i) {
    std::shared_ptr<AVCodecParameters> sound(
        avcodec_parameters_alloc(),
        [](AVCodecParameters* made) { avcodec_parameters_free(&made); });
    sound->codec_type = AVMEDIA_TYPE_AUDIO;
    sound->codec_id = codec;
    sound->sample_rate = kSoundRate;
    sound->bits_per_coded_sample = codec == AV_CODEC_ID_PCM_S16LE ? 16 : 0;
    av_channel_layout_default(&sound->ch_layout, 1);
    content.sound.push_back({sound, {1, kSoundRate}, {}});
  }
  return content;
}

Packet MakeTimedPacket(std::int64_t time, std::int64_t duration, int bytes) {
  Packet packet(av_packet_alloc());
  if (av_new_packet(packet.get(), bytes) < 0) throw std::bad_alloc();
  for (int i = 0; i < bytes; ++i) packet->data[i] = static_cast<std::uint8_t>(time * 2 + i);
  packet->pts = packet->dts = time;
  packet->duration = duration;
  return packet;
}

void AddFrames(Interleaver& packets, std::int64_t count, std::int64_t first = 0) {
  for (std::int64_t i = first; i < first + count; ++i) {
    packets.AddFrame(MakeTimedPacket(i, 1, 10), std::nullopt);
  }
}

void AddPcm(Interleaver& packets, std::size_t track, std::int64_t first, std::int64_t samples) {
  packets.AddSound({track, MakeTimedPacket(first, samples, static_cast<int>(2 * samples))});
}

// Returns text like "v0 a0+1024 a1024+1024 v1".
std::string TakeAll(Interleaver& packets) {
  std::string order;
  while (const auto item = packets.Take()) {
    order += (order.empty() ? "" : " ") + std::string(1, "vab"[item->stream]) +
             std::to_string(item->packet->pts);
    if (item->stream > 0) order += "+" + std::to_string(item->packet->duration);
  }
  return order;
}

TEST(Interleaver, ReturnsFramesAtOnceWithoutSound) {
  Interleaver packets(MovieWithSound(0, AV_CODEC_ID_NONE));
  AddFrames(packets, 3);
  EXPECT_EQ(TakeAll(packets), "v0 v1 v2");
  EXPECT_EQ(packets.CountFrames(), 0U);
}

TEST(Interleaver, PutsTheSoundOfAFrameAfterIt) {
  Interleaver packets(MovieWithSound(2, AV_CODEC_ID_PCM_S16LE));
  AddFrames(packets, 2);
  AddPcm(packets, 0, 0, 2 * kSamplesPerFrame);
  AddPcm(packets, 1, 0, 2 * kSamplesPerFrame);
  packets.Finish();
  EXPECT_EQ(TakeAll(packets),
            "v0 a0+1024 a1024+1024 b0+1024 b1024+1024 "
            "v1 a2048+1024 a3072+768 b2048+1024 b3072+768");
}

TEST(Interleaver, HasTheSameOrderHoweverPacketsArrive) {
  std::vector<std::string> orders;
  for (const std::int64_t samples : {100, 1024, 1920, 5000}) {
    for (const bool framesFirst : {true, false}) {
      Interleaver packets(MovieWithSound(1, AV_CODEC_ID_PCM_S16LE));
      if (framesFirst) AddFrames(packets, 10);
      for (std::int64_t first = 0; first < 10 * kSamplesPerFrame; first += samples) {
        AddPcm(packets, 0, first, std::min(samples, 10 * kSamplesPerFrame - first));
      }
      if (!framesFirst) AddFrames(packets, 10);
      packets.Finish();
      orders.push_back(TakeAll(packets));
    }
  }
  EXPECT_THAT(orders, testing::Each(orders.front()));
}

TEST(Interleaver, KeepsTheBytesOfSound) {
  Interleaver packets(MovieWithSound(1, AV_CODEC_ID_PCM_S16LE));
  for (std::int64_t first = 0; first < 3000; first += 300) AddPcm(packets, 0, first, 300);
  packets.Finish();
  std::vector<std::uint8_t> all;
  while (const auto item = packets.Take()) {
    all.insert(all.end(), item->packet->data, item->packet->data + item->packet->size);
  }
  ASSERT_EQ(all.size(), 6000U);
  for (std::size_t i = 0; i < all.size(); ++i) {
    ASSERT_EQ(all[i], static_cast<std::uint8_t>(i / 600 * 600 + i % 600)) << i;
  }
}

TEST(Interleaver, StartsAPacketAfterAGap) {
  Interleaver packets(MovieWithSound(1, AV_CODEC_ID_PCM_S16LE));
  AddPcm(packets, 0, 0, 500);
  AddPcm(packets, 0, 600, 500);
  packets.Finish();
  EXPECT_EQ(TakeAll(packets), "a0+500 a600+424 a1024+76");
}

TEST(Interleaver, KeepsPacketsOfCompressedSound) {
  Interleaver packets(MovieWithSound(1, AV_CODEC_ID_AAC));
  AddFrames(packets, 1);
  for (const std::int64_t first : {0, 1024, 2048}) {
    packets.AddSound({0, MakeTimedPacket(first, 1024, 50)});
  }
  packets.Finish();
  EXPECT_EQ(TakeAll(packets), "v0 a0+1024 a1024+1024 a2048+1024");
}

TEST(Interleaver, DoesNotWaitForeverForSound) {
  Interleaver packets(MovieWithSound(1, AV_CODEC_ID_PCM_S16LE));
  AddFrames(packets, Interleaver::kMostFrames);
  EXPECT_EQ(TakeAll(packets), "");
  AddFrames(packets, 2, Interleaver::kMostFrames);
  EXPECT_EQ(TakeAll(packets), "v0 v1");
  EXPECT_EQ(packets.CountFrames(), Interleaver::kMostFrames);
}

TEST(Interleaver, DoesNotWaitForeverForFrames) {
  Interleaver packets(MovieWithSound(1, AV_CODEC_ID_PCM_S16LE));
  AddPcm(packets, 0, 0, (Interleaver::kMostSeconds + 1) * kSoundRate);
  std::int64_t taken = 0;
  while (packets.Take()) ++taken;
  EXPECT_NEAR(static_cast<double>(taken * Interleaver::kPcmSamples), kSoundRate,
              2 * Interleaver::kPcmSamples);
}

TEST(Interleaver, KeepsTheChecksumOfAFrame) {
  Interleaver packets(MovieWithSound(0, AV_CODEC_ID_NONE));
  packets.AddFrame(MakeTimedPacket(0, 1, 10), 4711);
  EXPECT_EQ(packets.Take()->hash, 4711U);
}

}  // namespace
}  // namespace vixprores
