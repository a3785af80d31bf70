// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <random>
#include <vector>

#include "GuardedMemory.h"
#include "cpu/Kernels.h"
#include "entropy/ComponentEncoder.h"
#include "rate/QuantiserLadder.h"
#include "transform/ForwardTransform.h"

namespace prores {
namespace {

using test::Guard;
using test::GuardedMemory;

constexpr std::size_t kBlockCounts[] = {2, 4, 8, 16, 32};

/// All forms against the plain one, at the edge of the memory that they may touch.
class ComponentEncoderKernels : public testing::TestWithParam<CpuLevel> {
 protected:
  void SetUp() override {
    if (GetParam() > DetectCpuLevel()) GTEST_SKIP() << "not on this processor";
  }

  /// Counts and writes `coefficients`, which lie at either end of their pages.
  void ExpectSame(const Quantiser& quantiser, const std::vector<std::int16_t>& coefficients) {
    const std::size_t bytes = CountComponentBytes(quantiser, coefficients);
    std::vector<std::uint8_t> expected(bytes);
    ASSERT_TRUE(WriteComponent(quantiser, coefficients, expected));
    for (const Guard guard : {Guard::kInFront, Guard::kBehind}) {
      const GuardedMemory<std::int16_t> source(coefficients.size(), guard);
      std::ranges::copy(coefficients, source.Values().begin());
      ASSERT_EQ(kernels_.countComponentBytes(quantiser, source.Values()), bytes);
      const GuardedMemory<std::uint8_t> destination(bytes, guard);
      ASSERT_TRUE(kernels_.writeComponent(quantiser, source.Values(), destination.Values()));
      ASSERT_TRUE(std::ranges::equal(destination.Values(), expected));
    }
  }

