// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <functional>
#include <random>
#include <vector>

#include "CpuLevelTest.h"
#include "GuardedMemory.h"
#include "Kernels.h"

namespace prores {
namespace {

using test::Guard;
using test::GuardedMemory;

/// Values that InverseTransform() may read after the coefficients.
constexpr std::size_t kReadableBehind = 2;

struct Case {
  std::uint32_t blocks;
  unsigned component;
  std::uint32_t positions;
  unsigned quantizerScale;
  std::size_t margin;  // samples between the lines
  Guard guard = Guard::kBehind;
};

class InverseTransformKernels : public test::CpuLevelTest {
 protected:
  /// Compares this level with the plain form. Samples and coefficients lie next to inaccessible
  /// memory.
  void ExpectPlainSamples(const Case& tried, const InversePlan& plan,
                          const std::function<std::int16_t()>& nextCoefficient) {
    const std::size_t width = std::size_t{kBlockSize} * tried.blocks / 2;
    const std::size_t stride = width + tried.margin;
    const std::size_t size = 15 * stride + width;
    const GuardedMemory<std::int16_t> coefficients(64 * tried.blocks + kReadableBehind,
                                                   tried.guard);
    std::ranges::generate(coefficients.Values().first(tried.positions * tried.blocks),
                          nextCoefficient);
    std::ranges::fill(coefficients.Values().last(kReadableBehind), 77);
    const GuardedMemory<std::uint16_t> samples(size, tried.guard);
    const GuardedMemory<std::uint16_t> expected(size);
    std::ranges::fill(samples.Values(), 0xEEEE);
    std::ranges::fill(expected.Values(), 0xEEEE);

    InverseTransform(coefficients.Values().data(), tried.blocks, tried.positions, plan,
                     tried.quantizerScale, tried.component, {expected.Values().data(), stride});
    KernelsFor(GetParam())
        .inverseTransform(coefficients.Values().data(), tried.blocks, tried.positions, plan,
                          tried.quantizerScale, tried.component, {samples.Values().data(), stride});
    ASSERT_TRUE(std::ranges::equal(samples.Values(), expected.Values()))
        << tried.blocks << " blocks, component " << tried.component << ", " << tried.positions
        << " positions";
  }

  template <typename Visit>
  void ForEachShape(Visit visit) {
    for (const unsigned component : {0u, 1u, 2u}) {
      for (std::uint32_t blocks = component == 0 ? 4 : 2; blocks <= 32; blocks *= 2) {
        visit(component, blocks);
      }
    }
  }

  unsigned Below(unsigned limit) { return static_cast<unsigned>(random_() % limit); }

  std::mt19937 random_{1};
};

QuantMatrix RandomMatrix(std::mt19937& random, unsigned highest) {
  QuantMatrix matrix;
  for (auto& weight : matrix) weight = static_cast<std::uint8_t>(2 + random() % (highest - 1));
  return matrix;
}

TEST_P(InverseTransformKernels, EqualThePlainFormForEveryNumberOfPositions) {
  for (const ScanTable* scan : {&kProgressiveScan, &kInterlacedScan}) {
    for (const SampleDepth& depth : {k8Bits, k10Bits, k12Bits}) {
      const InversePlan plan = MakeInversePlan(RandomMatrix(random_, 63), *scan, depth);
      ForEachShape([&](unsigned component, std::uint32_t blocks) {
        for (std::uint32_t positions = 1; positions <= 64; ++positions) {
          const int range = static_cast<int>(1 + Below(200));
          const Guard guard = positions % 2 == 0 ? Guard::kInFront : Guard::kBehind;
          const Case tried{blocks, component, positions, 1 + Below(8), Below(9), guard};
          ExpectPlainSamples(tried, plan, [&] {
            const int value = static_cast<int>(random_()) % range;
            return static_cast<std::int16_t>(value);
          });
        }
      });
    }
  }
}

TEST_P(InverseTransformKernels, EqualThePlainFormWhereValuesAreExtreme) {
  constexpr std::int16_t kExtremes[] = {-32768, -32767, -1, 0, 1, 32767};
  for (const SampleDepth& depth : {k10Bits, k12Bits}) {
    const InversePlan plan = MakeInversePlan(RandomMatrix(random_, 255), kProgressiveScan, depth);
    ForEachShape([&](unsigned component, std::uint32_t blocks) {
      for (const std::uint32_t positions : {1u, 2u, 16u, 32u, 64u}) {
        for (int repetition = 0; repetition < 10; ++repetition) {
          const Guard guard = repetition % 2 == 0 ? Guard::kInFront : Guard::kBehind;
          ExpectPlainSamples({blocks, component, positions, 512, 0, guard}, plan,
                             [&] { return kExtremes[Below(std::size(kExtremes))]; });
        }
      }
    });
  }
}

// Sums on or next to the boundary between two samples.
TEST_P(InverseTransformKernels, EqualThePlainFormOnTies) {
  QuantMatrix matrix;
  matrix.fill(4);
  const InversePlan plan = MakeInversePlan(matrix, kProgressiveScan, k10Bits);
  for (std::int16_t dc = -2100; dc <= 2100; ++dc) {
    std::size_t index = 0;
    ExpectPlainSamples({2, 1, 3, 1, 0}, plan,
                       [&] { return static_cast<std::int16_t>(index++ < 2 ? dc : dc % 3); });
  }
}

INSTANTIATE_TEST_SUITE_P(Levels, InverseTransformKernels, testing::ValuesIn(kCpuLevels),
                         [](const auto& level) { return NameOf(level.param); });

}  // namespace
}  // namespace prores
