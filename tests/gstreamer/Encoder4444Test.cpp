// SPDX-License-Identifier: BSD-2-Clause
// Frames of 4444: which pictures become them, their bytes, alpha and matrix.
#include <gtest/gtest.h>

#include <tuple>

#include "Deep.h"
#include "LargeBlocks.h"
#include "Streams.h"
#include "vix/ProResFrame.h"

namespace vix::test {
namespace {

void ExpectEncoded4444(const BufferPointer& buffer, const DeepShape& shape, unsigned number,
                       WPRCodecType type = kWPRCodec4444, int alphaBits = 16) {
  ASSERT_TRUE(buffer) << "no frame " << number;
  EXPECT_EQ(GST_BUFFER_PTS(buffer.get()), number * kFrameTime);
  EXPECT_TRUE(WithoutLabels(BytesOf(buffer)) ==
              WithoutLabels(EncodeDirectly(shape, number, type, alphaBits)))
      << "frame " << number << " differs";
}

bool Takes(const Harness& harness, const std::string& format) {
  const auto caps = CapsOf("video/x-raw,format=" + format);
  return gst_caps_can_intersect(harness.InputCaps().get(), caps.get());
}

/// Expects that an encoder takes pictures of 4:2:2, or with alpha, or both.
void ExpectTakes(const Harness& harness, bool takes422, bool takes4444) {
  for (const char* const format : {"v210", "UYVY"}) EXPECT_EQ(Takes(harness, format), takes422);
  for (const char* const format : {"AYUV64", "ARGB64_BE"}) {
    EXPECT_EQ(Takes(harness, format), takes4444);
  }
}

using Kind = std::tuple<FourCC, ScanMode, std::pair<const char*, WPRCodecType>>;
class Encoder4444Kinds : public testing::TestWithParam<Kind> {
 protected:
  const DeepShape shape{.width = 70,
                        .height = 50,
                        .scanMode = std::get<1>(GetParam()),
                        .fourcc = std::get<0>(GetParam())};
  const std::string variant = std::get<2>(GetParam()).first;
  const WPRCodecType type = std::get<2>(GetParam()).second;
};
INSTANTIATE_TEST_SUITE_P(Encoder4444, Encoder4444Kinds,
                         testing::Combine(testing::Values(kFourCC_Y416, kFourCC_b64A),
                                          testing::Values(ScanMode::Progressive,
                                                          ScanMode::Interlaced),
                                          testing::Values(std::pair("4444", kWPRCodec4444),
                                                          std::pair("4444xq", kWPRCodec4444XQ))));

TEST_P(Encoder4444Kinds, FramesAreThoseOfTheCodecLibraryInOrder) {
  Harness harness(kEncoder, "variant=" + variant);
  harness.SetInput(RawCaps(shape));
  for (unsigned i = 0; i < kFrames; ++i) harness.Push(MakeRawBuffer(shape, i));
  const auto frames = harness.Finish();
  ASSERT_EQ(frames.size(), kFrames);
  for (unsigned i = 0; i < kFrames; ++i) ExpectEncoded4444(frames[i], shape, i, type);
  EXPECT_EQ(FieldOf(harness.OutputCaps(), "variant"), variant);
}

TEST_P(Encoder4444Kinds, DownstreamChoosesTheVariant) {
  Harness harness(kEncoder);
  harness.SetOutput("video/x-prores,variant=(string)" + variant);
  ExpectTakes(harness, false, true);
  harness.SetInput(RawCaps(shape));
  harness.Push(MakeRawBuffer(shape, 0));
  ExpectEncoded4444(harness.Pull(), shape, 0, type);
}

TEST_P(Encoder4444Kinds, PaddedRowsGiveTheSameFrames) {
  for (const std::size_t padding : {8U, 64U, 1000U}) {
    Harness harness(kEncoder, "variant=" + variant);
    harness.SetInput(RawCaps(shape));
    harness.Push(MakePaddedBuffer(shape, 3, padding));
    ExpectEncoded4444(harness.Pull(), shape, 3, type);
  }
}

TEST(Encoder4444, WithoutAVariantTheFormatDecides) {
  for (const auto& [caps, variant] :
       {std::pair(RawCaps(kDeep), "4444"), std::pair(RawCaps(kDeepRgb), "4444"),
        std::pair(RawCaps(kSmall), "standard")}) {
    Harness harness(kEncoder);
    ExpectTakes(harness, true, true);
    harness.SetInput(caps);
    EXPECT_EQ(FieldOf(harness.OutputCaps(), "variant"), variant);
  }
}

TEST(Encoder4444, TheVariantDecidesWhichFormatsAreTaken) {
  for (const char* const variant : {"proxy", "lt", "standard", "hq"}) {
    const Harness harness(kEncoder, std::string("variant=") + variant);
    ExpectTakes(harness, true, false);
  }
  for (const char* const variant : {"4444", "4444xq"}) {
    const Harness harness(kEncoder, std::string("variant=") + variant);
    ExpectTakes(harness, false, true);
  }
}

TEST(Encoder4444, DownstreamDecidesWhichFormatsAreTaken) {
  Harness harness(kEncoder);
  harness.SetOutput("video/x-prores,variant={lt,hq}");
  ExpectTakes(harness, true, false);
  harness.SetInput(RawCaps(kDeep));
  EXPECT_EQ(harness.Push(MakeRawBuffer(kDeep, 0)), GST_FLOW_NOT_NEGOTIATED);
}

TEST(Encoder4444, AlphaHasTheBitsOfTheProperty) {
  for (const auto& [property, bits] :
       {std::pair("-1", 16), {"auto", 16}, {"0", 0}, {"8", 8}, {"16", 16}}) {
    SCOPED_TRACE(property);
    Harness harness(kEncoder, std::string("alpha-bits=") + property);
    harness.SetInput(RawCaps(kDeep));
    harness.Push(MakeRawBuffer(kDeep, 5));
    const auto frame = harness.Pull();
    ExpectEncoded4444(frame, kDeep, 5, kWPRCodec4444, bits);

    Harness decoder(kDecoder);
    decoder.SetInput(ProResCaps(kDeep));
    decoder.Push(gst_buffer_ref(frame.get()));
    ExpectDecoded(decoder.Pull(), kDeep, 5, bits);
  }
}

TEST(Encoder4444, AlphaBitsDoNotChangeFramesOf422) {
  EncoderHarness harness(kSmall, "alpha-bits=8");
  harness.Push(MakeRawBuffer(kSmall, 1));
  EXPECT_TRUE(WithoutLabels(BytesOf(harness.Pull())) ==
              WithoutLabels(EncodeDirectly(kSmall, 1, ProResCodecVariant::Standard)));
}

TEST(Encoder4444, RgbIsConvertedWithTheMatrixOfTheCaps) {
  for (const auto& [colorimetry, matrix, range] : {std::tuple("", 1, "2:3:"),
                                                   {",colorimetry=sRGB", 1, "2:3:"},
                                                   {",colorimetry=bt709", 1, "bt709"},
                                                   {",colorimetry=bt601", 6, "bt601"},
                                                   {",colorimetry=bt2020", 9, "bt2020"},
                                                   {",colorimetry=smpte240m", 1, "2:3:"}}) {
    SCOPED_TRACE(colorimetry);
    DeepShape shape = kDeepRgb;
    shape.matrix = matrix;
    Harness harness(kEncoder);
    harness.SetInput(RawCaps(shape) + colorimetry);
    harness.Push(MakeRawBuffer(shape, 6));
    const auto frame = harness.Pull();
    ExpectEncoded4444(frame, shape, 6);
    const Bytes bytes = BytesOf(frame);
    EXPECT_EQ(ReadProResFrameHeader(bytes.data(), bytes.size()).labels.matrix, matrix);
    // The caps state it, too: range 16 to 235 and the matrix, in figures or by name.
    EXPECT_EQ(FieldOf(harness.OutputCaps(), "colorimetry").substr(0, std::string(range).size()),
              range);
  }
}

TEST(Encoder4444, YCbCrKeepsTheMatrixOfTheCaps) {
  for (const auto& [colorimetry, matrix] :
       {std::pair("bt709", 1), {"bt601", 6}, {"bt2020", 9}, {"smpte240m", 7}}) {
    Harness harness(kEncoder);
    harness.SetInput(RawCaps(kDeep) + ",colorimetry=" + colorimetry);
    harness.Push(MakeRawBuffer(kDeep, 0));
    const Bytes bytes = BytesOf(harness.Pull());
    EXPECT_EQ(ReadProResFrameHeader(bytes.data(), bytes.size()).labels.matrix, matrix);
    EXPECT_EQ(FieldOf(harness.OutputCaps(), "colorimetry"), colorimetry);
  }
}

TEST(Encoder4444, ANewFormatTakesEffectAtItsFrame) {
  Harness harness(kEncoder, "threads=2");
  for (unsigned round = 0; round < 4; ++round) {
    const DeepShape& deep = round % 2 ? kDeepRgb : kDeep;
    harness.SetInput(RawCaps(kSmall));
    for (unsigned i = 0; i < 3; ++i) harness.Push(MakeRawBuffer(kSmall, i));
    harness.SetInput(RawCaps(deep));
    for (unsigned i = 3; i < 6; ++i) harness.Push(MakeRawBuffer(deep, i));
    if (round == 2) {
      harness.Flush();
      while (harness.TryPull()) {
      }
      continue;
    }
    for (unsigned i = 0; i < 6; ++i) {
      const auto frame = harness.Pull();
      ASSERT_TRUE(frame);
      if (i >= 3) ExpectEncoded4444(frame, deep, i);
      if (i < 3) {
        EXPECT_TRUE(WithoutLabels(BytesOf(frame)) ==
                    WithoutLabels(EncodeDirectly(kSmall, i, ProResCodecVariant::Standard)));
      }
    }
  }
}

#ifndef GSTREAMER_TESTS_ARE_SANITIZED  // sanitizers replace the allocation functions themselves

/// Returns the blocks of the size of a picture that an encoder allocates for pictures with padded
/// rows.
unsigned CountBlocksOfPadded(std::size_t padding) {
  constexpr DeepShape kDeepFullHd{.width = 1920, .height = 1080};
  constexpr std::size_t kDeepBytes = std::size_t{8} * 1920 * 1080;
  Harness harness(kEncoder, "threads=1");
  harness.SetInput(RawCaps(kDeepFullHd));
  unsigned blocks = 0;
  for (unsigned i = 0; i < 3; ++i) {
    GstBuffer* const buffer = MakePaddedBuffer(kDeepFullHd, i, padding);
    CountLargeBlocks(kDeepBytes);
    harness.Push(buffer);
    EXPECT_TRUE(harness.Pull());
    blocks += CountLargeBlocks(kDeepBytes);
  }
  return blocks;
}

TEST(Encoder4444, FramesAreReadInPlace) {
  EXPECT_LT(CountBlocksOfPadded(0), CountBlocksOfPadded(8));
}

#endif

}  // namespace
}  // namespace vix::test
