// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

#include "CpuLevelTest.h"
#include "GuardedMemory.h"
#include "Kernels.h"
#include "encode/SparseComponent.h"
#include "encode/rate/GridDetection.h"

namespace prores {
namespace {

constexpr GridNoise kNoise(4, 10);

/// AC coefficients of the components of a slice, with the slack that kernels may read.
class Slice {
 public:
  using Values = std::vector<std::int16_t>;

  /// Laplacian coefficients of a spread in steps.
  Slice(double spread, int step, std::mt19937& random) {
    for (Values& values : components_) {
      std::exponential_distribution<double> magnitude(1 / (spread * step));
      for (int i = 0; i < 500; ++i) {
        const double value = std::min(magnitude(random), 15'000.0);
        values.push_back(static_cast<std::int16_t>(random() % 2 == 0 ? value : -value));
      }
    }
  }

  /// Quantises, multiplies back, and adds the noise of rounded samples.
  void Code(int step, int chromaStep, double noise, std::mt19937& random) {
    std::normal_distribution<double> deviation(0, noise);
    for (unsigned c = 0; c < kComponents; ++c) {
      const int own = c == 0 ? step : chromaStep;
      for (std::int16_t& value : components_[c]) {
        const int level = static_cast<int>(std::lround(static_cast<double>(value) / own));
        value = static_cast<std::int16_t>(std::lround(level * own + deviation(random)));
      }
    }
  }

  /// Replaces one in `part` luma values.
  void Disturb(unsigned part, std::mt19937& random) {
    for (std::int16_t& value : components_[0]) {
      if (random() % part == 0) value = static_cast<std::int16_t>(random() % 400);
    }
  }

  Grid Find(const GridNoise& noise = kNoise) {
    SliceValues values;
    for (unsigned c = 0; c < kComponents; ++c) {
      components_[c].resize(500 + kSparseSlack);
      values[c] = std::span(components_[c]).first(500);
    }
    GridSearch search(noise, true);
    return search.Next(values);
  }

 private:
  std::array<Values, kComponents> components_;
};

constexpr double k10BitNoise = 1.155;  // 4 / sqrt(12)

TEST(GridDetection, FindsTheQuantiserOfADecodedSlice) {
  std::mt19937 random(1);
  for (const unsigned rung : {4U, 7U, 12U, 16U, 25U, 32U, 40U, kCoarsestPlainRung}) {
    const int step = static_cast<int>(4 * ScaleOf(rung));
    for (const unsigned quarters : {kQuarters, kLowerChroma}) {
      Slice slice(2.5, step, random);
      slice.Code(step, step * static_cast<int>(quarters) / 4, k10BitNoise, random);
      const Grid grid = slice.Find();
      EXPECT_EQ(grid.rung, rung);
      EXPECT_EQ(grid.chromaQuarters, quarters) << rung;
    }
  }
}

TEST(GridDetection, FindsItBetweenValuesOfClippedBlocks) {
  std::mt19937 random(2);
  for (const unsigned rung : {8U, 20U, 50U}) {
    const int step = static_cast<int>(4 * ScaleOf(rung));
    Slice slice(2.5, step, random);
    slice.Code(step, step, k10BitNoise, random);
    slice.Disturb(4, random);
    EXPECT_EQ(slice.Find().rung, rung);
  }
}

TEST(GridDetection, AllowsForTheNoiseOfEightBits) {
  std::mt19937 random(3);
  Slice slice(2.5, 120, random);
  slice.Code(120, 120, 4 * k10BitNoise, random);
  EXPECT_EQ(ScaleOf(slice.Find(GridNoise(4, 8)).rung), 30U);
}

TEST(GridDetection, FindsNothingInPicturesThatWereNotCoded) {
  std::mt19937 random(4);
  for (const double spread : {1.0, 5.0, 30.0, 100.0, 500.0}) {
    for (int trial = 0; trial < 200; ++trial) {
      Slice slice(spread, 4, random);
      EXPECT_EQ(slice.Find().rung, 0) << spread;
    }
  }
}

TEST(GridDetection, FindsNothingWhereAllBlocksAreAlike) {
  // A ramp: the same few coefficients everywhere.
  std::vector<std::int16_t> values(300 + kSparseSlack, 360);
  for (std::size_t i = 0; i < values.size(); i += 3) values[i] = 40;
  GridSearch search(kNoise, true);
  const auto luma = std::span<const std::int16_t>(values).first(300);
  EXPECT_EQ(search.Next({luma, luma, luma}).rung, 0);
}

TEST(GridDetection, ExaminesFewSlicesUntilOneLiesOnAGrid) {
  std::mt19937 random(5);
  std::vector<std::int16_t> plain(500 + kSparseSlack), coded(500 + kSparseSlack);
  for (std::size_t i = 0; i < plain.size(); ++i) {
    plain[i] = static_cast<std::int16_t>(random() % 1000);
    coded[i] = static_cast<std::int16_t>(random() % 10 * 96);
  }
  int measured = 0;
  static int* counter = nullptr;
  counter = &measured;
  GridSearch search(
      kNoise, false,
      [](const Quantiser& quantiser, std::span<const std::int16_t> values, int reach) {
        ++*counter;
        return MeasureDeviations(quantiser, values, reach);
      });
  const auto next = [&](const std::vector<std::int16_t>& values) {
    const auto component = std::span(values).first(500);
    return search.Next({component, component, component}).rung;
  };
  EXPECT_EQ(next(plain), 0);
  EXPECT_GT(measured, 0);
  measured = 0;
  for (int i = 0; i < 7; ++i) EXPECT_EQ(next(coded), 0);
  EXPECT_EQ(measured, 0);
  EXPECT_FALSE(search.FoundAny());
  EXPECT_EQ(ScaleOf(next(coded)), 24U);
  EXPECT_TRUE(search.FoundAny());
  EXPECT_EQ(next(plain), 0);
  EXPECT_EQ(ScaleOf(next(coded)), 24U);
}

class GridDetectionKernels : public test::CpuLevelTest {};

TEST_P(GridDetectionKernels, EqualThePlainForm) {
  const auto measure = KernelsFor(GetParam()).measureDeviations;
  std::mt19937 random(6);
  for (std::size_t count = 0; count < 100; ++count) {
    const test::GuardedMemory<std::int16_t> memory(
        count + kSparseSlack, count % 2 == 0 ? test::Guard::kInFront : test::Guard::kBehind);
    for (std::int16_t& value : memory.Values()) {
      const int magnitude = static_cast<int>(random() % (kMaxCoefficient + 1)) >> random() % 14;
      value = static_cast<std::int16_t>(random() % 2 == 0 ? magnitude : -magnitude);
    }
    const auto values = std::span<const std::int16_t>(memory.Values()).first(count);
    for (unsigned rung = 0; rung <= kCoarsestRung; rung += 5) {
      for (const unsigned quarters : {kQuarters, kLowerChroma}) {
        for (const int reach : {0, 3, 6, 24}) {
          const Quantiser& quantiser = QuantiserOf(rung, quarters, true);
          ASSERT_EQ(measure(quantiser, values, reach), MeasureDeviations(quantiser, values, reach))
              << count << " values, rung " << rung;
        }
      }
    }
  }
}

INSTANTIATE_TEST_SUITE_P(CpuLevels, GridDetectionKernels, testing::ValuesIn(kCpuLevels),
                         test::NameOfLevel);

}  // namespace
}  // namespace prores
