// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>

#include <cstdlib>
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
  return {{"busy", Busy(1), 560, 400},    {"odd size", Busy(2), 561, 403},
          {"noise", Noise(1), 400, 130},  {"binary noise", BinaryNoise(1), 130, 66},
          {"smooth", Smooth(), 400, 130}, {"flat", Flat(700), 300, 50},
          {"narrow", Busy(3), 2, 300},    {"low", Busy(4), 300, 2},
          {"one slice", Busy(5), 17, 15}};
}

/// Calls check(params, picture, name) for all cases, formats, variants and modes.
template <typename Check>
void ForEachFrame(const Check& check) {
  for (const Case& c : Cases()) {
    for (const std::uint32_t format : kFormats) {
      const SourcePicture picture(format, c.width, c.height, c.content, 3);
      for (const std::uint32_t codecType : kCodecTypes) {
        for (const std::uint32_t mode : kModes) check({codecType, mode}, picture, c.name);
      }
    }
  }
}

TEST(EncoderLevels, WriteTheSameBytes) {
  const LevelEncoder plain(CpuLevel::kScalar, 1);
  for (const CpuLevel level : kCpuLevels) {
    if (level > DetectCpuLevel()) break;
    const LevelEncoder encoder(level, 2);
    ForEachFrame(
        [&](const EncodeParamsRecord& params, const SourcePicture& picture, const char* name) {
          EXPECT_EQ(encoder.Encode(params, picture), plain.Encode(params, picture))
              << name << ", " << NameOf(level) << ", variant " << params.codecType << ", mode "
              << params.interlaceMode;
        });
  }
}

TEST(EncoderLevels, WriteTheSameBytesForEveryThreadCount) {
  const LevelEncoder one(DetectCpuLevel(), 1);
  for (const int threads : {2, 3, 5, 8}) {
    const LevelEncoder encoder(DetectCpuLevel(), threads);
    ForEachFrame(
        [&](const EncodeParamsRecord& params, const SourcePicture& picture, const char* name) {
          EXPECT_EQ(encoder.Encode(params, picture), one.Encode(params, picture))
              << name << ", " << threads << " threads, variant " << params.codecType << ", mode "
              << params.interlaceMode;
        });
  }
}

}  // namespace
}  // namespace prores
