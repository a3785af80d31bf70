// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <random>
#include <vector>

#include "CpuLevelTest.h"
#include "GuardedMemory.h"
#include "Kernels.h"
#include "encode/ComponentEncoder.h"
#include "encode/ForwardTransform.h"
#include "encode/SparseComponent.h"
#include "encode/rate/QuantiserLadder.h"

namespace prores {
namespace {

using test::Guard;
using test::GuardedMemory;

constexpr std::size_t kBlockCounts[] = {2, 4, 8, 16, 32};

/// Result of a form of SelectCoefficients(), in exactly the required memory, next to inaccessible
/// memory.
class Selection {
 public:
  Selection(const std::vector<std::int16_t>& coefficients, std::uint16_t threshold, Guard guard,
            decltype(&SelectCoefficients) select = SelectCoefficients)
      : source_(coefficients.size(), guard),
        dcs_(coefficients.size() / 64 + kSparseSlack, guard),
        values_(coefficients.size() + kSparseSlack, guard),
        places_(coefficients.size() + kSparseSlack, guard) {
    std::ranges::copy(coefficients, source_.Values().begin());
    component.blocks = coefficients.size() / 64;
    std::copy_n(coefficients.begin(), component.blocks, dcs_.Values().begin());
    component.dcs = dcs_.Values().data();
    component.values = values_.Values().data();
    component.places = places_.Values().data();
    component.count =
        select(source_.Values(), threshold, values_.Values().data(), places_.Values().data());
  }

  bool operator==(const Selection& other) const {
    const std::size_t count = component.count;
    return count == other.component.count &&
           std::equal(component.values, component.values + count, other.component.values) &&
           std::equal(component.places, component.places + count, other.component.places);
  }

  SparseComponent component{};

 private:
  GuardedMemory<std::int16_t> source_, dcs_, values_, places_;
};

/// Compares all forms with the plain one, at the edge of accessible memory.
class ComponentEncoderKernels : public test::CpuLevelTest {
 protected:
  /// Selects, counts and writes `coefficients`, which lie at either end of their pages.
  void ExpectSame(const Quantiser& quantiser, const std::vector<std::int16_t>& coefficients) {
    const Selection all(coefficients, 1, Guard::kBehind);
    const std::size_t bytes = CountComponentBytes(quantiser, all.component);
    std::vector<std::uint8_t> expected(bytes);
    ASSERT_TRUE(WriteComponent(quantiser, all.component, expected));
    for (const Guard guard : {Guard::kInFront, Guard::kBehind}) {
      for (const unsigned part : {1U, 2U}) {
        const auto threshold = static_cast<std::uint16_t>(std::max(1U, quantiser.LeastAc() / part));
        const Selection selection(coefficients, threshold, guard, kernels_.selectCoefficients);
        const Selection plain(coefficients, threshold, guard);
        ASSERT_TRUE(selection == plain);
        ASSERT_EQ(CountComponentBytes(quantiser, plain.component), bytes);
        ASSERT_EQ(kernels_.countComponentBytes(quantiser, selection.component), bytes);
        const GuardedMemory<std::uint8_t> destination(bytes, guard);
        ASSERT_TRUE(kernels_.writeComponent(quantiser, selection.component, destination.Values()));
        ASSERT_TRUE(std::ranges::equal(destination.Values(), expected));
      }
    }
  }

