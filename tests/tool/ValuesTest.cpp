// SPDX-License-Identifier: BSD-2-Clause
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "base/Errors.h"
#include "format/Values.h"

namespace vixprores {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::ThrowsMessage;

TEST(ParseFrameRange, AcceptsBothEnds) {
  const FrameRange range = ParseFrameRange("10-250");
  EXPECT_EQ(range.first, 10);
  EXPECT_EQ(range.last, 250);
  EXPECT_EQ(ParseFrameRange("7-7").last, 7);
  EXPECT_EQ(ParseFrameRange("0-9223372036854775806").last, 9223372036854775806);
}

TEST(ParseFrameRange, RejectsEverythingElse) {
  for (const char* text : {"", "5", "-", "5-", "-5", "9-3", "1-2-3", "a-b", "1 - 2", "0x1-2",
                           "1-2 ", "-1-2", "1--2", "+1-2", "0-99999999999999999999"}) {
    EXPECT_THROW(ParseFrameRange(text), UsageError) << text;
  }
}

TEST(ParseRate, AcceptsWholeNumbersAndFractions) {
  EXPECT_EQ(ParseRate("25"), (Rational{25, 1}));
  EXPECT_EQ(ParseRate("30000/1001"), (Rational{30000, 1001}));
}

TEST(ParseRate, ReducesToLowestTerms) {
  EXPECT_EQ(ParseRate("50/2"), (Rational{25, 1}));
  EXPECT_EQ(ParseRate("60000/2002"), (Rational{30000, 1001}));
}

TEST(ParseRate, RejectsEverythingElse) {
  for (const char* text : {"", "0", "0/1", "25/0", "-25", "29.97", "25/", "/1", "25/1/1", "25fps",
                           "2147483648", "1/2147483648"}) {
    EXPECT_THROW(ParseRate(text), UsageError) << text;
  }
}

TEST(ParsePictureSize, AcceptsWidthAndHeight) {
  const PictureSize size = ParsePictureSize("1920x1080");
  EXPECT_EQ(size.width, 1920u);
  EXPECT_EQ(size.height, 1080u);
  EXPECT_EQ(ParsePictureSize("2x65535").height, 65535u);
}

TEST(ParsePictureSize, RejectsEverythingElse) {
  for (const char* text : {"", "1920", "1920x", "x1080", "1x2", "2x1", "65536x2", "2x65536",
                           "1920*1080", "1920x1080x1", "-2x2"}) {
    EXPECT_THROW(ParsePictureSize(text), UsageError) << text;
  }
}

TEST(ParsePictureSize, NamesTheOptionAndTheMostPixels) {
  EXPECT_EQ(ParsePictureSize("40000x25000").height, 25000u);
  EXPECT_THAT([] { ParsePictureSize("40000x25001"); },
              ThrowsMessage<UsageError>(AllOf(HasSubstr("--size 40000x25001"),
                                              HasSubstr("1000040000 pixels"),
                                              HasSubstr("the limit is 1000000000"))));
}

TEST(ParseFourCC, AcceptsTheTwoPackedFormats) {
  EXPECT_EQ(ParseFourCC("UYVY"), vix::kFourCC_UYVY);
  EXPECT_EQ(ParseFourCC("V210"), vix::kFourCC_V210);
  EXPECT_EQ(ParseFourCC("v210"), vix::kFourCC_V210);
  EXPECT_THROW(ParseFourCC("NV12"), UsageError);
  EXPECT_THROW(ParseFourCC(""), UsageError);
}

}  // namespace
}  // namespace vixprores
