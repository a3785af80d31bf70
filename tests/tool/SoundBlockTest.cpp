// SPDX-License-Identifier: BSD-2-Clause
#include <gmock/gmock.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <vector>

#include "media/sound/SoundBlock.h"

extern "C" {
#include <libavutil/channel_layout.h>
#include <libavutil/frame.h>
}

namespace vixprores {
namespace {

using testing::Each;
using testing::ElementsAre;

struct SoundFrameDeleter {
  void operator()(AVFrame* frame) const { av_frame_free(&frame); }
};
using SoundFrame = std::unique_ptr<AVFrame, SoundFrameDeleter>;

// Returns a frame of two channels with these samples, channel by channel.
template <typename Sample>
SoundFrame MakeSoundFrame(AVSampleFormat format, const std::vector<Sample>& left,
                          const std::vector<Sample>& right) {
  SoundFrame frame(av_frame_alloc());
  frame->format = format;
  frame->nb_samples = static_cast<int>(left.size());
  frame->sample_rate = 48000;
  av_channel_layout_default(&frame->ch_layout, 2);
  EXPECT_EQ(av_frame_get_buffer(frame.get(), 0), 0);
  const bool isPlanar = av_sample_fmt_is_planar(format) != 0;
  for (std::size_t i = 0; i < left.size(); ++i) {
    const std::size_t step = isPlanar ? 1 : 2;
    auto* first = reinterpret_cast<Sample*>(frame->extended_data[0]);
    auto* second = isPlanar ? reinterpret_cast<Sample*>(frame->extended_data[1]) : first + 1;
    first[i * step] = left[i];
    second[i * step] = right[i];
  }
  return frame;
}

std::vector<std::uint8_t> BytesOfPcm(const std::vector<double>& samples, PcmFormat format,
                                     std::int64_t first = 0) {
  const Packet packet = MakePcm({first, 48000, 1, samples}, format);
  return {packet->data, packet->data + packet->size};
}

std::vector<int> To16Bits(const std::vector<double>& samples, std::int64_t first = 0) {
  const auto bytes = BytesOfPcm(samples, PcmFormat::Pcm16, first);
  std::vector<std::int16_t> values(bytes.size() / 2);
  std::memcpy(values.data(), bytes.data(), bytes.size());
  return {values.begin(), values.end()};
}

TEST(SoundBlock, ReadsPackedAndPlanarSamples) {
  const SoundFrame packed =
      MakeSoundFrame<std::int16_t>(AV_SAMPLE_FMT_S16, {0x4000, -1}, {-0x8000, 0});
  EXPECT_THAT(ReadSamples(*packed).samples, ElementsAre(0.5, -1, -1.0 / 0x8000, 0));
  const SoundFrame planar = MakeSoundFrame<float>(AV_SAMPLE_FMT_FLTP, {0.25F, 2}, {-3, 0});
  EXPECT_THAT(ReadSamples(*planar).samples, ElementsAre(0.25, -3, 2, 0));
}

TEST(SoundBlock, ReadsEverySampleFormat) {
  EXPECT_THAT(ReadSamples(*MakeSoundFrame<std::uint8_t>(AV_SAMPLE_FMT_U8, {0x80}, {0})).samples,
              ElementsAre(0, -1));
  EXPECT_THAT(
      ReadSamples(*MakeSoundFrame<std::int32_t>(AV_SAMPLE_FMT_S32P, {1 << 30}, {1})).samples,
      ElementsAre(0.5, std::ldexp(1.0, -31)));
  EXPECT_THAT(
      ReadSamples(*MakeSoundFrame<std::int64_t>(AV_SAMPLE_FMT_S64, {std::int64_t{1} << 62}, {0}))
          .samples,
      ElementsAre(0.5, 0));
  EXPECT_THAT(ReadSamples(*MakeSoundFrame<double>(AV_SAMPLE_FMT_DBL, {0.1}, {-0.1})).samples,
              ElementsAre(0.1, -0.1));
}

TEST(SoundBlock, KeepsIntegersOfAllDepths) {
  for (int value = -0x8000; value < 0x8000; ++value) {
    ASSERT_THAT(To16Bits({value / 32768.0}), ElementsAre(value));
  }
  EXPECT_THAT(BytesOfPcm({-1, 0x123456 / 8388608.0, 1 / 8388608.0}, PcmFormat::Pcm24),
              ElementsAre(0, 0, 0x80, 0x56, 0x34, 0x12, 1, 0, 0));
}

TEST(SoundBlock, LimitsPeaksOfIntegers) {
  EXPECT_THAT(To16Bits({1, 2, -2}), ElementsAre(32767, 32767, -32768));
  EXPECT_THAT(BytesOfPcm({1, -1.5}, PcmFormat::Pcm24), ElementsAre(0xFF, 0xFF, 0x7F, 0, 0, 0x80));
}

TEST(SoundBlock, KeepsPeaksOfFloats) {
  const auto bytes = BytesOfPcm({-3.5}, PcmFormat::Pcm32f);
  float value = 0;
  std::memcpy(&value, bytes.data(), 4);
  EXPECT_EQ(value, -3.5F);
}

TEST(SoundBlock, TakesWhatIsNoNumberForSilence) {
  EXPECT_THAT(To16Bits({std::nan("")}), ElementsAre(0));
  EXPECT_THAT(To16Bits({std::numeric_limits<double>::infinity()}), ElementsAre(32767));
}

TEST(SoundBlock, DithersValuesBetweenThoseOf16Bits) {
  const std::vector<double> samples(100000, 100.25 / 32768);
  double sum = 0;
  for (const int value : To16Bits(samples)) {
    EXPECT_GE(value, 99);
    EXPECT_LE(value, 102);
    sum += value;
  }
  EXPECT_NEAR(sum / 100000, 100.25, 0.01);
}

TEST(SoundBlock, DithersByPosition) {
  const std::vector<double> samples(100, 0.25 / 32768);
  const std::vector<int> whole = To16Bits(samples, 1000);
  const std::vector<int> part = To16Bits({samples.begin(), samples.begin() + 40}, 1060);
  EXPECT_EQ(part, std::vector<int>(whole.begin() + 60, whole.end()));
  EXPECT_NE(To16Bits(samples, 2000), whole);
}

TEST(SoundBlock, ChangesChannels) {
  EXPECT_THAT(SetChannels({0, 48000, 1, {1, 2}}, 2).samples, ElementsAre(1, 1, 2, 2));
  EXPECT_THAT(SetChannels({0, 48000, 2, {1, 2, 3, 4}}, 3).samples, ElementsAre(1, 2, 0, 3, 4, 0));
  EXPECT_THAT(SetChannels({0, 48000, 3, {1, 2, 3}}, 2).samples, ElementsAre(1, 2));
}

TEST(SoundBlock, DropsSamplesAtBothEnds) {
  SoundBlock block{10, 48000, 2, {1, 2, 3, 4, 5, 6}};
  DropFront(block, 1);
  EXPECT_EQ(block.first, 11);
  DropBack(block, 1);
  EXPECT_THAT(block.samples, ElementsAre(3, 4));
  DropBack(block, -5);
  DropFront(block, 100);
  EXPECT_EQ(block.Count(), 0);
  EXPECT_EQ(block.first, 12);
}

TEST(SoundBlock, PacksTimesInSamples) {
  const Packet packet = MakePcm({-7, 48000, 2, std::vector<double>(10)}, PcmFormat::Pcm24);
  EXPECT_EQ(packet->pts, -7);
  EXPECT_EQ(packet->duration, 5);
  EXPECT_EQ(packet->size, 30);
}

}  // namespace
}  // namespace vixprores
