// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

#include "ReferenceCodec.h"
#include "decode/InverseTransform.h"

namespace prores {
namespace {

constexpr std::uint32_t kBlocks = 32;
constexpr std::size_t kStride = 64 * 2;

using Block = std::array<int, 64>;

/// The random generator of IEEE 1180, for values from -low to high.
class Ieee1180Random {
 public:
  int Next(int low, int high) {
    state_ = state_ * 1103515245u + 12345u;
    const double x = static_cast<double>(state_ & 0x7FFFFFFEu) / 0x7FFFFFFF;
    return static_cast<int>(x * (low + high + 1)) - low;
  }

 private:
  std::uint32_t state_ = 1;
};

/// Does the inverse transform alone: weights and scale cancel. Samples of 9 bits, the depth of
/// IEEE 1180, are -256 to 255; each further bit doubles them.
std::vector<Block> Inverse(const std::vector<Block>& blocks, int bits = 9) {
  const int levelShift = 1 << (bits - 1);
  const SampleDepth depth{bits, std::ldexp(1.0F, bits - 9), static_cast<float>(levelShift) + 0.5F,
                          0.0F, static_cast<float>(2 * levelShift - 1)};
  QuantMatrix eight;
  eight.fill(8);
  const InversePlan plan = MakeInversePlan(eight, kProgressiveScan, depth);
  std::vector<std::int16_t> coefficients(std::size_t{64} * kBlocks);
  for (std::size_t s = 0; s < 64; ++s) {
    for (std::size_t b = 0; b < kBlocks; ++b) {
      coefficients[s * kBlocks + b] = static_cast<std::int16_t>(blocks[b][kProgressiveScan[s]]);
    }
  }
  std::vector<std::uint16_t> samples(kStride * 16);
  InverseTransform(coefficients.data(), kBlocks, 64, plan, 1, 0, {samples.data(), kStride});
  std::vector<Block> result(kBlocks);
  for (std::uint32_t b = 0; b < kBlocks; ++b) {
    const BlockPosition at = PositionOfBlock(0, b);
    for (std::size_t i = 0; i < 64; ++i) {
      result[b][i] = samples[(at.y + i / 8) * kStride + at.x + i % 8] - levelShift;
    }
  }
  return result;
}

Block RoundedForward(const Block& samples) {
  std::array<double, 64> values;
  std::ranges::copy(samples, values.begin());
  const auto transformed = reference::ForwardDct(values);
  Block rounded;
  for (std::size_t i = 0; i < 64; ++i) {
    rounded[i] = std::clamp(static_cast<int>(std::lround(transformed[i])), -2048, 2047);
  }
  return rounded;
}

Block RoundedInverse(const Block& coefficients, int bits) {
  std::array<double, 64> values;
  std::ranges::copy(coefficients, values.begin());
  const auto samples = reference::InverseDct(values);
  Block rounded;
  for (std::size_t i = 0; i < 64; ++i) {
    const double sample = std::ldexp(samples[i], bits - 9);
    const int levels = 1 << (bits - 1);
    rounded[i] = std::clamp(static_cast<int>(std::floor(sample + 0.5)), -levels, levels - 1);
  }
  return rounded;
}

struct Errors {
  int count = 0;
  int peak = 0;
  std::array<double, 64> sum{};
  std::array<double, 64> squares{};

  void Add(const Block& ours, const Block& exact) {
    ++count;
    for (std::size_t i = 0; i < 64; ++i) {
      const int error = ours[i] - exact[i];
      peak = std::max(peak, std::abs(error));
      sum[i] += error;
      squares[i] += error * error;
    }
  }
};

/// The measures of IEEE 1180.
struct Accuracy {
  int peak = 0;
  double worstMeanSquare = 0;
  double worstMean = 0;
  double meanSquare = 0;
  double mean = 0;