  const Kernels& kernels_ = KernelsFor(GetParam());
};

/// Returns coefficients with `density` in 1024 nonzero values of all orders of magnitude up to
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

TEST_P(ComponentEncoderKernels, CodeRandomCoefficientsAsThePlainFormDoes) {
  std::mt19937 random(1);
  for (const std::size_t blocks : kBlockCounts) {
    for (const unsigned density : {0U, 1U, 5U, 30U, 100U, 300U, 700U, 1024U}) {
      for (const int largest : {8, 60, 1000, kMaxCoefficient}) {
        for (const unsigned rung : {0U, 1U, 7U, 40U, kCoarsestRung}) {
          SCOPED_TRACE(testing::Message() << blocks << " blocks, density " << density << ", up to "
                                          << largest << ", rung " << rung);
          ASSERT_NO_FATAL_FAILURE(
              ExpectSame(QuantiserOf(rung), RandomCoefficients(blocks, density, largest, random)));
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
      ASSERT_NO_FATAL_FAILURE(ExpectSame(QuantiserOf(0), coefficients)) << count;
    }
  }
}

TEST_P(ComponentEncoderKernels, CodeTheLongestCodewordsAsThePlainFormDoes) {
  for (const std::size_t blocks : kBlockCounts) {
    std::vector<std::int16_t> coefficients(64 * blocks);
    for (std::size_t i = 0; i < coefficients.size(); ++i) {
      coefficients[i] = static_cast<std::int16_t>(i % 2 == 0 ? kMaxCoefficient : -kMaxCoefficient);
    }
    ASSERT_NO_FATAL_FAILURE(ExpectSame(QuantiserOf(0), coefficients));
    // Single ones, far apart among small ones.
    for (const std::size_t distance : {3U, 17U, 40U, 500U, 2000U}) {
      for (const std::int16_t between : {std::int16_t{0}, std::int16_t{4}}) {
        std::fill(coefficients.begin(), coefficients.end(), between);
        for (std::size_t i = blocks + distance; i < coefficients.size(); i += distance) {
          coefficients[i] = -kMaxCoefficient;
        }
        ASSERT_NO_FATAL_FAILURE(ExpectSame(QuantiserOf(0), coefficients));
      }
    }
  }
}

TEST_P(ComponentEncoderKernels, CodeTheLargestLevelsOfTheFinestQuantiser) {
  std::mt19937 random(11);
  for (const int density : {1, 3}) {
    std::vector<std::int16_t> coefficients(64 * 32);
    for (std::int16_t& coefficient : coefficients) {
      const bool isHigh = random() % 2 == 0;
      coefficient = static_cast<std::int16_t>(random() % static_cast<unsigned>(density) != 0 ? 0
                                              : isHigh ? kMaxCoefficient
                                                       : -kMaxCoefficient);
    }
    // DCs of black and white, which differ as much as they can.
    for (std::size_t i = 0; i < 32; ++i) {
      coefficients[i] =
          static_cast<std::int16_t>(i % 2 == 0 ? 8 * (4095 - 2048) : -kMaxCoefficient);
    }
    ASSERT_NO_FATAL_FAILURE(ExpectSame(HalvedQuantiser(), coefficients)) << density;
  }
}

TEST_P(ComponentEncoderKernels, QuantiseEveryCoefficientByEveryStepOfTheLadder) {
  std::vector<std::int16_t> coefficients(64 * 32);
  int value = -kMaxCoefficient;
  for (unsigned rung = 0; rung <= kCoarsestRung; ++rung) {
    for (int turn = 0; turn < 2; ++turn) {
      for (std::int16_t& coefficient : coefficients) {
        coefficient = static_cast<std::int16_t>(value);
        value = value >= kMaxCoefficient - 6 ? value - 2 * kMaxCoefficient + 7 : value + 7;
      }
      for (const unsigned quarters : {kQuarters, kLowerChroma}) {
        for (const bool nearest : {false, true}) {
          ASSERT_NO_FATAL_FAILURE(ExpectSame(QuantiserOf(rung, quarters, nearest), coefficients))
              << rung;
        }
      }
    }
  }
}

TEST_P(ComponentEncoderKernels, KeepLevelsWithNeighboursAsThePlainFormDoes) {
  // Coefficients between the least and the greatest threshold of a gap, at all distances.
  std::mt19937 random(4);
  for (const std::size_t blocks : kBlockCounts) {
    for (const unsigned rung : {1U, 9U, 64U, kCoarsestRung}) {
      const Quantiser& quantiser = QuantiserOf(rung);
      for (unsigned distance = 1; distance < 40; distance += 3) {
        std::vector<std::int16_t> coefficients(64 * blocks);
        for (std::size_t i = blocks; i < coefficients.size(); i += 1 + random() % distance) {
          const unsigned least = quantiser.LeastAc() - 2U;
          const unsigned most = quantiser.LeastAc(kMaxGap) + 2U;
          coefficients[i] = static_cast<std::int16_t>(least + random() % (most - least));
        }
        ASSERT_NO_FATAL_FAILURE(ExpectSame(quantiser, coefficients)) << rung << ", " << distance;
      }
    }
  }
}

TEST_P(ComponentEncoderKernels, RejectADestinationOfAnotherSize) {
  std::mt19937 random(3);
  const Quantiser& quantiser = QuantiserOf(2);
  const Selection selection(RandomCoefficients(8, 300, 1000, random), 1, Guard::kBehind);
  const std::size_t bytes = CountComponentBytes(quantiser, selection.component);
  for (const std::size_t room : {std::size_t{0}, std::size_t{1}, bytes - 1, bytes + 1}) {
    const GuardedMemory<std::uint8_t> destination(room);
    EXPECT_FALSE(kernels_.writeComponent(quantiser, selection.component, destination.Values()))
        << room;
  }
}

INSTANTIATE_TEST_SUITE_P(CpuLevels, ComponentEncoderKernels, testing::ValuesIn(kCpuLevels),
                         test::NameOfLevel);

}  // namespace
}  // namespace prores
