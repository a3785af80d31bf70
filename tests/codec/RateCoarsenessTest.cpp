// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <set>

#include "encode/rate/Coarseness.h"

namespace prores {
namespace {

constexpr SliceTraits kBusiest{};
constexpr std::uint16_t kDithers[] = {0, 1, 1000, kOctave - 1};
constexpr SliceTraits kQuietest{.finerBy = kMaxFinerBy, .dither = 0, .grid = {}};

TEST(Coarseness, IsTheLogarithmOfTheScale) {
  for (unsigned octave = 0; octave <= 11; ++octave) {
    const auto coarseness = static_cast<Coarseness>((octave + 1) * kOctave);
    EXPECT_EQ(ScaleOf(RungAt(coarseness, kBusiest)), 1U << octave);
    if (octave == 11) continue;
    EXPECT_EQ(ScaleOf(RungAt(coarseness + kOctave / 2, kBusiest)), (3U << octave) >> 1);
  }
}

TEST(Coarseness, ReachesBothEndsOfTheLadderWithEverySlice) {
  for (const std::uint16_t dither : kDithers) {
    SliceTraits quietest = kQuietest;
    quietest.dither = dither;
    EXPECT_EQ(RungAt(kFinest, quietest), 0U);
    EXPECT_EQ(RungAt(kFinest, {.finerBy = 0, .dither = dither, .grid = {}}), 0U);
    EXPECT_EQ(RungAt(kCoarsest, quietest), kCoarsestRung);
  }
}

TEST(Coarseness, NeverMakesASliceFinerWhereTheFrameIsCoarser) {
  for (const std::int16_t finerBy : {std::int16_t{0}, std::int16_t{700}, kMaxFinerBy}) {
    for (const std::uint16_t dither : kDithers) {
      const SliceTraits slice{.finerBy = finerBy, .dither = dither, .grid = {}};
      for (Coarseness coarseness = kFinest; coarseness < kCoarsest; ++coarseness) {
        const unsigned rung = RungAt(coarseness, slice);
        const unsigned next = RungAt(coarseness + 1, slice);
        ASSERT_LE(rung, next);
        ASSERT_LE(next, rung + 1);
      }
    }
  }
}

TEST(Coarseness, MixesTwoRungsEvenlyInEveryPart) {
  // Half way between the scales 10 and 11, half of the slices take each, in rows, columns, blocks.
  constexpr Coarseness kBetween = 4 * kOctave + kOctave * 5 / 16;
  const auto isCoarser = [](std::uint32_t column, std::uint32_t strip) {
    const SliceTraits slice{.finerBy = 0, .dither = DitherAt(column, strip), .grid = {}};
    return RungAt(kBetween, slice) == 11;
  };
  for (std::uint32_t left = 0; left < 30; ++left) {
    for (std::uint32_t top = 0; top < 60; ++top) {
      int block = 0, row = 0, column = 0;
      for (std::uint32_t i = 0; i < 16; ++i) {
        block += isCoarser(left + i % 4, top + i / 4);
        row += isCoarser(left + i, top);
        column += isCoarser(left, top + i);
      }
      EXPECT_NEAR(block, 8, 2);
      EXPECT_NEAR(row, 8, 2);
      EXPECT_NEAR(column, 8, 2);
    }
  }
}

TEST(Coarseness, LeavesASliceOnItsGridUntilTheFrameIsCoarser) {
  constexpr SliceTraits kOnGrid{
      .finerBy = 0, .dither = 0, .grid = {.rung = 20, .chromaQuarters = kQuarters}};
  for (Coarseness coarseness = kFinest; coarseness <= kCoarsest; coarseness += 13) {
    const SliceQuantiser quantiser = QuantiserAt({coarseness, kQuarters}, kOnGrid);
    const bool onGrid = RungAt(coarseness, kOnGrid) <= 20;
    EXPECT_EQ(quantiser.rung, onGrid ? 20 : RungAt(coarseness, kOnGrid));
    EXPECT_EQ(quantiser.lumaOnGrid, onGrid);
    EXPECT_EQ(quantiser.chromaOnGrid, onGrid);
    // With other weights, chroma lies on no grid.
    EXPECT_FALSE(QuantiserAt({coarseness, kLowerChroma}, kOnGrid).chromaOnGrid);
  }
}

TEST(QuantiserLadder, HasNearlyEqualStepsFromScale16On) {
  for (unsigned rung = 16; rung < kCoarsestRung; ++rung) {
    const double ratio = static_cast<double>(ScaleOf(rung + 1)) / ScaleOf(rung);
    EXPECT_GT(ratio, 1.06) << rung;
    EXPECT_LT(ratio, 1.126) << rung;
  }
}

TEST(QuantiserLadder, HasAnIndexForEveryRungOfAFrame) {
  for (unsigned coarsest = 0; coarsest <= kCoarsestRung; ++coarsest) {
    const WeightFactors factors = WeightFactorsFor(coarsest, kQuarters);
    EXPECT_EQ(factors.luma == 1, coarsest <= kCoarsestPlainRung);
    // Slices are less than an octave finer than the coarsest one if weights are multiplied.
    for (unsigned rung = coarsest; 2 * ScaleOf(rung) > ScaleOf(coarsest); --rung) {
      const SliceQuantiser quantiser{.rung = static_cast<std::uint8_t>(rung)};
      const unsigned scale = QuantizerScale(QuantizationIndexOf(quantiser, factors)) * factors.luma;
      EXPECT_EQ(scale, ScaleOf(rung)) << rung << " in a frame up to " << coarsest;
      if (rung == 0) break;
    }
  }
}

TEST(QuantiserLadder, HasAnIndexForRungsInAFrameWithHalfTheWeights) {
  const WeightFactors factors{.areHalved = true};
  EXPECT_EQ(QuantizationIndexOf({.isHalved = true}, factors), 1);
  for (std::uint8_t rung = 0; rung <= kCoarsestHalvedRung; ++rung) {
    EXPECT_EQ(QuantizerScale(QuantizationIndexOf({.rung = rung}, factors)), 2 * ScaleOf(rung));
  }
  EXPECT_EQ(2 * ScaleOf(kCoarsestHalvedRung), QuantizerScale(kMaxQuantizationIndex));
}

TEST(QuantiserLadder, HasHalfTheStepBelowTheFirstRung) {
  const SliceQuantiser slice{.isHalved = true};
  for (const unsigned component : {0U, 1U, 2U}) EXPECT_EQ(slice.For(component).Step(), 2);
  EXPECT_LE(HalvedQuantiser().LeastAc(), QuantiserOf(0, kLowerChroma).LeastAc());
}

TEST(Coarseness, HalvesStepsOneAfterTheOther) {
  const SliceTraits early{.finerBy = 900, .dither = 100, .grid = {}};
  const SliceTraits late{.finerBy = 0, .dither = kOctave - 1, .grid = {}};
  const auto isHalved = [](Coarseness coarseness, const SliceTraits& slice) {
    return QuantiserAt({.coarseness = coarseness}, slice).isHalved;
  };
  EXPECT_FALSE(isHalved(kFinest, early));
  EXPECT_TRUE(isHalved(-101, early));
  EXPECT_FALSE(isHalved(-101, late));
  EXPECT_TRUE(isHalved(kFinestHalved, late));
}

TEST(Coarseness, KeepsGridsInAFrameWithHalfTheWeightsOnlyWhereTheyHaveAnIndex) {
  const FrameQuantiser frame{.coarseness = kFinestHalved};
  SliceTraits slice{.finerBy = 0, .dither = 0, .grid = {kCoarsestHalvedRung, kQuarters}};
  EXPECT_EQ(QuantiserAt(frame, slice).rung, kCoarsestHalvedRung);
  EXPECT_FALSE(QuantiserAt(frame, slice).isHalved);
  slice.grid.rung = kCoarsestHalvedRung + 1;
  EXPECT_TRUE(QuantiserAt(frame, slice).isHalved);
}

TEST(QuantiserLadder, ScalesTheStepOfChroma) {
  for (unsigned rung = 0; rung <= kCoarsestRung; ++rung) {
    for (const std::uint8_t quarters : {kQuarters, kLowerChroma}) {
      const SliceQuantiser slice{.rung = static_cast<std::uint8_t>(rung),
                                 .chromaQuarters = quarters};
      EXPECT_EQ(slice.For(0).Step(), 4 * ScaleOf(rung));
      EXPECT_EQ(slice.For(1).Step(), quarters * ScaleOf(rung));
      EXPECT_EQ(slice.For(2).Step(), quarters * ScaleOf(rung));
    }
  }
}

TEST(QuantiserLadder, KeepsAllCoefficientsThatCoarserRungsKeep) {
  for (unsigned rung = 0; rung < kCoarsestRung; ++rung) {
    EXPECT_LE(QuantiserOf(rung).LeastAc(), QuantiserOf(rung + 1).LeastAc()) << rung;
    EXPECT_LE(QuantiserOf(rung, kLowerChroma).LeastAc(), QuantiserOf(rung).LeastAc()) << rung;
  }
}

TEST(QuantiserLadder, KeepsItsOwnLevels) {
  // Coefficients that are multiples of the step keep their levels, except those that become zero.
  for (unsigned rung = 1; rung <= kCoarsestRung; ++rung) {
    const Quantiser& quantiser = QuantiserOf(rung);
    for (int level = 1; level * quantiser.Step() <= kMaxCoefficient; ++level) {
      const auto coefficient = static_cast<std::int16_t>(level * quantiser.Step());
      ASSERT_EQ(quantiser.Level(coefficient, quantiser.AcBias()), level);
      ASSERT_GE(coefficient, quantiser.LeastAc(kMaxGap));
    }
  }
}

}  // namespace
}  // namespace prores
