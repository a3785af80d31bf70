// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "CpuLevelTest.h"
#include "EncoderTestPicture.h"
#include "ProRes/ProRes.h"
#include "cpu/CpuLevel.h"

namespace prores {
namespace {

using test::BinaryNoise;
using test::Busy;
using test::Content;
using test::Flat;
using test::Noise;
using test::Smooth;
using test::SourcePicture;

using Bytes = std::vector<std::uint8_t>;

constexpr std::uint32_t kCodecTypes[] = {kWPRCodecProxy, kWPRCodecLT, kWPRCodec422, kWPRCodecHQ};
constexpr std::uint32_t kFormats[] = {kWPRPixelFormat2vuy, kWPRPixelFormatV210};
constexpr std::uint32_t kModes[] = {kWPRProgressive, kWPRTopFieldFirst};

/// An encoder of a CPU level.
class LevelEncoder {
 public:
  LevelEncoder(CpuLevel level, int threads) {
    SetCpuLevelLimit(level);
    encoder_ = WPROpenEncoder(threads, nullptr);
    SetCpuLevelLimit(kCpuLevels.back());
  }
  ~LevelEncoder() { WPRCloseEncoder(encoder_); }
  LevelEncoder(const LevelEncoder&) = delete;
  LevelEncoder& operator=(const LevelEncoder&) = delete;

  Bytes Encode(const EncodeParamsRecord& params, const SourcePicture& picture) const {
    const PixelBufferRecord source = picture.Record();
    std::uint32_t size = 0;
    EXPECT_EQ(
        WPRGetCompressedFrameSize(params.codecType, source.width, source.height, &size, nullptr),
        kWPRSuccess);
    Bytes frame(size);
    EXPECT_EQ(WPREncodeFrame(encoder_, &params, &source, frame.data(), size, &size), kWPRSuccess);
    frame.resize(size);
    return frame;
  }

 private:
  WPREncoderHandle encoder_;
};

struct Case {
  const char* name;
  Content content;
  std::uint32_t width;
  std::uint32_t height;
};

std::vector<Case> Cases() {
  return {{"busy", Busy(1), 304, 208},   {"odd size", Busy(2), 305, 211},
          {"noise", Noise(1), 272, 98},  {"binary noise", BinaryNoise(1), 130, 66},
          {"smooth", Smooth(), 272, 98}, {"flat", Flat(700), 300, 50},
          {"narrow", Busy(3), 2, 300},   {"low", Busy(4), 300, 2},
          {"one slice", Busy(5), 17, 15}};
}

/// A frame of a case, and its bytes from the plain kernels on one thread.
struct Frame {
  std::string name;
  EncodeParamsRecord params;
  SourcePicture picture;
  Bytes expected;
};

std::vector<Frame> Frames() {
  const LevelEncoder plain(CpuLevel::kScalar, 1);
  std::vector<Frame> frames;
  for (const Case& c : Cases()) {
    for (const std::uint32_t format : kFormats) {
      const SourcePicture picture(format, c.width, c.height, c.content, 3);
      for (const std::uint32_t codecType : kCodecTypes) {
        for (const std::uint32_t mode : kModes) {
          const EncodeParamsRecord params{codecType, mode};
          const std::string name = std::string(c.name) + ", variant " + std::to_string(codecType) +
                                   ", mode " + std::to_string(mode);
          frames.push_back({name, params, picture, plain.Encode(params, picture)});
        }
      }
    }
  }
  return frames;
}

void ExpectSameBytes(CpuLevel level, int threads) {
  static const std::vector<Frame> kFrames = Frames();
  const LevelEncoder encoder(level, threads);
  for (const Frame& frame : kFrames) {
    EXPECT_EQ(encoder.Encode(frame.params, frame.picture), frame.expected)
        << frame.name << ", " << NameOf(level) << ", " << threads << " threads";
  }
}

class EncoderCpuLevels : public test::CpuLevelTest {};

TEST_P(EncoderCpuLevels, WriteTheSameBytes) {
  ExpectSameBytes(GetParam(), 2);
}

INSTANTIATE_TEST_SUITE_P(CpuLevels, EncoderCpuLevels, testing::ValuesIn(kCpuLevels),
                         test::NameOfLevel);

TEST(EncoderThreadCounts, WriteTheSameBytes) {
  for (const int threads : test::kThreadCounts) ExpectSameBytes(DetectCpuLevel(), threads);
}

}  // namespace
}  // namespace prores
