// SPDX-License-Identifier: BSD-2-Clause
// Pictures of 4444: their formats, alpha and memory, and streams that change between 4:2:2 and
// 4444.
#include <gmock/gmock.h>

#include "Deep.h"
#include "PicturePool.h"
#include "Streams.h"
#include "vix/ProResFrame.h"

namespace vix::test {
namespace {

using testing::Contains;
using testing::HasSubstr;

constexpr Shape kPlain;

/// A harness with the caps of a stream of 4444, and a downstream that accepts `format`.
struct Harness4444 : Harness {
  explicit Harness4444(const DeepShape& shape, const std::string& properties = {})
      : Harness(kDecoder, properties) {
    SetOutput(std::string("video/x-raw,format=") +
              gst_video_format_to_string(FormatOf(shape.fourcc)));
    SetInput(ProResCaps(shape));
  }
};

bool TakesVariant(const Harness& harness, const std::string& field, const std::string& variant) {
  const auto caps =
      CapsOf("video/x-prores,width=64,height=32,framerate=25/1," + field + "=(string)" + variant);
  return gst_caps_is_subset(caps.get(), harness.InputCaps().get());
}

class Decoder4444Shapes : public testing::TestWithParam<DeepShape> {};
INSTANTIATE_TEST_SUITE_P(Decoder4444, Decoder4444Shapes,
                         testing::Values(kDeep, kDeepRgb, DeepShape{.width = 51, .height = 33},
                                         DeepShape{.scanMode = ScanMode::Interlaced},
                                         DeepShape{.scanMode = ScanMode::Interlaced,
                                                   .fourcc = kFourCC_b64A}));

TEST_P(Decoder4444Shapes, PicturesComeOutInOrderWithTheirAlpha) {
  Harness4444 harness(GetParam());
  for (unsigned i = 0; i < kFrames; ++i) harness.Push(MakeProResBuffer(GetParam(), i));
  const auto pictures = harness.Finish();
  ASSERT_EQ(pictures.size(), kFrames);
  for (unsigned i = 0; i < kFrames; ++i) ExpectDecoded(pictures[i], GetParam(), i);
}

TEST_P(Decoder4444Shapes, PicturesAreWrittenIntoBuffersOfDownstream) {
  const DeepShape& shape = GetParam();
  for (const std::size_t padding : {0U, 64U}) {
    Harness harness(kDecoder, "threads=2");
    PicturePool pool(harness, PlainOf(shape), shape.fourcc, padding, 16);
    harness.SetOutput(std::string("video/x-raw,format=") +
                      gst_video_format_to_string(FormatOf(shape.fourcc)));
    harness.SetInput(ProResCaps(shape));
    for (unsigned i = 0; i < 20; ++i) {
      harness.Push(MakeProResBuffer(shape, i));
      const auto picture = harness.Pull();
      ExpectDecoded(picture, shape, i);
      EXPECT_TRUE(i == 0 || pool.Owns(picture)) << i;
    }
  }
}

TEST(Decoder4444, FramesOf4444BecomeYCbCrWithAlphaAndOthersV210) {
  Harness harness(kDecoder);
  harness.SetInput(ProResCaps(kDeep, "4444xq"));
  harness.Push(MakeBuffer(EncodeDirectly(kDeep, 0, kWPRCodec4444XQ), 0));
  ExpectDecoded(harness.Pull(), kDeep, 0);
  EXPECT_EQ(FieldOf(harness.OutputCaps(), "format"), "AYUV64");
  harness.SetInput(ProResCaps(kPlain));
  harness.Push(MakeProResBuffer(kPlain, 1));
  ExpectDecoded(harness.Pull(), kPlain, 1);
  EXPECT_EQ(FieldOf(harness.OutputCaps(), "format"), "v210");
}

TEST(Decoder4444, FramesWithoutAlphaAreOpaque) {
  Harness harness(kDecoder);
  harness.SetInput(ProResCaps(kDeep));
  harness.Push(MakeBuffer(EncodeDirectly(kDeep, 2, kWPRCodec4444, 0), 2));
  ExpectDecoded(harness.Pull(), kDeep, 2, 0);
}

TEST(Decoder4444, FramesOf422BecomeFormatsWithAlphaWhereDownstreamTakesNoOther) {
  for (const FourCC fourcc : {kFourCC_Y416, kFourCC_b64A}) {
    const DeepShape shape{.fourcc = fourcc};
    Harness harness(kDecoder);
    harness.SetOutput(std::string("video/x-raw,format=") +
                      gst_video_format_to_string(FormatOf(fourcc)));
    harness.SetInput(ProResCaps(kPlain));
    const Bytes frame = EncodeDirectly(kPlain, 4, ProResCodecVariant::Standard);
    harness.Push(MakeBuffer(frame, 4));
    const auto picture = harness.Pull();
    ASSERT_TRUE(picture);
    EXPECT_TRUE(RowsOf(picture, shape) == DecodeDirectly(frame, kPlain, fourcc));
  }
}

TEST(Decoder4444, DownstreamDecidesWhichVariantsAreTaken) {
  for (const auto& [format, takes4444] : {std::pair("v210", false),
                                          {"UYVY", false},
                                          {"{v210,UYVY}", false},
                                          {"AYUV64", true},
                                          {"ARGB64_BE", true},
                                          {"{v210,ARGB64_BE}", true}}) {
    SCOPED_TRACE(format);
    Harness harness(kDecoder);
    harness.SetOutput(std::string("video/x-raw,format=") + format);
    for (const char* const field : {"variant", "format"}) {
      EXPECT_EQ(TakesVariant(harness, field, "4444"), takes4444);
      EXPECT_EQ(TakesVariant(harness, field, "4444xq"), takes4444);
      EXPECT_TRUE(TakesVariant(harness, field, "hq"));
    }
  }
}

TEST(Decoder4444, IsNotNegotiatedWhereDownstreamTakes422Only) {
  Harness harness(kDecoder);
  harness.SetOutput("video/x-raw,format=v210");
  harness.SetInput(ProResCaps(kDeep));
  EXPECT_EQ(harness.Push(MakeProResBuffer(kDeep, 0)), GST_FLOW_NOT_NEGOTIATED);
  EXPECT_FALSE(harness.TryPull());
  EXPECT_THAT(harness.PopTexts(GST_MESSAGE_ERROR), Contains(HasSubstr("videoconvert")));
}

TEST(Decoder4444, FramesThatDownstreamCannotTakeAreReportedIfTheCapsHideThem) {
  Harness harness(kDecoder);
  harness.SetOutput("video/x-raw,format=v210");
  harness.SetInput(ProResCaps(kPlain));
  harness.Push(MakeProResBuffer(kDeep, 0));
  EXPECT_FALSE(harness.TryPull());
  EXPECT_THAT(harness.PopTexts(GST_MESSAGE_WARNING),
              testing::ElementsAre(HasSubstr("videoconvert")));
  harness.Push(MakeProResBuffer(kPlain, 1));
  ExpectDecoded(harness.Pull(), kPlain, 1);
  harness.Push(MakeProResBuffer(kDeep, 2));
  const auto repeated = harness.Pull();
  ASSERT_TRUE(repeated);
  EXPECT_TRUE(GST_BUFFER_FLAG_IS_SET(repeated.get(), GST_BUFFER_FLAG_CORRUPTED));
  EXPECT_EQ(harness.PopTexts(GST_MESSAGE_WARNING).size(), 1U);
}

TEST(Decoder4444, FrameHeadersChangeTheFormatWithoutNewCaps) {
  Harness harness(kDecoder, "threads=2");
  harness.SetInput(ProResCaps(kPlain));
  std::vector<BufferPointer> pictures;
  for (unsigned i = 0; i < 12; ++i) {
    const bool isDeep = i / 3 % 2 == 1;
    EXPECT_EQ(harness.Push(isDeep ? MakeProResBuffer(kDeep, i) : MakeProResBuffer(kPlain, i)),
              GST_FLOW_OK);
  }
  for (unsigned i = 0; i < 12; ++i) {
    if (i / 3 % 2 == 1) ExpectDecoded(harness.Pull(), kDeep, i);
    if (i / 3 % 2 == 0) ExpectDecoded(harness.Pull(), kPlain, i);
  }
  EXPECT_TRUE(harness.PopTexts(GST_MESSAGE_WARNING).empty());
}

TEST(Decoder4444, NewCapsChangeTheFormatAndAFlushDropsFramesOfBoth) {
  Harness harness(kDecoder, "threads=2");
  for (unsigned round = 0; round < 6; ++round) {
    harness.SetInput(ProResCaps(kDeep));
    for (unsigned i = 0; i < 3; ++i) harness.Push(MakeProResBuffer(kDeep, i));
    harness.SetInput(ProResCaps(kPlain));
    for (unsigned i = 3; i < 6; ++i) harness.Push(MakeProResBuffer(kPlain, i));
    if (round % 2) harness.Flush();
    while (round % 2 && harness.TryPull()) {
    }
    for (unsigned i = 0; round % 2 == 0 && i < 3; ++i) ExpectDecoded(harness.Pull(), kDeep, i);
    for (unsigned i = 3; round % 2 == 0 && i < 6; ++i) ExpectDecoded(harness.Pull(), kPlain, i);
  }
}

TEST(Decoder4444, AFrameThatCannotBeDecodedRepeatsThePictureBefore) {
  for (const DeepShape& shape : {kDeep, kDeepRgb}) {
    Harness4444 harness(shape);
    harness.Push(MakeProResBuffer(shape, 0));
    ExpectDecoded(harness.Pull(), shape, 0);
    Bytes frame = EncodeDirectly(shape, 1);
    frame.resize(frame.size() / 2);
    harness.Push(MakeBuffer(frame, 1));
    const auto repeated = harness.Pull();
    ASSERT_TRUE(repeated);
    EXPECT_TRUE(GST_BUFFER_FLAG_IS_SET(repeated.get(), GST_BUFFER_FLAG_CORRUPTED));
    GST_BUFFER_PTS(repeated.get()) = 0;
    ExpectDecoded(repeated, shape, 0);
    EXPECT_EQ(harness.PopTexts(GST_MESSAGE_WARNING).size(), 1U);
  }
}

TEST(Decoder4444, RgbHasItsOwnColorimetry) {
  Harness4444 harness(kDeepRgb);
  harness.SetInput(ProResCaps(kDeepRgb) + ",colorimetry=bt2020");
  harness.Push(MakeProResBuffer(kDeepRgb, 0));
  ASSERT_TRUE(harness.Pull());
  // Range 0 to 255, matrix of RGB; transfer and primaries of the stream.
  EXPECT_THAT(FieldOf(harness.OutputCaps(), "colorimetry"), testing::StartsWith("1:1:"));
  EXPECT_THAT(FieldOf(harness.OutputCaps(), "colorimetry"), testing::EndsWith(":7"));
}

TEST(Decoder4444, RgbIsConvertedWithTheMatrixOfTheFrameOrElseOfTheCaps) {
  const DeepShape shape{.fourcc = kFourCC_b64A, .matrix = 9};
  for (const bool isLabelled : {true, false}) {
    Bytes frame = EncodeDirectly(shape, 7);
    if (!isLabelled) LabelProResFrame({}, frame.data(), frame.size());
    Harness4444 harness(shape);
    harness.SetInput(ProResCaps(shape) + ",colorimetry=" + (isLabelled ? "bt709" : "bt2020"));
    harness.Push(MakeBuffer(frame, 7));
    ExpectDecoded(harness.Pull(), shape, 7);
  }
}

TEST(Decoder4444, FramesWithoutPrefixAreReported) {
  Harness4444 harness(kDeep);
  GstBuffer* const frame = MakeProResBuffer(kDeep, 0);
  gst_buffer_resize(frame, 8, -1);
  harness.Push(frame);
  EXPECT_TRUE(harness.Finish().empty());
  EXPECT_THAT(harness.PopTexts(GST_MESSAGE_WARNING),
              testing::ElementsAre(HasSubstr("8-byte prefix")));
}

}  // namespace
}  // namespace vix::test
