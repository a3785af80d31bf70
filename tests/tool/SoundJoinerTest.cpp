// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>

#include <memory>
#include <utility>
#include <vector>

#include "media/sound/SoundJoiner.h"

extern "C" {
#include <libavcodec/codec_par.h>
#include <libavutil/channel_layout.h>
}

namespace vixprores {
namespace {

constexpr int kJoinedRate = 48000;
constexpr int kFrameSamples = kJoinedRate / 25;

SoundTrack MakePcmTrack() {
  const std::shared_ptr<AVCodecParameters> parameters(
      avcodec_parameters_alloc(),
      [](AVCodecParameters* pointer) { avcodec_parameters_free(&pointer); });
  parameters->codec_type = AVMEDIA_TYPE_AUDIO;
  parameters->codec_id = AV_CODEC_ID_PCM_S16LE;
  parameters->sample_rate = kJoinedRate;
  av_channel_layout_default(&parameters->ch_layout, 1);
  return {parameters, {1, kJoinedRate}, {}};
}

std::vector<SoundPacket> MakeFrameOfSound(std::int64_t first) {
  Packet packet(av_packet_alloc());
  av_new_packet(packet.get(), 2 * kFrameSamples);
  packet->pts = packet->dts = first;
  packet->duration = kFrameSamples;
  std::vector<SoundPacket> sound;
  sound.push_back({0, std::move(packet)});
  return sound;
}

// Joins two parts of one frame, the second with sound from sample `first` on. Returns what the
// second part adds.
std::vector<SoundPacket> AddPart(std::int64_t first) {
  SoundJoiner joiner({MakePcmTrack()}, {25, 1}, true);
  joiner.Begin({.isLast = false});
  joiner.Add(MakeFrameOfSound(0));
  EXPECT_EQ(joiner.End(1).size(), 1u);
  joiner.Begin({.at = 1});
  joiner.Add(MakeFrameOfSound(first));
  return joiner.End(1);
}

TEST(SoundJoiner, FillsSilenceBeforeTheSoundOfAPart) {
  const auto sound = AddPart(50 * kJoinedRate);
  ASSERT_EQ(sound.size(), 51u);
  std::int64_t next = kFrameSamples;
  for (const SoundPacket& each : sound) {
    EXPECT_EQ(each.packet->pts, next);
    next += each.packet->duration;
  }
  EXPECT_EQ(next, 50 * kJoinedRate + 2 * kFrameSamples);
}

TEST(SoundJoiner, LeavesTheGapBeforeSoundFarAfterThePictures) {
  for (const std::int64_t first : {std::int64_t{61} * kJoinedRate, std::int64_t{1} << 60}) {
    const auto sound = AddPart(first);
    ASSERT_EQ(sound.size(), 1u);
    EXPECT_EQ(sound.front().packet->pts, first + kFrameSamples);
  }
}

}  // namespace
}  // namespace vixprores
