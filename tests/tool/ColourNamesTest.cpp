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

}  // namespace
}  // namespace vixprores
