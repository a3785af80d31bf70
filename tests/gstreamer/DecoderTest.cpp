// SPDX-License-Identifier: BSD-2-Clause
// Pictures of the decoder: their samples, order, times and caps.
#include <gtest/gtest.h>

#include "Harness.h"

namespace vix::test {
namespace {

void ExpectSubset(const CapsPointer& caps, const std::string& superset) {
  ASSERT_TRUE(caps);
  gchar* const text = gst_caps_to_string(caps.get());
  EXPECT_TRUE(gst_caps_is_subset(caps.get(), CapsOf(superset).get())) << text;
  g_free(text);
}

class DecoderShapes : public testing::TestWithParam<Shape> {};
INSTANTIATE_TEST_SUITE_P(Decoder, DecoderShapes,
                         testing::Values(kSmall, kInterlaced, Shape{.width = 50, .height = 34},
                                         Shape{.width = 51, .height = 33}, kLarge));

TEST_P(DecoderShapes, PicturesComeOutInOrder) {
  DecoderHarness harness(GetParam());
  for (unsigned i = 0; i < kFrames; ++i) harness.Push(MakeProResBuffer(GetParam(), i));
  const auto pictures = harness.Finish();
  ASSERT_EQ(pictures.size(), kFrames);
  for (unsigned i = 0; i < kFrames; ++i) ExpectDecoded(pictures[i], GetParam(), i);
  ExpectSubset(harness.OutputCaps(), RawCaps(GetParam()));
}

TEST_P(DecoderShapes, DownstreamChoosesTheFormat) {
  Harness harness(kDecoder);
  harness.SetOutput("video/x-raw,format=UYVY");
  harness.SetInput(ProResCaps(GetParam()));
  for (unsigned i = 0; i < 3; ++i) {
    harness.Push(MakeProResBuffer(GetParam(), i));
    ExpectDecoded(harness.Pull(), GetParam(), i, kFourCC_UYVY);
  }
}

TEST(Decoder, FramesOfBitstreamVersion1AreDecodedUnchanged) {
  for (const FourCC fourcc : {kFourCC_V210, kFourCC_UYVY}) {
    Harness harness(kDecoder);
    harness.SetOutput(fourcc == kFourCC_V210 ? "video/x-raw,format=v210"
                                             : "video/x-raw,format=UYVY");
    harness.SetInput(ProResCaps(kSmall));
    Bytes frame = EncodeDirectly(kSmall, 3, ProResCodecVariant::Standard);
    frame.at(11) = 1;
    const auto input = Own(MakeBuffer(frame, 3));
    harness.Push(gst_buffer_ref(input.get()));
    ExpectDecoded(harness.Pull(), kSmall, 3, fourcc);
    EXPECT_TRUE(BytesOf(input) == frame);
    // The picture that is repeated is decoded again.
    frame.resize(frame.size() / 2);
    harness.Push(MakeBuffer(frame, 4));
    const auto repeated = harness.Pull();
    ASSERT_TRUE(repeated);
    EXPECT_TRUE(GST_BUFFER_FLAG_IS_SET(repeated.get(), GST_BUFFER_FLAG_CORRUPTED));
    GST_BUFFER_PTS(repeated.get()) = 3 * kFrameTime;
    ExpectDecoded(repeated, kSmall, 3, fourcc);
  }
}

TEST(Decoder, TheNumberOfThreadsDoesNotChangeThePictures) {
  std::vector<std::vector<Bytes>> results;
  for (const char* const threads : {"threads=1", "threads=2", "threads=7"}) {
    DecoderHarness harness(kSmall, threads);
    for (unsigned i = 0; i < kFrames; ++i) harness.Push(MakeProResBuffer(kSmall, i));
    auto& bytes = results.emplace_back();
    for (const auto& picture : harness.Finish()) bytes.push_back(BytesOf(picture));
    EXPECT_EQ(bytes.size(), kFrames);
  }
  EXPECT_TRUE(results[0] == results[1]);
  EXPECT_TRUE(results[0] == results[2]);
}

TEST(Decoder, APictureComesOutBeforeTheNextFrameGoesIn) {
  DecoderHarness harness(kSmall, "threads=4");
  for (unsigned i = 0; i < 5; ++i) {
    harness.Push(MakeProResBuffer(kSmall, i));
    ExpectDecoded(harness.Pull(), kSmall, i);
  }
}

TEST(Decoder, FramesOfEveryVariantAreTaken) {
  for (const auto& [name, variant] :
       {std::pair("proxy", ProResCodecVariant::Proxy), std::pair("lt", ProResCodecVariant::LT),
        std::pair("standard", ProResCodecVariant::Standard),
        std::pair("hq", ProResCodecVariant::HQ)}) {
    Harness harness(kDecoder);
    harness.SetInput(ProResCaps(kSmall, name));
    harness.Push(MakeProResBuffer(kSmall, 2, variant));
    ExpectDecoded(harness.Pull(), kSmall, 2);
  }
}

TEST(Decoder, CapsOfTheDemuxerAreKept) {
  Harness harness(kDecoder);
  harness.SetInput(ProResCaps(kInterlaced) + ",pixel-aspect-ratio=16/11,colorimetry=bt601");
  harness.Push(MakeProResBuffer(kInterlaced, 0));
  ASSERT_TRUE(harness.Pull());
  ExpectSubset(harness.OutputCaps(),
               RawCaps(kInterlaced) + ",pixel-aspect-ratio=16/11,colorimetry=bt601");
}

TEST(Decoder, FrameHeadersStateWhatTheCapsDoNot) {
  Harness encoder(kEncoder, "variant=hq");
  encoder.SetInput(RawCaps(kInterlaced) + ",colorimetry=bt709");
  encoder.Push(MakeRawBuffer(kInterlaced, 0));
  const auto frame = encoder.Pull();
  ASSERT_TRUE(frame);

  Harness harness(kDecoder);
  harness.SetInput("video/x-prores,variant=hq,width=64,height=32,framerate=25/1");
  harness.Push(gst_buffer_ref(frame.get()));
  ExpectDecoded(harness.Pull(), kInterlaced, 0);
  ExpectSubset(harness.OutputCaps(), RawCaps(kInterlaced) + ",colorimetry=bt709");
}

TEST(Decoder, ANewSizeOrRateTakesEffectAtItsFrame) {
  const std::vector<Shape> shapes{kSmall, Shape{.width = 96, .height = 48}, kInterlaced,
                                  Shape{.rate = {50, 1}}, kSmall};
  Harness harness(kDecoder);
  unsigned number = 0;
  std::vector<Shape> expected;
  for (const Shape& shape : shapes) {
    harness.SetInput(ProResCaps(shape));
    for (int i = 0; i < 4; ++i) {
      EXPECT_EQ(harness.Push(MakeProResBuffer(shape, number++)), GST_FLOW_OK);
      expected.push_back(shape);
    }
  }
  const auto pictures = harness.Finish();
  ASSERT_EQ(pictures.size(), expected.size());
  for (unsigned i = 0; i < pictures.size(); ++i) ExpectDecoded(pictures[i], expected[i], i);
}

TEST(Decoder, FrameHeadersChangeTheSizeWithoutNewCaps) {
  constexpr Shape kOther{.width = 96, .height = 48};
  DecoderHarness harness(kSmall);
  for (unsigned i = 0; i < kFrames; ++i) {
    const Shape& shape = i / 3 % 2 ? kOther : kSmall;
    harness.Push(MakeProResBuffer(shape, i));
    ExpectDecoded(harness.Pull(), shape, i);
    ExpectSubset(harness.OutputCaps(), RawCaps(shape));
  }
}

TEST(Decoder, FramesWithoutPrefixAreTaken) {
  DecoderHarness harness(kSmall);
  GstBuffer* const frame = MakeProResBuffer(kSmall, 0);
  gst_buffer_resize(frame, 8, -1);
  harness.Push(frame);
  ExpectDecoded(harness.Pull(), kSmall, 0);
}

TEST(Decoder, FramesWithoutTimesGetThoseOfTheFrameRate) {
  DecoderHarness harness(kSmall);
  for (unsigned i = 0; i < kFrames; ++i) {
    GstBuffer* const frame = MakeProResBuffer(kSmall, i);
    GST_BUFFER_PTS(frame) = GST_BUFFER_DTS(frame) = GST_BUFFER_DURATION(frame) =
        GST_CLOCK_TIME_NONE;
    harness.Push(frame);
  }
  const auto pictures = harness.Finish();
  ASSERT_EQ(pictures.size(), kFrames);
  for (unsigned i = 0; i < kFrames; ++i) ExpectDecoded(pictures[i], kSmall, i);
}

TEST(Decoder, CapsOfAnUnknownVariantAreNotNegotiated) {
  Harness harness(kDecoder);
  harness.SetInput(ProResCaps(kSmall, "raw"));
  EXPECT_EQ(harness.Push(MakeProResBuffer(kSmall, 0)), GST_FLOW_NOT_NEGOTIATED);
  EXPECT_FALSE(harness.TryPull());
}

TEST(Decoder, CapsWithoutASizeAreSurvived) {
  for (const char* const caps :
       {"video/x-prores,variant=hq", "video/x-prores,variant=hq,width=64,height=32,framerate=0/1",
        "video/x-prores,variant=hq,width=0,height=0,framerate=25/1"}) {
    Harness harness(kDecoder);
    harness.SetInput(caps);
    harness.Push(MakeProResBuffer(kSmall, 0));
    for (const auto& picture : harness.Finish()) ExpectDecoded(picture, kSmall, 0);
  }
}

TEST(Decoder, FramesThatAreTooLateAreDroppedUndecoded) {
  DecoderHarness harness(kSmall);
  harness.Push(MakeProResBuffer(kSmall, 0));
  ExpectDecoded(harness.Pull(), kSmall, 0);
  // The sink shows frame 9 now.
  gst_harness_push_upstream_event(
      harness.Get(), gst_event_new_qos(GST_QOS_TYPE_UNDERFLOW, 2.0, 0, 9 * kFrameTime));
  for (unsigned i = 1; i < 20; ++i) harness.Push(MakeProResBuffer(kSmall, i));
  const auto pictures = harness.Finish();
  ASSERT_FALSE(pictures.empty());
  EXPECT_LT(pictures.size(), 12U);
  const unsigned first = 20 - static_cast<unsigned>(pictures.size());
  EXPECT_GE(first, 9U);
  for (unsigned i = 0; i < pictures.size(); ++i) ExpectDecoded(pictures[i], kSmall, first + i);
  const auto message = harness.PopMessage(GST_MESSAGE_QOS);
  ASSERT_TRUE(message);
  guint64 dropped = 0;
  gst_message_parse_qos_stats(message.get(), nullptr, nullptr, &dropped);
  EXPECT_GT(dropped, 0U);
}

TEST(Decoder, WithoutQosNoFrameIsDropped) {
  DecoderHarness harness(kSmall, "qos=false");
  harness.Push(MakeProResBuffer(kSmall, 0));
  gst_harness_push_upstream_event(
      harness.Get(), gst_event_new_qos(GST_QOS_TYPE_UNDERFLOW, 2.0, 0, 9 * kFrameTime));
  for (unsigned i = 1; i < 20; ++i) harness.Push(MakeProResBuffer(kSmall, i));
  EXPECT_EQ(harness.Finish().size(), 20U);
}

}  // namespace
}  // namespace vix::test
