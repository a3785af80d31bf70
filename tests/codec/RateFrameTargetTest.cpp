// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <map>
#include <utility>
#include <vector>

#include "ProRes/ProRes.h"
#include "bitstream/Codewords.h"
#include "encode/rate/FrameTarget.h"

namespace prores {
namespace {

constexpr std::uint32_t kCodecTypes[] = {kWPRCodecProxy, kWPRCodecLT,   kWPRCodec422,
                                         kWPRCodecHQ,    kWPRCodec4444, kWPRCodec4444XQ};

std::uint64_t Target(std::uint32_t codecType, std::uint32_t width, std::uint32_t height) {
  return TargetFrameBytes(*FindVariant(codecType), width, height);
}

TEST(RateFrameTarget, IsTheLeastOfThePublishedRatesOfASize) {
  // Megabits per second x 10^6 / 8 / frames per second.
  EXPECT_EQ(Target(kWPRCodecHQ, 1920, 1080), 916'666);        // 176 at 24
  EXPECT_EQ(Target(kWPRCodec422, 1920, 1080), 609'375);       // 117 at 24
  EXPECT_EQ(Target(kWPRCodecLT, 1920, 1080), 425'000);        // 85 at 25, 102 at 30, 204 at 60
  EXPECT_EQ(Target(kWPRCodecProxy, 1920, 1080), 187'500);     // 36 at 24
  EXPECT_EQ(Target(kWPRCodecHQ, 720, 486), 260'416);          // 50 at 24
  EXPECT_EQ(Target(kWPRCodecProxy, 720, 486), 50'050);        // 12 at 29.97
  EXPECT_EQ(Target(kWPRCodecHQ, 720, 576), 305'000);          // 61 at 25
  EXPECT_EQ(Target(kWPRCodecHQ, 1280, 720), 458'333);         // 110 at 30
  EXPECT_EQ(Target(kWPRCodecHQ, 3840, 2160), 3'682'291);      // 707 at 24
  EXPECT_EQ(Target(kWPRCodec4444, 1920, 1080), 1'375'000);    // 264 at 24, 275 at 25, 660 at 60
  EXPECT_EQ(Target(kWPRCodec4444XQ, 1920, 1080), 2'062'500);  // 396 at 24, 990 at 60
  EXPECT_EQ(Target(kWPRCodec4444, 720, 576), 460'000);        // 92 at 25
}

TEST(RateFrameTarget, IsListedForEveryPublishedSizeAndType) {
  struct Size {
    std::uint32_t width, height;
    std::array<std::uint64_t, std::size(kCodecTypes)> bytes;
  };
  const Size sizes[] = {
      {720, 486, {50'050, 119'791, 175'175, 260'416, 390'625, 588'087}},
      {720, 576, {60'000, 140'000, 205'000, 305'000, 460'000, 690'000}},
      {1280, 720, {93'750, 210'000, 304'166, 458'333, 687'500, 1'029'166}},
      {1440, 1080, {158'491, 362'862, 525'000, 785'000, 1'177'083, 1'765'625}},
      {1920, 1080, {187'500, 425'000, 609'375, 916'666, 1'375'000, 2'062'500}},
      {2048, 1080, {213'541, 484'375, 697'916, 1'046'875, 1'572'500, 2'357'500}},
      {3840, 2160, {755'000, 1'708'333, 2'453'125, 3'682'291, 5'525'000, 8'285'416}},
      {4096, 2160, {807'291, 1'820'833, 2'618'750, 3'927'083, 5'890'625, 8'837'500}},
  };
  for (const Size& size : sizes) {
    for (std::size_t i = 0; i < size.bytes.size(); ++i) {
      EXPECT_EQ(Target(kCodecTypes[i], size.width, size.height), size.bytes[i])
          << size.width << "x" << size.height << ", type " << i;
    }
  }
}

TEST(RateFrameTarget, ScalesBetweenAndBeyondThePublishedSizes) {
  for (const std::uint32_t codecType : kCodecTypes) {
    const std::uint64_t sd = Target(codecType, 720, 486);
    EXPECT_NEAR(static_cast<double>(Target(codecType, 720, 240)), static_cast<double>(sd) * 15 / 31,
                1.0);
    const std::uint64_t between = Target(codecType, 1280, 1080);
    EXPECT_GT(between, Target(codecType, 1280, 720));
    EXPECT_LT(between, Target(codecType, 1440, 1080));
    EXPECT_EQ(Target(codecType, 8192, 4320), 4 * Target(codecType, 4096, 2160));
  }
}

TEST(RateFrameTarget, NeverShrinksAsThePictureGrows) {
  for (const std::uint32_t codecType : kCodecTypes) {
    for (std::uint32_t height = 2; height < 5000; height += 331) {
      std::uint64_t last = 0;
      for (std::uint32_t width = 2; width < 5000; width += 7) {
        const std::uint64_t target = Target(codecType, width, height);
        ASSERT_GE(target, last) << width << "x" << height;
        last = target;
      }
    }
  }
}

TEST(RateFrameTarget, LeavesRoomForSlicesInTheSmallestFrames) {
  for (const std::uint32_t codecType : kCodecTypes) {
    for (std::uint32_t size = 2; size < 100; ++size) {
      FrameHeader header;
      header.width = header.height = static_cast<std::uint16_t>(size);
      for (const InterlaceMode mode :
           {InterlaceMode::kProgressive, InterlaceMode::kTopFieldFirst}) {
        header.interlaceMode = mode;
        EXPECT_GE(Target(codecType, size, size), OverheadBytes(header) + 16);
        EXPECT_GE(MaxFrameBytes(*FindVariant(codecType), size, size),
                  std::max(Target(codecType, size, size), OverheadBytes(header) + 256));
      }
    }
  }
}

TEST(RateFrameTarget, CountsTheOverheadOfEveryPictureAndSlice) {
  FrameHeader header;
  header.width = 1920;
  header.height = 1080;
  EXPECT_EQ(OverheadBytes(header), 28 + 8 + 1020 * (2 + 6));
  header.interlaceMode = InterlaceMode::kTopFieldFirst;
  EXPECT_EQ(OverheadBytes(header), 28 + 2 * (8 + 510 * (2 + 6)));
  header.lumaMatrix[5] = 7;
  EXPECT_EQ(OverheadBytes(header), 28 + 128 + 2 * (8 + 510 * (2 + 6)));
}

// Verifies the bound of a frame's size. Triples of run, level and sign are steps between the pairs
// of codes that they select for the next triple. Each step gains its bits and pays for its
// positions and for the energy of its level. If no walk gains without limit, the price bounds the
// bits of every component.

/// Best gain of one part of a triple, by the code that writes it and the code that it selects.
using Gains = std::map<std::pair<CodeId, CodeId>, double>;

template <std::size_t kSize, typename Gain>
Gains BestGains(const std::array<CodeId, kSize>& codes, std::uint32_t maxValue, Gain gain) {
  Gains best;
  for (const CodeId from : codes) {
    for (std::uint32_t value = 0; value <= maxValue; ++value) {
      const auto step = std::pair(from, CodeAfter(codes, value));
      const double gained = gain(CodewordOf(kCodes[from], value).length, value);
      const auto [place, isNew] = best.try_emplace(step, gained);
      if (!isNew) place->second = std::max(place->second, gained);
    }
  }
  return best;
}

/// Returns the largest gain of any sequence of triples from the start of a component, or a negative
/// value if there is no limit. A level of n steps requires an exact coefficient of n - 1/2 steps,
/// less the error of rounding to integers.
double LargestGain(double positionPrice, double energyPrice, std::uint32_t step) {
  const std::uint32_t maxLevel = 16384 / step;
  const Gains runs = BestGains(kRunCodes, 2046, [&](std::uint32_t bits, std::uint32_t run) {
    return bits - positionPrice * (run + 1);
  });
  const Gains levels =
      BestGains(kLevelCodes, maxLevel - 1, [&](std::uint32_t bits, std::uint32_t symbol) {
        const double least = symbol + 0.5 - 0.51 / step;
        return bits + 1 - energyPrice * least * least;
      });
  std::map<std::pair<CodeId, CodeId>, double> gain;  // from each pair of codes on
  for (int length = 0; length < 100; ++length) {
    bool grew = false;
    for (const auto& [run, runGain] : runs) {
      for (const auto& [level, levelGain] : levels) {
        const double through = runGain + levelGain + gain[{run.second, level.second}];
        double& best = gain[{run.first, level.first}];
        grew = grew || through > best + 1e-9;
        best = std::max(best, through);
      }
    }
    if (!grew) {
      return gain[{CodeAfter(kRunCodes, kInitialRun), CodeAfter(kLevelCodes, kInitialLevelSymbol)}];
    }
  }
  return -1;
}

/// Returns the bits of the longest DC codeword for levels of at most that magnitude.
std::uint32_t LongestDc(std::int32_t maxLevel) {
  std::uint32_t longest = CodewordOf(kCodes[kFirstDcCode], FoldSign(maxLevel)).length;
  for (const CodeId code : kDcCodes) {
    longest = std::max(longest, CodewordOf(kCodes[code], FoldSign(2 * maxLevel)).length);
  }
  return longest;
}

/// Returns the most bits per block of a component of two blocks, including the padding of the last
/// byte.
double BitsPerBlock(double positionPrice, double energyPrice, std::uint32_t step) {
  const double gain = LargestGain(positionPrice, energyPrice, step);
  EXPECT_GE(gain, 0);
  // In steps, like the square of the largest level: 64 samples that are all 4 x 512 from mid grey.
  const double energy = 64.0 * 2048 * 2048 / step / step;
  const double ac = 63 * positionPrice + energyPrice * energy;
  return LongestDc(static_cast<std::int32_t>(16384 / step)) + ac + (gain + 7) / 2;
}

TEST(RateFrameTarget, BoundsABlockBy32BytesOnTheCoarsestRung) {
  EXPECT_LT(BitsPerBlock(2.9, 0.5, 2048), 32 * 8);
}

TEST(RateFrameTarget, BoundsABlockBy172BytesWithTheFinestQuantiser) {
  EXPECT_LT(BitsPerBlock(18.4, 2.5e-6, 2), 172 * 8);
}

TEST(RateFrameTarget, FindsAWalkWithGainWhereThePriceIsTooLow) {
  EXPECT_LT(LargestGain(2.5, 0.4, 2048), 0);
}

}  // namespace
}  // namespace prores