  const Kernels& kernels_ = KernelsFor(GetParam());
};

/// Coefficients of which `density` in 1024 are not zero, with magnitudes of all orders up to
/// `largest`.
std::vector<std::int16_t> RandomCoefficients(std::size_t blocks, unsigned density, int largest,
                                             std::mt19937& random) {
  std::vector<std::int16_t> coefficients(64 * blocks);
  for (std::int16_t& coefficient : coefficients) {
    if (random() % 1024 >= density) continue;
    const int limit = std::max(1, largest >> random() % 15);
    const int magnitude = static_cast<int>(random() % static_cast<unsigned>(limit)) + 1;
    coefficient = static_cast<std::int16_t>(random() % 2 == 0 ? magnitude : -magnitude);
  }
  return coefficients;
}

const QuantiserLadder& FlatLadder() {
  static const QuantiserLadder ladder = [] {
    QuantiserLadder made;
    made.Prepare(FrameHeader());
    return made;
  }();
  return ladder;
}

TEST_P(ComponentEncoderKernels, CodeRandomCoefficientsAsThePlainFormDoes) {
  std::mt19937 random(1);
  for (const std::size_t blocks : kBlockCounts) {
    for (const unsigned density : {0U, 1U, 5U, 30U, 100U, 300U, 700U, 1024U}) {
      for (const int largest : {8, 60, 1000, kMaxCoefficient}) {
        for (const unsigned rung : {0U, 1U, 7U, 100U, kCoarsestRung}) {
          SCOPED_TRACE(testing::Message() << blocks << " blocks, density " << density << ", up to "
                                          << largest << ", rung " << rung);
          ASSERT_NO_FATAL_FAILURE(ExpectSame(FlatLadder()[rung].luma,
                                             RandomCoefficients(blocks, density, largest, random)));
        }
      }
    }
  }
}

TEST_P(ComponentEncoderKernels, CodeEveryCountOfLevelsAsThePlainFormDoes) {
  for (const std::size_t blocks : kBlockCounts) {
    for (std::size_t count = 0; count <= std::min<std::size_t>(63 * blocks, 140); ++count) {
      std::vector<std::int16_t> coefficients(64 * blocks);
      std::fill_n(coefficients.end() - static_cast<std::ptrdiff_t>(count), count, 4);
      ASSERT_NO_FATAL_FAILURE(ExpectSame(FlatLadder()[0].luma, coefficients)) << count;
    }
  }
}

TEST_P(ComponentEncoderKernels, CodeTheLongestCodewordsAsThePlainFormDoes) {
  for (const std::size_t blocks : kBlockCounts) {
    std::vector<std::int16_t> coefficients(64 * blocks);
    for (std::size_t i = 0; i < coefficients.size(); ++i) {
      coefficients[i] = static_cast<std::int16_t>(i % 2 == 0 ? kMaxCoefficient : -kMaxCoefficient);
    }
    ASSERT_NO_FATAL_FAILURE(ExpectSame(FlatLadder()[0].luma, coefficients));
    // Far apart, singly among small ones.
    for (const std::size_t distance : {3U, 17U, 40U, 500U, 2000U}) {
      for (const std::int16_t between : {std::int16_t{0}, std::int16_t{4}}) {
        std::fill(coefficients.begin(), coefficients.end(), between);
        for (std::size_t i = blocks + distance; i < coefficients.size(); i += distance) {
          coefficients[i] = -kMaxCoefficient;
        }
        ASSERT_NO_FATAL_FAILURE(ExpectSame(FlatLadder()[0].luma, coefficients));
      }
    }
  }
}

TEST_P(ComponentEncoderKernels, QuantiseEveryCoefficientByEveryStepOfTheLadder) {
  std::vector<std::int16_t> coefficients(64 * 32);
  int value = -kMaxCoefficient;
  for (unsigned rung = 0; rung <= kCoarsestRung; ++rung) {
    for (int turn = 0; turn < 3; ++turn) {
      for (std::int16_t& coefficient : coefficients) {
        coefficient = static_cast<std::int16_t>(value);
        value = value >= kMaxCoefficient - 6 ? value - 2 * kMaxCoefficient + 7 : value + 7;
      }
      ASSERT_NO_FATAL_FAILURE(ExpectSame(FlatLadder()[rung].chroma, coefficients)) << rung;
    }
  }
}

TEST_P(ComponentEncoderKernels, TakeTheStepOfEachScanPosition) {
  std::mt19937 random(2);
  FrameHeader header;
  for (std::uint8_t& weight : header.lumaMatrix) {
    weight = static_cast<std::uint8_t>(4 + random() % 60);
  }
  for (const InterlaceMode mode : {InterlaceMode::kProgressive, InterlaceMode::kTopFieldFirst}) {
    header.interlaceMode = mode;
    QuantiserLadder ladder;
    ladder.Prepare(header);
    for (const std::size_t blocks : kBlockCounts) {
      for (const unsigned rung : {0U, 3U, 50U, 200U}) {
        ASSERT_NO_FATAL_FAILURE(ExpectSame(
            ladder[rung].luma, RandomCoefficients(blocks, 1024, kMaxCoefficient, random)));
      }
    }
  }
}

TEST_P(ComponentEncoderKernels, RefuseADestinationOfAnotherSize) {
  std::mt19937 random(3);
  const Quantiser& quantiser = FlatLadder()[2].luma;
  const std::vector<std::int16_t> coefficients = RandomCoefficients(8, 300, 1000, random);
  const std::size_t bytes = CountComponentBytes(quantiser, coefficients);
  for (const std::size_t room : {std::size_t{0}, std::size_t{1}, bytes - 1, bytes + 1}) {
    const GuardedMemory<std::uint8_t> destination(room);
    EXPECT_FALSE(kernels_.writeComponent(quantiser, coefficients, destination.Values())) << room;
  }
}

INSTANTIATE_TEST_SUITE_P(CpuLevels, ComponentEncoderKernels, testing::ValuesIn(kCpuLevels),
                         [](const testing::TestParamInfo<CpuLevel>& level) {
                           return NameOf(level.param);
                         });

}  // namespace
}  // namespace prores
