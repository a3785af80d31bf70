// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

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

/// Encoders that are opened while the environment names a CPU level.
class LevelEncoder {
 public:
  LevelEncoder(CpuLevel level, int threads) {
    setenv(kCpuLevelVariable, NameOf(level), 1);
    encoder_ = WPROpenEncoder(threads, nullptr);
    unsetenv(kCpuLevelVariable);
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

/// A frame of a case, and what the plain forms make of it on one thread.
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

TEST(EncoderLevels, WriteTheSameBytesAndSoDoAllThreadCounts) {
  const std::vector<Frame> frames = Frames();
  const auto expectSame = [&](CpuLevel level, int threads) {
    const LevelEncoder encoder(level, threads);
    for (const Frame& frame : frames) {
      EXPECT_EQ(encoder.Encode(frame.params, frame.picture), frame.expected)
          << frame.name << ", " << NameOf(level) << ", " << threads << " threads";
    }
  };
  for (const CpuLevel level : kCpuLevels) {
    if (level <= DetectCpuLevel()) expectSame(level, 2);
  }
  for (const int threads : {1, 3, 5, 8}) expectSame(DetectCpuLevel(), threads);
}

}  // namespace
}  // namespace prores
