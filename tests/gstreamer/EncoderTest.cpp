// SPDX-License-Identifier: BSD-2-Clause
// Frames of the encoder: their bytes, order, times and caps.
#include <gtest/gtest.h>

#include "Harness.h"
#include "Streams.h"

namespace vix::test {
namespace {

/// Expects the frame that the codec library makes of picture `number`, apart from its labels.
void ExpectEncoded(const BufferPointer& buffer, const Shape& shape, unsigned number,
                   ProResCodecVariant variant = ProResCodecVariant::Standard) {
  ASSERT_TRUE(buffer) << "no frame " << number;
  EXPECT_EQ(GST_BUFFER_PTS(buffer.get()), number * kFrameTime);
  EXPECT_EQ(GST_BUFFER_DURATION(buffer.get()), kFrameTime);
  EXPECT_FALSE(GST_BUFFER_FLAG_IS_SET(buffer.get(), GST_BUFFER_FLAG_DELTA_UNIT));
  EXPECT_TRUE(WithoutLabels(BytesOf(buffer)) ==
              WithoutLabels(EncodeDirectly(shape, number, variant)))
      << "frame " << number << " differs";
}

struct Variant {
  const char* name;
  ProResCodecVariant value;
};
class EncoderVariants : public testing::TestWithParam<Variant> {};
INSTANTIATE_TEST_SUITE_P(Encoder, EncoderVariants,
                         testing::Values(Variant{"proxy", ProResCodecVariant::Proxy},
                                         Variant{"lt", ProResCodecVariant::LT},
                                         Variant{"standard", ProResCodecVariant::Standard},
                                         Variant{"hq", ProResCodecVariant::HQ}),
                         [](const auto& test) { return std::string(test.param.name); });

TEST_P(EncoderVariants, ThePropertyChoosesTheVariant) {
  EncoderHarness harness(kSmall, std::string("variant=") + GetParam().name);
  harness.Push(MakeRawBuffer(kSmall, 0));
  ExpectEncoded(harness.Pull(), kSmall, 0, GetParam().value);
  EXPECT_EQ(FieldOf(harness.OutputCaps(), "variant"), GetParam().name);
}

TEST_P(EncoderVariants, DownstreamChoosesTheVariant) {
  Harness harness(kEncoder);
  harness.SetOutput(std::string("video/x-prores,variant=") + GetParam().name);
  harness.SetInput(RawCaps(kSmall));
  harness.Push(MakeRawBuffer(kSmall, 0));
  ExpectEncoded(harness.Pull(), kSmall, 0, GetParam().value);
}

class EncoderShapes : public testing::TestWithParam<Shape> {};
INSTANTIATE_TEST_SUITE_P(
    Encoder, EncoderShapes,
    testing::Values(kSmall, kInterlaced, Shape{.fourcc = kFourCC_UYVY},
                    Shape{.scanMode = ScanMode::Interlaced, .fourcc = kFourCC_UYVY},
                    Shape{.width = 50, .height = 34},                          // padded rows
                    Shape{.width = 51, .height = 33, .fourcc = kFourCC_UYVY},  // odd
                    kLarge));

TEST_P(EncoderShapes, FramesAreThoseOfTheCodecLibraryInOrder) {
  EncoderHarness harness(GetParam(), "variant=standard");
  for (unsigned i = 0; i < kFrames; ++i) harness.Push(MakeRawBuffer(GetParam(), i));
  const auto frames = harness.Finish();
  ASSERT_EQ(frames.size(), kFrames);
  for (unsigned i = 0; i < kFrames; ++i) ExpectEncoded(frames[i], GetParam(), i);
}

TEST_P(EncoderShapes, PaddedRowsGiveTheSameFrames) {
  for (const std::size_t padding : {4U, 128U, 1000U}) {
    EncoderHarness harness(GetParam(), "variant=standard");
    harness.Push(MakePaddedBuffer(GetParam(), 3, padding));
    ExpectEncoded(harness.Pull(), GetParam(), 3);
  }
}

TEST(Encoder, TheNumberOfThreadsDoesNotChangeTheFrames) {
  for (const char* const threads : {"threads=1", "threads=2", "threads=7"}) {
    EncoderHarness harness(kSmall, threads + std::string(" variant=hq"));
    for (unsigned i = 0; i < kFrames; ++i) harness.Push(MakeRawBuffer(kSmall, i));
    const auto frames = harness.Finish();
    ASSERT_EQ(frames.size(), kFrames);
    for (unsigned i = 0; i < kFrames; ++i) {
      ExpectEncoded(frames[i], kSmall, i, ProResCodecVariant::HQ);
    }
  }
}

TEST(Encoder, AFrameComesOutBeforeTheNextOneGoesIn) {
  EncoderHarness harness(kSmall, "variant=standard");
  for (unsigned i = 0; i < 5; ++i) {
    harness.Push(MakeRawBuffer(kSmall, i));
    ExpectEncoded(harness.Pull(), kSmall, i);
  }
}

TEST(Encoder, CapsDescribeTheStream) {
  Harness harness(kEncoder, "variant=hq");
  harness.SetInput(RawCaps(kInterlaced) + ",pixel-aspect-ratio=16/11,colorimetry=bt601");
  harness.Push(MakeRawBuffer(kInterlaced, 0));
  ASSERT_TRUE(harness.Pull());
  EXPECT_TRUE(gst_caps_is_subset(
      harness.OutputCaps().get(),
      CapsOf(ProResCaps(kInterlaced, "hq") + ",pixel-aspect-ratio=16/11,colorimetry=bt601").get()))
      << std::unique_ptr<gchar, decltype(&g_free)>(gst_caps_to_string(harness.OutputCaps().get()),
                                                   g_free)
             .get();
}

TEST(Encoder, FramesLabelRateAspectAndColour) {
  Harness harness(kEncoder, "variant=hq");
  harness.SetInput(RawCaps(kSmall) + ",colorimetry=bt709,pixel-aspect-ratio=1/1");
  harness.Push(MakeRawBuffer(kSmall, 0));
  const auto frame = harness.Pull();
  ASSERT_TRUE(frame);
  const Bytes bytes = BytesOf(frame);
  // RDD 36: aspect and rate, primaries, transfer, matrix. 3 = 25 frames per second, 1 = BT.709.
  EXPECT_EQ(bytes.at(21) & 0xf, 3);
  EXPECT_EQ(Bytes(bytes.begin() + 22, bytes.begin() + 25), (Bytes{1, 1, 1}));
}

TEST(Encoder, ANewSizeFormatOrRateTakesEffectAtItsFrame) {
  const std::vector<Shape> shapes{kSmall,
                                  Shape{.width = 96, .height = 48},
                                  Shape{.width = 96, .height = 48, .fourcc = kFourCC_UYVY},
                                  kInterlaced,
                                  Shape{.rate = {50, 1}},
                                  kSmall};
  Harness harness(kEncoder, "variant=standard");
  unsigned number = 0;
  std::vector<Shape> expected;
  for (const Shape& shape : shapes) {
    harness.SetInput(RawCaps(shape));
    for (int i = 0; i < 4; ++i) {
      EXPECT_EQ(harness.Push(MakeRawBuffer(shape, number++)), GST_FLOW_OK);
      expected.push_back(shape);
    }
  }
  const auto frames = harness.Finish();
  ASSERT_EQ(frames.size(), expected.size());
  for (unsigned i = 0; i < frames.size(); ++i) ExpectEncoded(frames[i], expected[i], i);
}

TEST(Encoder, AFlushDropsFramesAndTheNextOnesFollow) {
  EncoderHarness harness(kSmall, "variant=standard");
  for (unsigned i = 0; i < kFrames; ++i) harness.Push(MakeRawBuffer(kSmall, i));
  harness.Flush();
  while (harness.TryPull()) {
  }
  for (unsigned i = 0; i < kFrames; ++i) harness.Push(MakeRawBuffer(kSmall, i));
  const auto frames = harness.Finish();
  ASSERT_EQ(frames.size(), kFrames);
  for (unsigned i = 0; i < kFrames; ++i) ExpectEncoded(frames[i], kSmall, i);
}

class RefusedCaps : public testing::TestWithParam<const char*> {};
INSTANTIATE_TEST_SUITE_P(
    Encoder, RefusedCaps,
    testing::Values("video/x-raw,format=I420,width=64,height=32,framerate=25/1",
                    "video/x-raw,format=v210,width=1,height=32,framerate=25/1",
                    "video/x-raw,format=v210,width=64,height=1,framerate=25/1",
                    "video/x-raw,format=v210,width=65536,height=32,framerate=25/1",
                    "video/x-raw,format=v210,width=64,height=32,framerate=25/1,"
                    "interlace-mode=mixed"));

TEST_P(RefusedCaps, AreNotNegotiated) {
  Harness harness(kEncoder);
  harness.SetInput(GetParam());
  EXPECT_EQ(harness.Push(MakeRawBuffer(kSmall, 0)), GST_FLOW_NOT_NEGOTIATED);
  EXPECT_FALSE(harness.TryPull());
}

TEST(Encoder, AFrameThatIsTooSmallEndsTheStreamWithAMessage) {
  EncoderHarness harness(kSmall);
  GstFlowReturn result = harness.Push(MakeBuffer(Bytes(100), 0));
  for (unsigned i = 1; i < 1000 && result == GST_FLOW_OK; ++i) {
    result = harness.Push(MakeRawBuffer(kSmall, i));  // the error may come a few frames later
  }
  EXPECT_EQ(result, GST_FLOW_ERROR);
  EXPECT_FALSE(harness.TryPull());
  EXPECT_EQ(harness.PopTexts(GST_MESSAGE_ERROR).size(), 1U);
}

}  // namespace
}  // namespace vix::test
