// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>

#include "bitstream/SliceHeader.h"
#include "rate/QuantiserLadder.h"
#include "transform/ForwardTransform.h"
#include "transform/Quantise.h"

namespace prores {
namespace {

/// floor(|coefficient| / step + offset / 64) with the sign of the coefficient.
int ExactLevel(int coefficient, int step, int offset) {
  const int magnitude = (std::abs(coefficient) * 64 + offset * step) / (64 * step);
  return coefficient < 0 ? -magnitude : magnitude;
}

void ExpectExact(const Quantiser& quantiser, int step, RoundingOffsets rounding) {
  for (int coefficient = -kMaxCoefficient; coefficient <= kMaxCoefficient; ++coefficient) {
    const auto value = static_cast<std::int16_t>(coefficient);
    const int dc = ExactLevel(coefficient, step, rounding.dc);
    const int ac = ExactLevel(coefficient, step, rounding.ac);
    ASSERT_EQ(quantiser.Level(value, quantiser.DcBias()), dc) << coefficient << " / " << step;
    ASSERT_EQ(quantiser.Level(value, quantiser.AcBias()), ac) << coefficient << " / " << step;
    ASSERT_EQ(ac == 0, std::abs(coefficient) < quantiser.AcThreshold())
        << coefficient << " / " << step;
  }
}

TEST(Quantiser, DividesExactlyByEveryStepOfTheLadder) {
  for (unsigned rung = 0; rung <= kCoarsestRung; ++rung) {
    const int step = static_cast<int>(4 * QuantizerScale(QuantisationIndex(rung)));
    ExpectExact(QuantiserOf(rung), step, rung == 0 ? kNearestRounding : kDeadZoneRounding);
  }
}

TEST(Quantiser, GivesLevelsThatADecoderMultipliesBackWithinSixteenBits) {
  for (unsigned rung = 0; rung <= kCoarsestRung; ++rung) {
    const Quantiser quantiser = QuantiserOf(rung);
    const int scale = static_cast<int>(QuantizerScale(QuantisationIndex(rung)));
    for (int weight = 4; weight <= 63; ++weight) {
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

TEST(QuantiserLadder, KeepsWhatAnyCoarserRungKeeps) {
  for (unsigned rung = 0; rung < kCoarsestRung; ++rung) {
    EXPECT_LE(QuantiserOf(rung).AcThreshold(), QuantiserOf(rung + 1).AcThreshold()) << rung;
  }
}

}  // namespace
}  // namespace prores
