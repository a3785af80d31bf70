// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <functional>
#include <random>
#include <vector>

#include "CpuLevelTest.h"
#include "GuardedMemory.h"
#include "Kernels.h"
#include "encode/rate/Activity.h"

namespace prores {
namespace {

constexpr std::size_t kLines = 16;

/// Luma of a slice, at an end of readable memory.
class Slice {
 public:
  using Sample = std::function<int(std::size_t x, std::size_t y)>;
  Slice(std::uint32_t blocks, const Sample& sample, test::Guard guard = test::Guard::kBehind,
        std::size_t margin = 0)
      : blocks_(blocks),
        stride_(blocks / 2 * 8 + margin),
        samples_(stride_ * kLines - margin, guard) {
    const auto values = samples_.Values();
    for (std::size_t i = 0; i < values.size(); ++i) {
      values[i] = static_cast<std::uint16_t>(sample(i % stride_, i / stride_));
    }
  }

  std::uint32_t Activity(decltype(&MeasureActivity) measure = MeasureActivity,
                         int shift = 0) const {
    return measure(samples_.Values().data(), stride_, blocks_, shift);
  }

  /// Returns the mean over the blocks of log2(4096 (variance + 471)).
  double Exact() const {
    double sum = 0;
    for (std::size_t block = 0; block < blocks_; ++block) {
      const std::size_t left = block / 2 * 8, top = block % 2 * 8;
      double mean = 0, squares = 0;
      for (std::size_t i = 0; i < 64; ++i) {
        const double sample = samples_.Values()[(top + i / 8) * stride_ + left + i % 8];
        mean += sample / 64;
        squares += sample * sample / 64;
      }
      sum += std::log2(4096 * (squares - mean * mean + 471));
    }
    return sum / blocks_;
  }

 private:
  std::uint32_t blocks_;
  std::size_t stride_;
  test::GuardedMemory<std::uint16_t> samples_;
};

/// Noise around mid-grey of 10 bits and `moreBits` others.
Slice::Sample Noise(unsigned spread, int moreBits = 0) {
  return [spread, moreBits, random = std::mt19937(spread)](std::size_t, std::size_t) mutable {
    const unsigned range = 2 * spread << moreBits;
    return static_cast<int>(((512 - spread) << moreBits) + random() % range);
  };
}

int BlackAndWhite(std::size_t x, std::size_t) {
  return x % 8 < 4 ? 0 : 1023;
}

TEST(Activity, IsTheMeanLogarithmOfTheBlocksVariances) {
  for (const std::uint32_t blocks : {4U, 8U, 16U, 32U}) {
    for (const unsigned spread : {1U, 5U, 30U, 200U, 511U}) {
      const Slice slice(blocks, Noise(spread));
      // Linear between powers of two: 0.086 too low at most.
      const double measured = slice.Activity() / 4096.0 - 127;
      EXPECT_LE(measured, slice.Exact() + 0.001) << spread;
      EXPECT_GE(measured, slice.Exact() - 0.088) << spread;
    }
  }
}

TEST(Activity, MakesQuietSlicesFinerByUpToTwoThirdsOfAnOctave) {
  const Slice flat(32, [](std::size_t, std::size_t) { return 700; });
  const Slice busiest(32, BlackAndWhite);
  EXPECT_EQ(FinerBy(busiest.Activity()), 0);
  EXPECT_NEAR(FinerBy(flat.Activity()), 0.075 * 4096 * std::log2((262144 + 471) / 471.0), 30);
  int last = kMaxFinerBy + 1;
  for (const unsigned spread : {1U, 10U, 40U, 100U, 250U, 511U}) {
    const int finerBy = FinerBy(Slice(32, Noise(spread)).Activity());
    EXPECT_LT(finerBy, last) << spread;
    last = finerBy;
  }
}

TEST(Activity, IgnoresTheBitsBeyondTen) {
  std::mt19937 random(7);
  const Slice ten(32, Noise(100));
  const Slice twelve(32, [&, noise = Noise(100)](std::size_t x, std::size_t y) {
    return noise(x, y) * 4 + static_cast<int>(random() % 4);
  });
  EXPECT_EQ(twelve.Activity(MeasureActivity, 2), ten.Activity());
}

class ActivityKernels : public test::CpuLevelTest {
 protected:
  void ExpectPlainActivity(std::uint32_t blocks, const Slice::Sample& sample, int shift) const {
    for (const test::Guard guard : {test::Guard::kInFront, test::Guard::kBehind}) {
      for (const std::size_t margin : {0U, 1U, 5U, 16U}) {
        const Slice slice(blocks, sample, guard, margin);
        EXPECT_EQ(slice.Activity(KernelsFor(GetParam()).measureActivity, shift),
                  slice.Activity(MeasureActivity, shift))
            << blocks << " blocks, shift " << shift;
      }
    }
  }
};

TEST_P(ActivityKernels, EqualThePlainForm) {
  for (const std::uint32_t blocks : {4U, 8U, 16U, 32U}) {
    for (const unsigned spread : {1U, 2U, 17U, 100U, 512U}) {
      ExpectPlainActivity(blocks, Noise(spread), 0);
      ExpectPlainActivity(blocks, Noise(spread, 2), 2);
    }
    for (const int shift : {0, 2}) {
      const int white = (1024 << shift) - 1;
      ExpectPlainActivity(blocks, BlackAndWhite, shift);
      ExpectPlainActivity(
          blocks, [=](std::size_t, std::size_t) { return white; }, shift);
      ExpectPlainActivity(
          blocks,
          [=](std::size_t x, std::size_t y) { return static_cast<int>((x + y) % 2) * white; },
          shift);
    }
  }
}

INSTANTIATE_TEST_SUITE_P(CpuLevels, ActivityKernels, testing::ValuesIn(kCpuLevels),
                         test::NameOfLevel);

}  // namespace
}  // namespace prores
