// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>

#include "vix/RgbMatrix.h"

namespace vix {
namespace {

TEST(RgbMatrix, HasTheWeightsOfItsStandard) {
  EXPECT_DOUBLE_EQ(FindRgbMatrix(1)->GetGreen(), 0.7152);  // ITU-R BT.709-6, 3.2
  EXPECT_DOUBLE_EQ(FindRgbMatrix(5)->GetGreen(), 0.587);   // ITU-R BT.601-7, 2.5.1
  EXPECT_DOUBLE_EQ(FindRgbMatrix(6)->GetGreen(), 0.587);
  EXPECT_DOUBLE_EQ(FindRgbMatrix(9)->GetGreen(), 0.678);  // ITU-R BT.2020-2, table 4
}

TEST(RgbMatrix, IsNotFoundForUnspecifiedAndUnknownCodes) {
  for (const int code : {-1, 0, 2, 3, 4, 7, 8, 11, 255}) {
    EXPECT_EQ(FindRgbMatrix(code), nullptr) << code;
    EXPECT_EQ(ChooseRgbMatrix(code).coded, 1) << code;
  }
}

TEST(RgbMatrix, OfConstantLuminanceMakesNonConstantLuminance) {
  EXPECT_EQ(ChooseRgbMatrix(10).coded, 9);
  EXPECT_EQ(ChooseRgbMatrix(10).red, ChooseRgbMatrix(9).red);
  EXPECT_EQ(ChooseRgbMatrix(10).blue, ChooseRgbMatrix(9).blue);
}

TEST(RgbMatrix, CodesPicturesWithTheCodeOfItsWeights) {
  for (const RgbMatrix& matrix : kRgbMatrices) {
    const RgbMatrix* const coded = FindRgbMatrix(matrix.coded);
    ASSERT_NE(coded, nullptr) << matrix.code;
    EXPECT_EQ(coded->coded, coded->code);
    EXPECT_EQ(coded->red, matrix.red);
    EXPECT_EQ(coded->blue, matrix.blue);
  }
}

}  // namespace
}  // namespace vix
