// SPDX-License-Identifier: BSD-2-Clause
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "ProRes/ProRes.h"
#include "ReferenceCodec.h"
#include "frames/FrameCheck.h"

namespace vixprores {
namespace {

using reference::Stream;
using reference::StreamSpec;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

constexpr std::uint32_t kWidth = 50;
constexpr std::uint32_t kHeight = 34;

StreamSpec PlainSpec() {
  StreamSpec spec;
  spec.width = kWidth;
  spec.height = kHeight;
  spec.log2SliceSize = 1;
  spec.quantizationIndex = [](int slice) { return 60 + slice; };
  return spec;
}

StreamSpec FieldSpec() {
  StreamSpec spec = PlainSpec();
  spec.interlaceMode = 1;
  return spec;
}

// Returns streams of every kind that decoders accept.
std::vector<StreamSpec> Specs() {
  std::vector<StreamSpec> specs{PlainSpec(), FieldSpec(), PlainSpec(),
                                FieldSpec(), PlainSpec(), PlainSpec()};
  specs[2].chroma444 = true;
  specs[2].alphaType = 2;
  specs[2].lumaMatrix.emplace().fill(9);
  specs[3].interlaceMode = 2;
  specs[3].chroma444 = true;
  specs[3].height = 33;  // the fields differ in macroblock rows
  specs[3].equalFieldRows = true;
  specs[4].extraFrameHeaderBytes = 1;
  specs[4].extraPictureHeaderBytes = 2;
  specs[4].extraSliceHeaderBytes = 3;
  specs[4].trailingZeroBytes = 2;
  specs[4].picturePaddingBytes = 5;
  specs[4].framePaddingBytes = 7;
  specs[5].alphaType = 1;
  return specs;
}

Stream Make(const StreamSpec& spec) {
  Stream stream = MakeStream(spec, reference::NaturalSource(5));
  stream.bytes[11] = 0;  // the version that the decoder element accepts
  return stream;
}

// Returns the result of the codec library. Decodes the alpha of streams that have it.
std::int32_t Decode(const std::vector<std::uint8_t>& frame, const StreamSpec& spec) {
  const bool hasAlpha = spec.alphaType != 0;
  const std::uint32_t rowBytes = hasAlpha ? 8 * kWidth : 256;
  const auto height = static_cast<std::uint32_t>(spec.height);
  std::vector<std::uint8_t> pixels(std::size_t{rowBytes} * height);
  PixelBufferRecord picture{pixels.data(), rowBytes,
                            hasAlpha ? kWPRPixelFormatY416 : kWPRPixelFormatV210, kWidth, height};
  const WPRDecoderHandle decoder = WPROpenDecoder(1, nullptr);
  const std::int32_t result =
      WPRDecodeFrame(decoder, frame.data(), static_cast<std::uint32_t>(frame.size()), &picture, 0);
  WPRCloseDecoder(decoder);
  return result;
}

TEST(FrameCheck, FindsNothingInFramesOfEveryKind) {
  for (const StreamSpec& spec : Specs()) {
    const FrameCheck check = CheckFrame(Make(spec).bytes);
    EXPECT_TRUE(check.IsIntact()) << check.Describe();
    EXPECT_EQ(check.Describe(), "");
  }
}

TEST(FrameCheck, AgreesWithTheDecoderOnDamage) {
  int refused = 0;
  int concealed = 0;
  for (const StreamSpec& spec : Specs()) {
    const Stream stream = Make(spec);
    for (std::size_t bit = 0; bit < 8 * stream.bytes.size(); bit += 37) {
      // The decoder rejects a size other than that of the destination.
      if (bit / 8 >= 16 && bit / 8 < 20) continue;
      std::vector<std::uint8_t> bytes = stream.bytes;
      bytes[bit / 8] ^= static_cast<std::uint8_t>(0x80 >> bit % 8);
      const std::int32_t result = Decode(bytes, spec);
      const FrameCheck check = CheckFrame(bytes);
      if (result < 0) {
        ++refused;
        EXPECT_THAT(check.faults, Not(IsEmpty())) << bit;
      } else {
        concealed += result;
        EXPECT_EQ(check.slices.size(), static_cast<std::size_t>(result)) << bit;
      }
    }
  }
  EXPECT_GT(refused, 30);
  EXPECT_GT(concealed, 100);
}

TEST(FrameCheck, CountsDamagedColoursAndAlphaApart) {
  EXPECT_EQ((SliceDamage{2, 0}).Describe(), "2 damaged slices");
  EXPECT_EQ((SliceDamage{0, 1}).Describe(), "1 slice with damaged alpha");
  FrameCheck check;
  check.slices.resize(3);
  check.slices[1].hasColours = true;
  EXPECT_EQ(check.Describe(), "2 damaged slices and 1 slice with damaged alpha");
}

TEST(FrameCheck, LocatesTheDamagedSlice) {
  const Stream stream = Make(FieldSpec());
  // Find the last slice of the first row of the second field.
  const reference::SliceInfo* slice = nullptr;
  for (const auto& each : stream.slices) {
    if (each.picture == 1 && each.row == 0) slice = &each;
  }
  ASSERT_NE(slice, nullptr);
  std::vector<std::uint8_t> bytes = stream.bytes;
  bytes[slice->offset + 2] = 0xff;  // the size of its luma
  const FrameCheck check = CheckFrame(bytes);
  EXPECT_THAT(check.faults, IsEmpty());
  ASSERT_EQ(check.slices.size(), 1u);
  EXPECT_EQ(check.slices[0].picture, 1u);
  EXPECT_EQ(check.slices[0].row, 0u);
  EXPECT_EQ(check.slices[0].index, 1u);
  EXPECT_EQ(check.slices[0].offset, slice->offset);
  EXPECT_EQ(check.Describe(), "1 damaged slice");
}

TEST(FrameCheck, FindsAlphaThatEndsTooEarly) {
  for (const int type : {1, 2}) {
    StreamSpec spec = PlainSpec();
    spec.chroma444 = true;
    spec.alphaType = type;
    const Stream stream = Make(spec);
    const reference::SliceInfo& slice = stream.slices.at(1);
    std::vector<std::uint8_t> bytes = stream.bytes;
    EXPECT_EQ(CheckFrame(bytes).Describe(), "");
    // Leave alpha its last byte only; Cr gets the others as padding, which is zeros.
    const auto sizeAt = [&](std::size_t place) {
      return bytes.at(slice.offset + place) << 8 | bytes.at(slice.offset + place + 1);
    };
    const std::size_t header = bytes.at(slice.offset) >> 3;
    const std::size_t colours =
        header + static_cast<std::size_t>(sizeAt(2) + sizeAt(4) + sizeAt(6));
    ASSERT_LT(colours + 1, slice.bytes);
    std::fill(bytes.begin() + static_cast<std::ptrdiff_t>(slice.offset + colours),
              bytes.begin() + static_cast<std::ptrdiff_t>(slice.offset + slice.bytes), 0);
    const auto crBytes = slice.bytes - 1 - (colours - static_cast<std::size_t>(sizeAt(6)));
    bytes[slice.offset + 6] = static_cast<std::uint8_t>(crBytes >> 8);
    bytes[slice.offset + 7] = static_cast<std::uint8_t>(crBytes & 0xFF);
    const FrameCheck check = CheckFrame(bytes);
    ASSERT_EQ(check.slices.size(), 1u) << check.Describe();
    EXPECT_EQ(check.slices[0].offset, slice.offset);
    EXPECT_EQ(Decode(bytes, spec), 1);
  }
}

std::string Describe(std::vector<std::uint8_t> bytes, std::size_t place, std::uint8_t value) {
  bytes.at(place) = value;
  return CheckFrame(bytes).Describe();
}

TEST(FrameCheck, FindsFaultsThatDecodersIgnore) {
  const Stream plain = Make(PlainSpec());
  EXPECT_THAT(Describe(plain.bytes, 0, 1), HasSubstr("bytes, but"));
  EXPECT_THAT(Describe(plain.bytes, 2, 0), HasSubstr("bytes, but"));
  EXPECT_EQ(Describe(plain.bytes, 11, 1), "");  // a bitstream version of RDD 36
  EXPECT_THAT(Describe(plain.bytes, plain.slices[2].offset + 1, 225),
              HasSubstr("1 quantisers of picture 1 outside 1 to 224"));
  const Stream padded = Make(Specs()[4]);
  EXPECT_THAT(Describe(padded.bytes, padded.bytes.size() - 1, 1),
              HasSubstr("after the last picture"));
  EXPECT_THAT(Describe(padded.bytes, padded.bytes.size() - 8, 1),
              HasSubstr("after the slices of picture"));
}

TEST(FrameCheck, AcceptsZerosAfterTheFrame) {
  Stream stream = Make(PlainSpec());
  stream.bytes.resize(stream.bytes.size() + 40);
  EXPECT_TRUE(CheckFrame(stream.bytes).IsIntact());
}

TEST(FrameCheck, DetectsEveryTruncation) {
  const Stream stream = Make(FieldSpec());
  for (std::size_t size = 0; size < stream.bytes.size(); ++size) {
    const std::vector<std::uint8_t> cut(stream.bytes.begin(),
                                        stream.bytes.begin() + static_cast<std::ptrdiff_t>(size));
    EXPECT_FALSE(CheckFrame(cut).IsIntact()) << size;
  }
}

TEST(FrameCheck, DescribesFaultsInTheirOrder) {
  FrameCheck check;
  check.faults = {"one", "two"};
  check.slices.resize(3);
  EXPECT_EQ(check.Describe(), "one; two; 3 damaged slices");
}

}  // namespace
}  // namespace vixprores
