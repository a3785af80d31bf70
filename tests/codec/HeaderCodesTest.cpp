// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>

#include <cstdint>

#include "bitstream/HeaderCodes.h"

namespace prores {
namespace {

TEST(HeaderCodes, RatesSurviveARoundTrip) {
  for (std::uint8_t code = 1; code <= 11; ++code) {
    EXPECT_EQ(CodeOfFrameRate(FrameRateOfCode(code)), code);
  }
  EXPECT_EQ(CodeOfFrameRate({50, 2}), 3);
}

TEST(HeaderCodes, OtherRatesAreUnknown) {
  EXPECT_EQ(FrameRateOfCode(0).numerator, 0);
  EXPECT_EQ(FrameRateOfCode(200).numerator, 0);
  EXPECT_EQ(CodeOfFrameRate({12, 1}), 0);
  EXPECT_EQ(CodeOfFrameRate({0, 1}), 0);
}

TEST(HeaderCodes, UnspecifiedColoursHaveOneCodePoint) {
  EXPECT_EQ(CodePointOf(0), 2);
  EXPECT_EQ(CodePointOf(2), 2);
  EXPECT_EQ(CodePointOf(9), 9);
}

TEST(HeaderCodes, AspectsSurviveARoundTrip) {
  for (std::uint8_t code = 1; code <= 3; ++code) {
    EXPECT_EQ(CodeOfPixelAspect(PixelAspectOfCode(code, 720, 576), 720, 576), code);
  }
}

TEST(HeaderCodes, AspectsAreThoseOfPixels) {
  const Ratio pixel = PixelAspectOfCode(3, 720, 576);
  EXPECT_EQ(pixel.numerator, 64);
  EXPECT_EQ(pixel.denominator, 45);
  EXPECT_EQ(PixelAspectOfCode(0, 720, 576).numerator, 0);
  EXPECT_EQ(CodeOfPixelAspect({2, 1}, 720, 576), 0);
}

}  // namespace
}  // namespace prores
