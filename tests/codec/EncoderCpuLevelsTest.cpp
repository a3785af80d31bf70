// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "CpuLevelTest.h"
#include "DeepPicture.h"
#include "EncoderTestPicture.h"
#include "EncoderTestSession.h"
#include "ProRes/ProResHost.h"
#include "cpu/CpuLevel.h"

namespace prores {
namespace {

using test::BinaryNoise;
using test::Busy;
using test::Bytes;
using test::Content;
using test::DeepPicture;
using test::Flat;
using test::kModes;
using test::Noise;
using test::PictureMemory;
using test::Smooth;
using test::SourcePicture;

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

  Bytes Encode(const EncodeParamsRecord& params, std::int32_t alphaBits,
               const PictureMemory& picture) const {
    test::Set(encoder_, alphaBits);
    return test::Encode(encoder_, params, picture);
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
  std::int32_t alphaBits;
  PictureMemory picture;
  Bytes expected;
};

class Frames {
 public:
  Frames() {
    for (const Case& c : Cases()) {
      for (const std::uint32_t format : test::kFormats) {
        const SourcePicture picture(format, c.width, c.height, c.content, 3);
        for (const std::uint32_t codecType : test::kCodecTypes) {
          Add(c.name, codecType, kWPRAlphaNone, picture);
        }
      }
      for (const std::uint32_t format : test::kDeepFormats) {
        const test::DeepContent colours = test::Colours(c.content);
        // Alpha of 16 bits like the first component.
        const auto alpha = [colours](int, int x, int y) { return colours(0, x, y); };
        const DeepPicture picture(format, c.width, c.height, test::WithAlpha(colours, alpha), 3);
        Add(c.name, kWPRCodec4444, kWPRAlpha16, picture);
        Add(c.name, kWPRCodec4444XQ, kWPRAlpha8, picture);
      }
    }
  }

  const std::vector<Frame>& All() const { return frames_; }

 private:
  void Add(const std::string& name, std::uint32_t codecType, std::int32_t alphaBits,
           const PictureMemory& picture) {
    for (const std::uint32_t mode : kModes) {
      const EncodeParamsRecord params{codecType, mode};
      frames_.push_back({name + ", " + test::Describe(codecType, mode, picture.Record()), params,
                         alphaBits, picture, plain_.Encode(params, alphaBits, picture)});
    }
  }

  LevelEncoder plain_{CpuLevel::kScalar, 1};
  std::vector<Frame> frames_;
};

void ExpectSameBytes(CpuLevel level, int threads) {
  static const Frames kFrames;
  const LevelEncoder encoder(level, threads);
  for (const Frame& frame : kFrames.All()) {
    EXPECT_EQ(encoder.Encode(frame.params, frame.alphaBits, frame.picture), frame.expected)
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
