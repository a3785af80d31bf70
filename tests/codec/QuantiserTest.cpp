// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>

#include "bitstream/SliceHeader.h"
#include "encode/ForwardTransform.h"
#include "encode/Quantiser.h"
#include "encode/rate/QuantiserLadder.h"

namespace prores {
namespace {

/// Returns floor(|coefficient| / step + offset / 64) with the sign of the coefficient.
int ExactLevel(int coefficient, int step, int offset) {
  const int magnitude = (std::abs(coefficient) * 64 + offset * step) / (64 * step);
  return coefficient < 0 ? -magnitude : magnitude;
}

void ExpectExact(const Quantiser& quantiser, int step, const LevelRule& rule) {
  for (int coefficient = -kMaxCoefficient; coefficient <= kMaxCoefficient; ++coefficient) {
    const auto value = static_cast<std::int16_t>(coefficient);
    const int dc = ExactLevel(coefficient, step, rule.dcOffset);
    const int ac = ExactLevel(coefficient, step, rule.acOffset);
    ASSERT_EQ(quantiser.Level(value, quantiser.DcBias()), dc) << coefficient << " / " << step;
    ASSERT_EQ(quantiser.Level(value, quantiser.AcBias()), ac) << coefficient << " / " << step;
  }
  for (int gap = 0; gap <= kMaxGap; ++gap) {
    const int least = quantiser.LeastAc(gap);
    const int part = rule.least[static_cast<std::size_t>(gap)] * step;
    ASSERT_TRUE(64 * least >= part && 64 * (least - 1) < part) << gap << ", step " << step;
    ASSERT_NE(quantiser.Level(static_cast<std::int16_t>(least), quantiser.AcBias()), 0);
  }
}

TEST(Quantiser, DividesExactlyByEveryStepOfTheLadder) {
  for (unsigned rung = 0; rung <= kCoarsestRung; ++rung) {
    for (const unsigned quarters : {kQuarters, kLowerChroma}) {
      const int step = static_cast<int>(quarters * ScaleOf(rung));
      ExpectExact(QuantiserOf(rung, quarters), step,
                  rung == 0 ? kNearestRounding : kDeadZoneRounding);
      ExpectExact(QuantiserOf(rung, quarters, true), step, kNearestRounding);
    }
  }
}

TEST(Quantiser, DividesExactlyByHalfTheFirstStep) {
  ExpectExact(HalvedQuantiser(), 2, kNearestRounding);
}

TEST(Quantiser, ReturnsLevelsWhoseProductsFitSixteenBits) {
  // Weights of up to 15, multiplied by up to kMaxWeightFactor.
  for (unsigned rung = 0; rung <= kCoarsestRung; ++rung) {
    const Quantiser& quantiser = QuantiserOf(rung);
    const int scale = static_cast<int>(ScaleOf(rung));
    for (int weight = 4; weight <= 15; ++weight) {
      const int largest = (4 * kMaxCoefficient + weight - 1) / weight;
      for (int coefficient = std::max(0, largest - 4 * scale); coefficient <= largest;
           ++coefficient) {
        const int level =
            quantiser.Level(static_cast<std::int16_t>(coefficient), quantiser.DcBias());
        ASSERT_LE(level * weight * scale, 32767) << weight << " x " << scale;
      }
    }
  }
}

TEST(LevelRule, CountsTheGapToTheNearerNeighbour) {
  EXPECT_EQ(GapOf(10, 11, 100), 1);
  EXPECT_EQ(GapOf(10, 20, 22), 2);
  EXPECT_EQ(GapOf(0, 1000, 2000), kMaxGap);
}

}  // namespace
}  // namespace prores
