// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>

#include "format/StreamFormat.h"

namespace vixprores {
namespace {

TEST(ColourNames, PresetsSetAllProperties) {
  EXPECT_EQ(FindColourPreset("bt709"), (Colour{1, 1, 1}));
  EXPECT_EQ(FindColourPreset("bt601-625"), (Colour{5, 1, 6}));
  EXPECT_EQ(FindColourPreset("bt2020-pq"), (Colour{9, 16, 9}));
  EXPECT_FALSE(FindColourPreset("unspecified").IsSpecified());
}

TEST(ColourNames, EveryPresetIsDescribedByItsName) {
  for (const std::string& name : ColourPresets()) {
    EXPECT_EQ(Describe(FindColourPreset(name)), name);
  }
  EXPECT_EQ(Describe(Colour{9, 16, 9, ColourRange::Full}), "bt2020-pq");
}

TEST(ColourNames, OtherCombinationsAreDescribedByProperty) {
  EXPECT_EQ(Describe(Colour{9, 13, 77}), "bt2020/srgb/77");
}

TEST(ColourNames, HaveTheirCodes) {
  EXPECT_EQ(FindColourCode(ColourProperty::Primaries, "p3-d65"), 12);
  EXPECT_EQ(FindColourCode(ColourProperty::Transfer, "hlg"), 18);
  EXPECT_EQ(FindColourCode(ColourProperty::Matrix, "bt2020-cl"), 10);
}

TEST(UsualMatrix, IsBt601BelowHd) {
  EXPECT_EQ(DescribeColourCode(ColourProperty::Matrix, UsualMatrix(719)), "6 (bt601)");
  EXPECT_EQ(DescribeColourCode(ColourProperty::Matrix, UsualMatrix(720)), "1 (bt709)");
}

TEST(RgbMatrixFor, TakesTheStatedMatrixOrTheUsualOne) {
  for (const int unstated : {0, 2}) {  // RGB, unspecified
    EXPECT_EQ(RgbMatrixFor(unstated, 576).code, 6);
    EXPECT_EQ(RgbMatrixFor(unstated, 1080).code, 1);
  }
  EXPECT_EQ(RgbMatrixFor(9, 576).code, 9);
  EXPECT_EQ(RgbMatrixFor(10, 576).coded, 9);
  EXPECT_EQ(RgbMatrixFor(7, 576).code, 1);  // no matrix of ours
}

}  // namespace
}  // namespace vixprores
