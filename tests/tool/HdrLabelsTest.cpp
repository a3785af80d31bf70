// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>

#include "base/Errors.h"
#include "format/HdrLabels.h"

namespace vixprores {
namespace {

TEST(MasteringDisplay, WritesWhatItReads) {
  const std::string text = "G(8500,39850)B(6550,2300)R(35400,14600)WP(15635,16450)L(10000000,1)";
  const MasteringDisplay display = ParseMasteringDisplay(text);
  EXPECT_EQ(display.green, (Chromaticity{8500, 39850}));
  EXPECT_EQ(display.blue, (Chromaticity{6550, 2300}));
  EXPECT_EQ(display.red, (Chromaticity{35400, 14600}));
  EXPECT_EQ(display.white, (Chromaticity{15635, 16450}));
  EXPECT_EQ(display.maxLuminance, 10000000u);
  EXPECT_EQ(display.minLuminance, 1u);
  EXPECT_EQ(Describe(display), text);
}

TEST(MasteringDisplay, RejectsEverythingElse) {
  for (const char* text :
       {"", "G", "G(", "G(1,2)", "G(1,2)B(1,2)R(1,2)WP(1,2)", "G(1,2)B(1,2)R(1,2)WP(1,2)L(1,2)",
        "B(1,2)G(1,2)R(1,2)WP(1,2)L(2,1)", "G(1,2)B(1,2)R(1,2)WP(1,2)L(2,1)x",
        "G(65536,2)B(1,2)R(1,2)WP(1,2)L(2,1)", "G(1;2)B(1,2)R(1,2)WP(1,2)L(2,1)",
        "G(1)B(1,2)R(1,2)WP(1,2)L(2,1)", "G(0.17,0.79)B(1,2)R(1,2)WP(1,2)L(2,1)"}) {
    EXPECT_THROW(ParseMasteringDisplay(text), UsageError) << text;
  }
}

TEST(ContentLight, WritesWhatItReads) {
  const ContentLight light = ParseContentLight("1000,400");
  EXPECT_EQ(light.maxPixel, 1000);
  EXPECT_EQ(light.maxFrameAverage, 400);
  EXPECT_EQ(Describe(light), "1000,400");
}

TEST(ContentLight, RejectsEverythingElse) {
  for (const char* text :
       {"", "1000", "1000,", ",400", "65536,1", "-1,1", "1000,400,1", "1000.5,1"}) {
    EXPECT_THROW(ParseContentLight(text), UsageError) << text;
  }
}

}  // namespace
}  // namespace vixprores
