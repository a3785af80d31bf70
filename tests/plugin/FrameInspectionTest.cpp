// SPDX-License-Identifier: BSD-2-Clause
#include "CompressedFrames.h"
#include "PluginTest.h"
#include "VideoDecoderProRes.h"

namespace {

using Details = vix::VideoDecoderProRes::COMP_DETAILS_STRUCT;

/// Returns details with values that no test frame has.
Details MakeUntouched() {
  return {7777, 7778, 77, true, 99, true, 98, false, 7779, 7780};
}

class FrameInspectionTest : public PluginTest {
 protected:
  /// Parses a copy of exactly these bytes, so that an address sanitizer detects reads outside.
  bool InspectBytes(const std::vector<std::uint8_t>& frame) {
    details = MakeUntouched();
    const auto copy = std::make_unique<std::uint8_t[]>(frame.size());
    std::copy(frame.begin(), frame.end(), copy.get());
    return vix::VideoDecoderProRes::GetCompressedFrameDetails(details, copy.get(), frame.size());
  }
  bool Inspect(const FrameShape& shape) { return InspectBytes(MakeCompressedFrame(shape)); }

  Details details = MakeUntouched();
};

TEST_F(FrameInspectionTest, ParsesAStandardFrameAfterItsPrefix) {
  EXPECT_TRUE(Inspect({.headerSize = 212,
                       .width = 4096,
                       .height = 2161,
                       .chromaFormat = 3,
                       .interlaceMode = 1,
                       .aspectRatio = 3,
                       .matrixCoefficients = 9,
                       .pictureSize = 0x01020304}));
  EXPECT_TRUE(details.valid);
  EXPECT_FALSE(details.bare);
  EXPECT_EQ(details.headerSize, 212U);
  EXPECT_EQ(details.width, 4096U);
  EXPECT_EQ(details.height, 2161U);
  EXPECT_EQ(details.chromaFormat, 3U);
  EXPECT_FALSE(details.progressive);
  EXPECT_EQ(details.aspectRatioCode, 3);
  EXPECT_EQ(details.matrixCoefficients, 9);
  EXPECT_EQ(details.pictureSize, 0x01020304U);
}

TEST_F(FrameInspectionTest, ParsesABareFrameFromItsFirstByte) {
  EXPECT_TRUE(Inspect({.bare = true, .width = 720, .height = 486, .pictureSize = 99}));
  EXPECT_TRUE(details.valid);
  EXPECT_TRUE(details.bare);
  EXPECT_EQ(details.width, 720U);
  EXPECT_EQ(details.height, 486U);
  EXPECT_EQ(details.chromaFormat, 2U);
  EXPECT_TRUE(details.progressive);
  EXPECT_EQ(details.pictureSize, 99U);
}

TEST_F(FrameInspectionTest, RejectsNull) {
  EXPECT_FALSE(vix::VideoDecoderProRes::GetCompressedFrameDetails(details, nullptr, 1000));
  EXPECT_FALSE(details.valid);
  EXPECT_FALSE(details.bare);
  EXPECT_EQ(details.headerSize, 7779U);
}

TEST_F(FrameInspectionTest, AnotherBitstreamVersionIsRejectedAfterTheHeaderSize) {
  EXPECT_FALSE(Inspect({.bare = true, .headerSize = 148, .bitstreamVersion = 1}));
  EXPECT_FALSE(details.valid);
  EXPECT_TRUE(details.bare);
  EXPECT_EQ(details.headerSize, 148U);
  EXPECT_EQ(details.width, 7777U);
}

TEST_F(FrameInspectionTest, OtherChromaFormatsAreRejectedAfterTheSize) {
  for (const unsigned chroma : {0U, 1U}) {
    EXPECT_FALSE(Inspect({.width = 640, .height = 480, .chromaFormat = chroma}));
    EXPECT_FALSE(details.valid);
    EXPECT_EQ(details.width, 640U);
    EXPECT_EQ(details.height, 480U);
    EXPECT_EQ(details.chromaFormat, 77U);
  }
}

TEST_F(FrameInspectionTest, SetsProgressiveFromTheInterlaceMode) {
  EXPECT_TRUE(Inspect({.interlaceMode = 0}));
  EXPECT_TRUE(details.progressive);
  EXPECT_TRUE(Inspect({.interlaceMode = 1}));
  EXPECT_FALSE(details.progressive);
  EXPECT_TRUE(Inspect({.interlaceMode = 2}));
  EXPECT_FALSE(details.progressive);
  EXPECT_FALSE(Inspect({.chromaFormat = 3, .interlaceMode = 3}));
  EXPECT_FALSE(details.valid);
  EXPECT_EQ(details.chromaFormat, 3U);
  EXPECT_TRUE(details.progressive);  // untouched
  EXPECT_EQ(details.aspectRatioCode, 99);
}

TEST_F(FrameInspectionTest, UnknownAspectRatiosBecomeZero) {
  for (unsigned code = 0; code < 16; ++code) {
    EXPECT_TRUE(Inspect({.aspectRatio = code}));
    EXPECT_EQ(details.aspectRatioCode, code >= 1 && code <= 4 ? code : 0);
  }
}

TEST_F(FrameInspectionTest, TheHeaderSizeIsNotComparedWithTheParsedFields) {
  EXPECT_TRUE(Inspect({.headerSize = 20, .pictureSize = 0xFFFFFFFF}));
  EXPECT_EQ(details.headerSize, 20U);
  EXPECT_EQ(details.pictureSize, 0xFFFFFFFFU);
  auto frame = MakeCompressedFrame({});
  PutBigEndian(frame, 8, 0, 2);
  EXPECT_TRUE(InspectBytes(frame));
  EXPECT_EQ(details.headerSize, 0U);
  // Bytes 1 to 4 of the header: size, reserved, version, encoder identifier.
  EXPECT_EQ(details.pictureSize, 0x000A0066U);
}

TEST_F(FrameInspectionTest, EveryFrameThatEndsBeforeTheLastParsedFieldIsRejected) {
  for (const bool bare : {false, true}) {
    const std::size_t needed = (bare ? 0 : 8) + 148 + 5;
    const auto frame = MakeCompressedFrame({.bare = bare, .pictureSize = 70000});
    for (std::size_t bytes = 0; bytes < needed; ++bytes) {
      EXPECT_FALSE(
          InspectBytes({frame.begin(), frame.begin() + static_cast<std::ptrdiff_t>(bytes)}))
          << bytes;
      EXPECT_FALSE(details.valid);
      EXPECT_TRUE(details.bare || bytes >= 8);
      const bool fieldsWereThere = bytes >= (bare ? 17U : 25U);
      EXPECT_EQ(details.headerSize, fieldsWereThere ? 148U : 7779U);
      EXPECT_EQ(details.pictureSize, 7780U);
    }
    EXPECT_TRUE(InspectBytes({frame.begin(), frame.begin() + static_cast<std::ptrdiff_t>(needed)}));
    EXPECT_EQ(details.pictureSize, 70000U);
  }
}

TEST_F(FrameInspectionTest, AHeaderLargerThanTheFrameKeepsTheFieldsParsedBefore) {
  auto frame = MakeCompressedFrame({.bare = true, .matrixCoefficients = 6});
  PutBigEndian(frame, 0, 0xFFFF, 2);
  EXPECT_FALSE(InspectBytes(frame));
  EXPECT_FALSE(details.valid);
  EXPECT_EQ(details.headerSize, 0xFFFFU);
  EXPECT_EQ(details.width, 1920U);
  EXPECT_EQ(details.matrixCoefficients, 6);
  EXPECT_EQ(details.pictureSize, 7780U);
}

TEST_F(FrameInspectionTest, NothingIsLoggedOrCalled) {
  EXPECT_TRUE(Inspect({}));
  EXPECT_FALSE(Inspect({.bitstreamVersion = 2}));
  EXPECT_TRUE(fake::TheHost().calls.empty());
}

}  // namespace
