// SPDX-License-Identifier: BSD-2-Clause
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "base/Errors.h"
#include "media/raw/Y4m.h"

namespace vixprores {
namespace {

using testing::HasSubstr;
using testing::ThrowsMessage;

StreamFormat Parse(const std::string& header) {
  return ParseY4mHeader(header, "clip.y4m");
}

TEST(ParseY4mHeader, ReadsEveryProperty) {
  const StreamFormat format =
      Parse("YUV4MPEG2 W720 H576 F30000:1001 It A64:45 C422p10 XYSCSS=422P10 XCOLORRANGE=FULL");
  EXPECT_EQ(format.code, vix::kFourCC_V210);
  EXPECT_EQ(format.width, 720u);
  EXPECT_EQ(format.height, 576u);
  EXPECT_EQ(format.rate, (Rational{30000, 1001}));
  EXPECT_EQ(format.fieldOrder, FieldOrder::TopFirst);
  EXPECT_EQ(format.sampleAspect, (Rational{64, 45}));
  EXPECT_EQ(format.colour.range, ColourRange::Full);
  EXPECT_FALSE(format.colour.IsSpecified());
}

TEST(ParseY4mHeader, LeavesMissingPropertiesUnknown) {
  const StreamFormat format = Parse("YUV4MPEG2 C422 H2 W4 F25:1");
  EXPECT_EQ(format.code, vix::kFourCC_UYVY);
  EXPECT_EQ(format.fieldOrder, FieldOrder::Unknown);
  EXPECT_EQ(format.sampleAspect, (Rational{0, 1}));
  EXPECT_EQ(format.colour.range, ColourRange::Unknown);
  EXPECT_EQ(Parse("YUV4MPEG2 W4 H2 F25:1 I? A0:0 C422").sampleAspect, (Rational{0, 1}));
}

TEST(ParseY4mHeader, NamesInvalidParameters) {
  const std::pair<const char*, const char*> cases[] = {
      {"YUV4MPEG W4 H2 F25:1 C422", "no Y4M stream"},
      {"", "no Y4M stream"},
      {"YUV4MPEG2 W4 F25:1 C422", "no picture size"},
      {"YUV4MPEG2 W4 H0 F25:1 C422", "no picture size"},
      {"YUV4MPEG2 W-4 H2 F25:1 C422", "W-4"},
      {"YUV4MPEG2 W4x H2 F25:1 C422", "W4x"},
      {"YUV4MPEG2 W99999999999 H2 F25:1 C422", "W99999999999"},
      {"YUV4MPEG2 W4 H2 C422", "no frame rate"},
      {"YUV4MPEG2 W4 H2 F0:0 C422", "no frame rate"},
      {"YUV4MPEG2 W4 H2 F25 C422", "F25"},
      {"YUV4MPEG2 W4 H2 F25:1 A1 C422", "A1"},
  };
  for (const auto& [header, words] : cases) {
    EXPECT_THAT([&text = header] { Parse(text); }, ThrowsMessage<Failure>(HasSubstr(words)))
        << header;
  }
}

TEST(ParseY4mHeader, SuggestsAConversionForUnsupportedFormats) {
  for (const char* type : {"C420jpeg", "C444alpha", "C422p12", "Cmono"}) {
    const std::string header = std::string("YUV4MPEG2 W4 H2 F25:1 ") + type;
    EXPECT_THAT([&] { Parse(header); }, ThrowsMessage<Failure>(HasSubstr(type)));
    EXPECT_THAT([&] { Parse(header); }, ThrowsMessage<Failure>(HasSubstr("ffmpeg -i clip.y4m")));
  }
  // Without the parameter pictures are 4:2:0.
  EXPECT_THAT([] { Parse("YUV4MPEG2 W4 H2 F25:1"); }, ThrowsMessage<Failure>(HasSubstr("C420")));
  EXPECT_THAT([] { Parse("YUV4MPEG2 W4 H2 F25:1 C422 Im"); },
              ThrowsMessage<Failure>(HasSubstr("setfield=tff")));
}

TEST(MakeY4mHeader, WritesWhatTheParserReads) {
  for (const vix::FourCC code : {vix::kFourCC_UYVY, vix::kFourCC_V210, vix::kFourCC_Y416}) {
    for (const FieldOrder order : {FieldOrder::Unknown, FieldOrder::Progressive,
                                   FieldOrder::TopFirst, FieldOrder::BottomFirst}) {
      StreamFormat format;
      format.code = code;
      format.width = 1918;
      format.height = 1078;
      format.rate = {24000, 1001};
      format.sampleAspect = {12, 11};
      format.fieldOrder = order;
      format.colour.range = ColourRange::Limited;
      std::string header = MakeY4mHeader(format);
      ASSERT_EQ(header.back(), '\n');
      header.pop_back();
      const StreamFormat parsed = Parse(header);
      EXPECT_EQ(parsed.code, format.code);
      EXPECT_EQ(parsed.width, format.width);
      EXPECT_EQ(parsed.height, format.height);
      EXPECT_EQ(parsed.rate, format.rate);
      EXPECT_EQ(parsed.sampleAspect, format.sampleAspect);
      EXPECT_EQ(parsed.fieldOrder, format.fieldOrder);
      EXPECT_EQ(parsed.colour, format.colour);
    }
  }
}

TEST(FindPlanes, NamesThePackedFormatAndTheDepth) {
  const auto find = [](const char* tag) {
    return FindPlanes(std::string("YUV4MPEG2 W4 H2 F25:1 C") + tag + " XCOLORRANGE=LIMITED");
  };
  EXPECT_EQ(find("422")->packed, vix::kFourCC_UYVY);
  EXPECT_EQ(find("422p10")->packed, vix::kFourCC_V210);
  for (const auto& [tag, bits] :
       {std::pair{"444", 8u}, {"444p10", 10u}, {"444p12", 12u}, {"444p14", 14u}, {"444p16", 16u}}) {
    ASSERT_TRUE(find(tag)) << tag;
    EXPECT_EQ(find(tag)->packed, vix::kFourCC_Y416);
    EXPECT_EQ(find(tag)->bits, bits);
  }
  EXPECT_FALSE(find("420p10"));
  EXPECT_FALSE(FindPlanes("YUV4MPEG2 W4 H2 F25:1"));
  // The parser and this function take the same one.
  EXPECT_EQ(FindPlanes("YUV4MPEG2 W4 H2 F25:1 C420 C444")->bits, 8u);
  EXPECT_TRUE(Parse("YUV4MPEG2 W4 H2 F25:1 C420 C444").is444);
}

TEST(MakeY4mHeader, Writes444With12Bits) {
  StreamFormat format;
  format.code = vix::kFourCC_Y416;
  format.width = 4;
  format.height = 2;
  format.rate = {25, 1};
  format.fieldOrder = FieldOrder::Progressive;
  EXPECT_EQ(MakeY4mHeader(format), "YUV4MPEG2 W4 H2 F25:1 Ip A0:0 C444p12 XYSCSS=444P12\n");
}

TEST(MakeY4mHeader, WritesAnUnknownPixelAspect) {
  StreamFormat format;
  format.code = vix::kFourCC_UYVY;
  format.width = 4;
  format.height = 2;
  format.rate = {25, 1};
  format.fieldOrder = FieldOrder::Progressive;
  EXPECT_EQ(MakeY4mHeader(format), "YUV4MPEG2 W4 H2 F25:1 Ip A0:0 C422\n");
}

}  // namespace
}  // namespace vixprores
