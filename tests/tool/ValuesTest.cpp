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
  EXPECT_EQ(ParseFrameRange("0-9223372036854775805").last, 9223372036854775805);
}

TEST(ParseFrameRange, AcceptsOneFrameAndAnOpenEnd) {
  const FrameRange one = ParseFrameRange("5");
  EXPECT_EQ(one.first, 5);
  EXPECT_EQ(one.last, 5);
  const FrameRange open = ParseFrameRange("5-");
  EXPECT_EQ(open.first, 5);
  EXPECT_TRUE(open.IsOpen());
}

TEST(ParseFrameRange, WritesWhatItReads) {
  for (const char* text : {"5", "5-", "5-9"}) EXPECT_EQ(Describe(ParseFrameRange(text)), text);
}

// Returns the numbers of a range in a clip that starts at `start`.
std::string Resolve(const char* text, const char* start, Rational rate) {
  return Describe(ResolveRange(ParseFrameRange(text), Timecode::Parse(start, rate), "clip.mov"));
}

TEST(ResolveRange, ReplacesTimecodes) {
  EXPECT_EQ(Resolve("01:00:00:05-01:00:02:00", "01:00:00:00", {25, 1}), "5-50");
  EXPECT_EQ(Resolve("01:00:00:05", "01:00:00:00", {25, 1}), "5");
  EXPECT_EQ(Resolve("01:00:00:05-", "01:00:00:00", {25, 1}), "5-");
  EXPECT_EQ(Resolve("3-01:00:00:05", "01:00:00:00", {24000, 1001}), "3-5");
  EXPECT_EQ(Resolve("7-9", "01:00:00:00", {25, 1}), "7-9");
}

TEST(ResolveRange, CrossesMidnight) {
  EXPECT_EQ(Resolve("00:00:00:00-00:00:00:04", "23:59:59:20", {25, 1}), "5-9");
}

TEST(ResolveRange, TakesLabelsOfDropFrameInBothNotations) {
  for (const char* text : {"00:01:00;02", "00:01:00:02"}) {
    EXPECT_EQ(Resolve(text, "00:00:59;28", {30000, 1001}), "2") << text;
  }
}

TEST(ResolveRange, RejectsTimecodesWithoutAFrame) {
  EXPECT_THROW(Resolve("00:01:00:00", "00:00:59;28", {30000, 1001}), UsageError);
  EXPECT_THROW(Resolve("01:00:00:25", "01:00:00:00", {25, 1}), UsageError);
  EXPECT_THAT(
      [] {
        Resolve("01:00:00:05-01:00:00:04", "01:00:00:00", {25, 1});
      },
      ThrowsMessage<Failure>(HasSubstr("clip.mov: starts at 01:00:00:00")));
  EXPECT_THAT(
      [] { ResolveRange(ParseFrameRange("01:00:00:05-"), std::nullopt, "clip.mov"); },
      ThrowsMessage<Failure>(HasSubstr("clip.mov: has no timecode; select --frames by numbers")));
}

TEST(ParseFrameRange, RejectsEverythingElse) {
  for (const char* text :
       {"", "-", "-5", "9-3", "01:00:00", "01:00:00:00-x", "5--", "1-2-3", "a-b", "1 - 2", "0x1-2",
        "1-2 ", "-1-2", "1--2", "+1-2", "0-99999999999999999999"}) {
    EXPECT_THROW(ParseFrameRange(text), UsageError) << text;
  }
}

TEST(ParseRate, AcceptsWholeNumbersAndFractions) {
  EXPECT_EQ(ParseRate("25"), (Rational{25, 1}));
  EXPECT_EQ(ParseRate("30000/1001"), (Rational{30000, 1001}));
}

TEST(ParseRate, AcceptsNamesOfBroadcastRates) {
  EXPECT_EQ(ParseRate("14.985"), (Rational{15000, 1001}));
  EXPECT_EQ(ParseRate("23.976"), (Rational{24000, 1001}));
  EXPECT_EQ(ParseRate("23.98"), (Rational{24000, 1001}));
  EXPECT_EQ(ParseRate("29.97"), (Rational{30000, 1001}));
  EXPECT_EQ(ParseRate("47.952"), (Rational{48000, 1001}));
  EXPECT_EQ(ParseRate("59.94"), (Rational{60000, 1001}));
  EXPECT_EQ(ParseRate("119.88"), (Rational{120000, 1001}));
}

TEST(ParseRate, SuggestsAFractionForADecimal) {
  EXPECT_THAT([] { ParseRate("23.97"); },
              ThrowsMessage<UsageError>(HasSubstr("for example 24000/1001")));
  EXPECT_THAT([] { ParseRate("12.5"); },
              ThrowsMessage<UsageError>(HasSubstr("write N or N/D, for example 25")));
}

TEST(ParseRate, ReducesToLowestTerms) {
  EXPECT_EQ(ParseRate("50/2"), (Rational{25, 1}));
  EXPECT_EQ(ParseRate("60000/2002"), (Rational{30000, 1001}));
}

TEST(ParseRate, RejectsEverythingElse) {
  for (const char* text : {"", "0", "0/1", "25/0", "-25", "29.96", "25.0", "25/", "/1", "25/1/1",
                           "25fps", "2147483648", "1/2147483648"}) {
    EXPECT_THROW(ParseRate(text), UsageError) << text;
  }
}

TEST(ParsePictureSize, AcceptsWidthAndHeight) {
  const PictureSize size = ParsePictureSize("1920x1080");
  EXPECT_EQ(size.width, 1920u);
  EXPECT_EQ(size.height, 1080u);
  EXPECT_EQ(ParsePictureSize("2x65535").height, 65535u);
}

TEST(ParsePictureSize, AcceptsNames) {
  const auto size = [](const char* name) {
    const PictureSize parsed = ParsePictureSize(name);
    return DescribeSize(parsed.width, parsed.height);
  };
  EXPECT_EQ(size("720p"), "1280x720");
  EXPECT_EQ(size("1080p"), "1920x1080");
  EXPECT_EQ(size("UHD"), "3840x2160");
  EXPECT_EQ(size("2160p"), "3840x2160");
  EXPECT_EQ(size("4k-dci"), "4096x2160");
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

TEST(ParseFourCC, AcceptsThePackedFormats) {
  EXPECT_EQ(ParseFourCC("UYVY"), vix::kFourCC_UYVY);
  EXPECT_EQ(ParseFourCC("V210"), vix::kFourCC_V210);
  EXPECT_EQ(ParseFourCC("v210"), vix::kFourCC_V210);
  EXPECT_EQ(ParseFourCC("Y416"), vix::kFourCC_Y416);
  EXPECT_EQ(ParseFourCC("b64a"), vix::kFourCC_b64A);
  EXPECT_EQ(ParseFourCC("b64A"), vix::kFourCC_b64A);
  EXPECT_THROW(ParseFourCC("NV12"), UsageError);
  EXPECT_THROW(ParseFourCC(""), UsageError);
}

}  // namespace
}  // namespace vixprores