  explicit Accuracy(const Errors& errors) : peak(errors.peak) {
    for (std::size_t i = 0; i < 64; ++i) {
      const double squares = errors.squares[i] / errors.count, sum = errors.sum[i] / errors.count;
      worstMeanSquare = std::max(worstMeanSquare, squares);
      worstMean = std::max(worstMean, std::abs(sum));
      meanSquare += squares / 64;
      mean += sum / 64;
    }
  }
};

Accuracy Measure(int bits, int low, int high, int sign) {
  Ieee1180Random random;
  Errors errors;
  while (errors.count < 10000) {
    std::vector<Block> blocks(kBlocks);
    for (Block& block : blocks) {
      Block samples;
      for (int& sample : samples) sample = sign * random.Next(low, high);
      block = RoundedForward(samples);
    }
    const auto ours = Inverse(blocks, bits);
    for (std::size_t b = 0; b < kBlocks; ++b) errors.Add(ours[b], RoundedInverse(blocks[b], bits));
  }
  return Accuracy(errors);
}

/// The limits hold at every depth. `--gtest_output=json:FILE` reports the figures.
TEST(InverseTransform, MeetsIeee1180) {
  struct Range {
    int low;
    int high;
  };
  for (const int bits : {9, 10, 12}) {
    for (const Range& range : {Range{256, 255}, Range{5, 5}, Range{300, 300}}) {
      for (const int sign : {1, -1}) {
        const std::string name = "bits" + std::to_string(bits) + "_range" +
                                 std::to_string(range.low) + (sign < 0 ? "_negated" : "");
        SCOPED_TRACE(name);
        const Accuracy accuracy = Measure(bits, range.low, range.high, sign);
        EXPECT_LE(accuracy.peak, 1);
        EXPECT_LE(accuracy.worstMeanSquare, 0.06);
        EXPECT_LE(accuracy.worstMean, 0.015);
        EXPECT_LE(accuracy.meanSquare, 0.02);
        EXPECT_LE(std::abs(accuracy.mean), 0.0015);
        std::ostringstream figures;
        figures << accuracy.peak << ' ' << accuracy.worstMeanSquare << ' ' << accuracy.worstMean
                << ' ' << accuracy.meanSquare << ' ' << accuracy.mean;
        RecordProperty(name, figures.str());
      }
    }
  }
}

TEST(InverseTransform, MapsZerosToZeros) {
  for (const Block& block : Inverse(std::vector<Block>(kBlocks, Block{}))) {
    EXPECT_EQ(block, Block{});
  }
}

TEST(InverseTransform, IsExactForFlatBlocks) {
  for (int dc = -2048; dc < 2016; dc += static_cast<int>(kBlocks)) {
    std::vector<Block> blocks(kBlocks);
    for (std::size_t b = 0; b < kBlocks; ++b) blocks[b][0] = dc + static_cast<int>(b);
    const auto ours = Inverse(blocks);
    for (std::size_t b = 0; b < kBlocks; ++b) {
      Block expected;
      expected.fill(static_cast<int>(std::floor(blocks[b][0] / 8.0 + 0.5)));
      EXPECT_EQ(ours[b], expected);
    }
  }
}

TEST(InverseTransform, PutsEveryBlockCountInItsPlace) {
  const QuantMatrix flat = kDefaultQuantMatrix;
  for (const unsigned component : {0u, 1u}) {
    for (std::uint32_t blocks = component == 0 ? 4 : 2; blocks <= 32; blocks *= 2) {
      std::vector<std::int16_t> coefficients(std::size_t{64} * blocks);
      for (std::uint32_t b = 0; b < blocks; ++b) {
        coefficients[b] = static_cast<std::int16_t>(8 * (b + 1));
      }
      const std::size_t stride = 8 * blocks / 2 + 3;
      std::vector<std::uint16_t> samples(stride * 16, 7);
      InverseTransform(coefficients.data(), blocks, 64,
                       MakeInversePlan(flat, kProgressiveScan, k10Bits), 1, component,
                       {samples.data(), stride});
      for (std::uint32_t b = 0; b < blocks; ++b) {
        const BlockPosition at = PositionOfBlock(component, b);
        for (std::size_t i = 0; i < 64; ++i) {
          ASSERT_EQ(samples[(at.y + i / 8) * stride + at.x + i % 8], 512 + b + 1);
        }
      }
      for (std::size_t y = 0; y < 16; ++y) {
        for (std::size_t x = stride - 3; x < stride; ++x) EXPECT_EQ(samples[y * stride + x], 7);
      }
    }
  }
}

TEST(InverseTransform, ClampsExcessiveCoefficients) {
  QuantMatrix heavy;
  heavy.fill(255);
  for (const SampleDepth& depth : {k8Bits, k10Bits}) {
    for (const std::int16_t value : {std::int16_t{-32768}, std::int16_t{32767}}) {
      const std::vector<std::int16_t> coefficients(std::size_t{64} * 2, value);
      std::vector<std::uint16_t> samples(8 * 16);
      InverseTransform(coefficients.data(), 2, 64, MakeInversePlan(heavy, kInterlacedScan, depth),
                       512, 1, {samples.data(), 8});
      for (const int sample : samples) {
        EXPECT_TRUE(sample >= static_cast<int>(depth.lowest) &&
                    sample <= static_cast<int>(depth.highest));
      }
      EXPECT_EQ(samples[0], static_cast<int>(value < 0 ? depth.lowest : depth.highest));
    }
  }
}

}  // namespace
}  // namespace prores
