// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "ReferenceCodec.h"
#include "bitstream/BlockOrder.h"
#include "encode/ForwardTransform.h"

namespace prores {
namespace {

constexpr unsigned kComponent = 1;
constexpr std::size_t kStride = std::size_t{kMaxSliceBlocks} / 2 * kBlockSize + 3;

/// Samples of a component.
struct Samples {
  std::vector<std::uint16_t> values = std::vector<std::uint16_t>(16 * kStride);

  const std::uint16_t* Block(std::uint32_t block) const {
    const BlockPosition position = PositionOfBlock(kComponent, block);
    return values.data() + position.y * kStride + position.x;
  }
};

/// Returns four times the orthonormal transform of the samples less mid-grey, in code values of 10
/// bits, in double precision, raster order.
std::array<double, 64> ExactTransform(const std::uint16_t* block, int bits = 10) {
  std::array<double, 64> samples{};
  for (std::size_t i = 0; i < 64; ++i) {
    const std::size_t line = i / 8;
    samples[i] = 4 * (block[line * kStride + i % 8] * std::exp2(10 - bits) - 512.0);
  }
  return reference::ForwardDct(samples);
}

std::vector<std::int16_t> Transform(const Samples& samples, std::uint32_t blocks,
                                    const PositionTable& positions,
                                    const QuantMatrix& weights = kDefaultQuantMatrix,
                                    int bits = 10) {
  std::vector<std::int16_t> coefficients(std::size_t{64} * blocks);
  ForwardTransform(samples.values.data(), kStride, blocks, kComponent,
                   MakeForwardPlan(weights, positions, bits), coefficients.data());
  return coefficients;
}

double LargestError(const Samples& samples, std::uint32_t blocks, const ScanTable& scan,
                    int bits = 10) {
  const std::vector<std::int16_t> coefficients =
      Transform(samples, blocks, PositionsIn(scan), kDefaultQuantMatrix, bits);
  double largest = 0;
  for (std::uint32_t block = 0; block < blocks; ++block) {
    const std::array<double, 64> exact = ExactTransform(samples.Block(block), bits);
    for (std::size_t position = 0; position < 64; ++position) {
      const double coefficient = coefficients[position * blocks + block];
      largest = std::max(largest, std::abs(coefficient - exact[scan[position]]));
    }
  }
  return largest;
}

TEST(ForwardTransform, IsTheRoundedExactTransformForEveryBlockCountAndScan) {
  std::mt19937 random(1);
  for (const ScanTable* scan : {&kProgressiveScan, &kInterlacedScan}) {
    for (const std::uint32_t blocks : {2U, 4U, 8U, 16U, 32U}) {
      Samples samples;
      for (std::uint16_t& value : samples.values) {
        value = static_cast<std::uint16_t>(random() % 1024);
      }
      EXPECT_LT(LargestError(samples, blocks, *scan), 0.505) << blocks;
    }
  }
}

TEST(ForwardTransform, IsTheRoundedExactTransformOfTwelveBits) {
  std::mt19937 random(4);
  for (int repetition = 0; repetition < 20; ++repetition) {
    Samples samples;
    for (std::uint16_t& value : samples.values) {
      value =
          static_cast<std::uint16_t>(repetition % 2 == 0 ? random() % 4096 : random() % 2 * 4095);
    }
    EXPECT_LT(LargestError(samples, 32, kProgressiveScan, 12), 0.505);
  }
}

/// Errors against the exact transform before rounding, of samples around mid-grey.
struct Accuracy {
  double peak = 0;
  double worstMean = 0;   ///< of a frequency
  double misrounded = 0;  ///< share of coefficients that are not the nearest integer
};

Accuracy Measure(int bits, int spread) {
  constexpr int kRepetitions = 300;
  constexpr double kTie = 1e-5;  // the exact transform has errors, too
  constexpr std::uint32_t kBlocks = 32;
  std::mt19937 random(5);
  Accuracy accuracy;
  std::array<double, 64> sums{};
  for (int repetition = 0; repetition < kRepetitions; ++repetition) {
    Samples samples;
    for (std::uint16_t& value : samples.values) {
      const int deviation = static_cast<int>(random() % static_cast<unsigned>(2 * spread)) - spread;
      const int sample = (1 << (bits - 1)) + deviation;
      value = static_cast<std::uint16_t>(std::clamp(sample, 0, (1 << bits) - 1));
    }
    const auto coefficients =
        Transform(samples, kBlocks, kProgressivePositions, kDefaultQuantMatrix, bits);
    for (std::uint32_t block = 0; block < kBlocks; ++block) {
      const std::array<double, 64> exact = ExactTransform(samples.Block(block), bits);
      for (std::size_t position = 0; position < 64; ++position) {
        const double error =
            coefficients[position * kBlocks + block] - exact[kProgressiveScan[position]];
        accuracy.peak = std::max(accuracy.peak, std::abs(error));
        if (std::abs(error) > 0.5 + kTie) ++accuracy.misrounded;
        sums[position] += error;
      }
    }
  }
  constexpr double kCount = double{kRepetitions} * kBlocks;
  for (const double sum : sums) {
    accuracy.worstMean = std::max(accuracy.worstMean, std::abs(sum) / kCount);
  }
  accuracy.misrounded /= kCount * 64;
  return accuracy;
}

/// `--gtest_output=json:FILE` reports the figures.
TEST(ForwardTransform, IsAccurateForTheRangesOfIeee1180) {
  for (const int bits : {10, 12}) {
    for (const int spread : {5, 256, 300}) {
      const Accuracy accuracy = Measure(bits, spread << (bits - 9));
      const std::string name = "bits" + std::to_string(bits) + "_range" + std::to_string(spread);
      EXPECT_LT(accuracy.peak, 0.505) << name;
      EXPECT_LT(accuracy.misrounded, 0.0005) << name;
      EXPECT_LT(accuracy.worstMean, 0.015) << name;
      std::ostringstream figures;
      figures << accuracy.peak << ' ' << accuracy.misrounded << ' ' << accuracy.worstMean;
      RecordProperty(name, figures.str());
    }
  }
}

TEST(ForwardTransform, CodesEveryFlatLevelOfTwelveBitsExactly) {
  for (int level = 0; level < 4096; ++level) {
    Samples samples;
    std::fill(samples.values.begin(), samples.values.end(), static_cast<std::uint16_t>(level));
    const auto coefficients = Transform(samples, 2, kProgressivePositions, kDefaultQuantMatrix, 12);
    ASSERT_EQ(coefficients[0], 8 * (level - 2048));
    ASSERT_TRUE(std::all_of(coefficients.begin() + 2, coefficients.end(),
                            [](std::int16_t ac) { return ac == 0; }));
  }
}

TEST(ForwardTransform, DividesByTheWeights) {
  std::mt19937 random(3);
  Samples samples;
  for (std::uint16_t& value : samples.values) value = static_cast<std::uint16_t>(random() % 1024);
  QuantMatrix weights{};
  for (std::size_t i = 0; i < 64; ++i) weights[i] = static_cast<std::uint8_t>(63 - i * 59 / 63);
  for (const ScanTable* scan : {&kProgressiveScan, &kInterlacedScan}) {
    const auto coefficients = Transform(samples, 2, PositionsIn(*scan), weights);
    for (std::uint32_t block = 0; block < 2; ++block) {
      const std::array<double, 64> exact = ExactTransform(samples.Block(block));
      for (std::size_t position = 0; position < 64; ++position) {
        const std::size_t i = (*scan)[position];
        EXPECT_NEAR(coefficients[position * 2 + block], exact[i] * 4 / weights[i], 0.505) << i;
      }
    }
  }
}

TEST(ForwardTransform, IsCorrectForBlocksOfExtremeSamples) {
  std::mt19937 random(2);
  for (int repetition = 0; repetition < 50; ++repetition) {
    Samples samples;
    for (std::uint16_t& value : samples.values) value = random() % 2 == 0 ? 0 : 1023;
    EXPECT_LT(LargestError(samples, 32, kProgressiveScan), 0.505);
  }
}

TEST(ForwardTransform, CodesAFlatBlockAsItsDcAlone) {
  for (const int level : {0, 1, 511, 512, 513, 1023}) {
    Samples samples;
    std::fill(samples.values.begin(), samples.values.end(), static_cast<std::uint16_t>(level));
    std::vector<std::int16_t> expected(64 * 4);
    std::fill_n(expected.begin(), 4, static_cast<std::int16_t>(32 * (level - 512)));
    EXPECT_EQ(Transform(samples, 4, kProgressivePositions), expected) << level;
  }
}

TEST(ForwardTransform, NeverExceedsItsLargestCoefficient) {
  // A block with the signs of a basis function maximises its coefficient.
  for (std::size_t frequency = 0; frequency < 64; ++frequency) {
    std::array<double, 64> coefficients{};
    coefficients[frequency] = 1;
    const std::array<double, 64> basis = reference::InverseDct(coefficients);
    Samples samples;
    for (std::size_t i = 0; i < 64; ++i) {
      samples.values[i / 8 * kStride + i % 8] = basis[i] > 0 ? 0 : 1023;
    }
    for (const std::int16_t coefficient : Transform(samples, 2, kProgressivePositions)) {
      EXPECT_LE(std::abs(coefficient), kMaxCoefficient);
    }
  }
}

}  // namespace
}  // namespace prores
