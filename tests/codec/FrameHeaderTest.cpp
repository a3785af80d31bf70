// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>

#include <numeric>
#include <vector>

#include "bitstream/FrameHeader.h"

namespace prores {
namespace {

std::vector<std::uint8_t> Written(const FrameHeader& header, std::size_t bytesBehind = 0) {
  std::vector<std::uint8_t> bytes(FrameHeaderBytes(header) + bytesBehind);
  WriteFrameHeader(header, static_cast<std::uint32_t>(bytes.size()), bytes.data());
  return bytes;
}

FrameHeader Plain() {
  FrameHeader header;
  header.width = 720;
  header.height = 576;
  return header;
}

QuantMatrix Ramp(int first) {
  QuantMatrix matrix;
  std::iota(matrix.begin(), matrix.end(), static_cast<std::uint8_t>(first));
  return matrix;
}

Status ParseOnly(const std::vector<std::uint8_t>& bytes) {
  FrameHeader header;
  std::span<const std::uint8_t> pictures;
  return ParseFrameHeader(bytes, header, pictures);
}

TEST(FrameHeader, IsReadWithoutItsPrefix) {
  FrameHeader header = Plain();
  header.lumaMatrix = Ramp(2);
  const auto bytes = Written(header, 5);
  const auto bare = std::span(bytes).subspan(kFramePrefixBytes);
  EXPECT_TRUE(HasFramePrefix(bytes));
  EXPECT_FALSE(HasFramePrefix(bare));

  FrameHeader parsed;
  std::span<const std::uint8_t> pictures;
  ASSERT_EQ(ParseBareFrameHeader(bare, parsed, pictures), Status::kSuccess);
  EXPECT_EQ(pictures.data(), bytes.data() + 156);
  EXPECT_EQ(Written(parsed, 5), bytes);
  for (std::size_t size = 0; size < 148; ++size) {
    EXPECT_EQ(ParseBareFrameHeader(bare.first(size), parsed, pictures), Status::kTruncated) << size;
  }
}

TEST(FrameHeader, WritesTheSyntaxElementsInTheirPlaces) {
  FrameHeader header = Plain();
  header.encoderIdentifier = {'v', 'i', 'x', 'p'};
  header.interlaceMode = InterlaceMode::kTopFieldFirst;
  header.aspectRatio = 3;
  header.frameRate = 4;
  header.colorPrimaries = 5;
  header.transferCharacteristic = 6;
  header.matrixCoefficients = 7;
  const std::vector<std::uint8_t> expected{0,    0,    0,   28,  'i', 'c', 'p',  'f',  0, 20,
                                           0,    0,    'v', 'i', 'x', 'p', 0x02, 0xD0, 2, 0x40,
                                           0x84, 0x34, 5,   6,   7,   0,   0,    0};
  EXPECT_EQ(Written(header), expected);
}

TEST(FrameHeader, ReadsBackWhatItWrites) {
  FrameHeader header = Plain();
  header.version = 1;
  header.encoderIdentifier = {1, 2, 3, 4};
  header.chromaFormat = ChromaFormat::k444;
  header.interlaceMode = InterlaceMode::kBottomFieldFirst;
  header.aspectRatio = 15;
  header.frameRate = 10;
  header.colorPrimaries = 5;
  header.transferCharacteristic = 6;
  header.matrixCoefficients = 7;
  header.alphaType = AlphaType::k16Bit;
  header.lumaMatrix = Ramp(2);
  header.chromaMatrix = Ramp(3);
  const auto bytes = Written(header, 5);
  ASSERT_EQ(bytes.size(), 156u + 5u);

  FrameHeader parsed;
  std::span<const std::uint8_t> pictures;
  ASSERT_EQ(ParseFrameHeader(bytes, parsed, pictures), Status::kSuccess);
  EXPECT_EQ(pictures.data(), bytes.data() + 156);
  EXPECT_EQ(pictures.size(), 5u);
  EXPECT_EQ(Written(parsed, 5), bytes);
  EXPECT_EQ(parsed.version, header.version);
  EXPECT_EQ(parsed.encoderIdentifier, header.encoderIdentifier);
  EXPECT_EQ(parsed.width, header.width);
  EXPECT_EQ(parsed.height, header.height);
  EXPECT_EQ(parsed.chromaFormat, header.chromaFormat);
  EXPECT_EQ(parsed.interlaceMode, header.interlaceMode);
  EXPECT_EQ(parsed.aspectRatio, header.aspectRatio);
  EXPECT_EQ(parsed.frameRate, header.frameRate);
  EXPECT_EQ(parsed.colorPrimaries, header.colorPrimaries);
  EXPECT_EQ(parsed.transferCharacteristic, header.transferCharacteristic);
  EXPECT_EQ(parsed.matrixCoefficients, header.matrixCoefficients);
  EXPECT_EQ(parsed.alphaType, header.alphaType);
  EXPECT_EQ(parsed.lumaMatrix, Ramp(2));
  EXPECT_EQ(parsed.chromaMatrix, Ramp(3));
}

TEST(FrameHeader, UsesTheLumaMatrixForChromaUnlessOneIsTransmitted) {
  FrameHeader header = Plain();
  header.lumaMatrix = Ramp(2);
  auto bytes = Written(header);
  struct Case {
    std::uint8_t flags;
    QuantMatrix luma;
    QuantMatrix chroma;
  };
  for (const Case& c : {Case{0, kDefaultQuantMatrix, kDefaultQuantMatrix},
                        Case{2, Ramp(2), Ramp(2)}, Case{1, kDefaultQuantMatrix, Ramp(2)}}) {
    bytes[27] = c.flags;
    FrameHeader parsed;
    std::span<const std::uint8_t> pictures;
    ASSERT_EQ(ParseFrameHeader(bytes, parsed, pictures), Status::kSuccess);
    EXPECT_EQ(parsed.lumaMatrix, c.luma);
    EXPECT_EQ(parsed.chromaMatrix, c.chroma);
  }
}

TEST(FrameHeader, RejectsInvalidFields) {
  struct Case {
    std::size_t offset;
    std::uint8_t value;
    Status status;
    const char* name;
  };
  const Case cases[] = {
      {4, 'x', Status::kBadHeader, "identifier"},
      {9, 19, Status::kBadHeader, "header too small"},
      {9, 21, Status::kTruncated, "header after the end"},
      {8, 0xFF, Status::kTruncated, "header far after the end"},
      {10, 1, Status::kUnsupported, "upper half of the version"},
      {11, 2, Status::kUnsupported, "version"},
      {20, 0x00, Status::kBadHeader, "chroma format 0"},
      {20, 0x40, Status::kBadHeader, "chroma format 1"},
      {20, 0x8C, Status::kBadHeader, "interlace mode 3"},
      {25, 3, Status::kBadHeader, "alpha type"},
      {27, 1, Status::kBadHeader, "chroma matrix missing"},
      {27, 2, Status::kBadHeader, "luma matrix missing"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    auto bytes = Written(Plain());
    ASSERT_EQ(ParseOnly(bytes), Status::kSuccess);
    bytes[c.offset] = c.value;
    EXPECT_EQ(ParseOnly(bytes), c.status);
  }
}

TEST(FrameHeader, RejectsASizeOfZero) {
  for (const std::size_t offset : {16u, 18u}) {
    auto bytes = Written(Plain());
    bytes[offset] = bytes[offset + 1] = 0;
    EXPECT_EQ(ParseOnly(bytes), Status::kBadHeader);
  }
}

TEST(FrameHeader, RejectsAWeightOfZero) {
  FrameHeader header = Plain();
  header.lumaMatrix = Ramp(2);
  for (const std::size_t offset : {28u, 91u, 92u, 155u}) {
    auto bytes = Written(header);
    ASSERT_EQ(ParseOnly(bytes), Status::kSuccess);
    bytes[offset] = 0;
    EXPECT_EQ(ParseOnly(bytes), Status::kBadHeader);
  }
}

TEST(FrameHeader, RejectsEveryPrefix) {
  FrameHeader header = Plain();
  header.lumaMatrix = Ramp(2);
  const auto bytes = Written(header);
  for (std::size_t size = 0; size < bytes.size(); ++size) {
    EXPECT_EQ(ParseOnly({bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(size)}),
              Status::kTruncated);
  }
}

TEST(FrameHeader, IgnoresFrameSizeReservedBitsAndExcessBytes) {
  auto bytes = Written(Plain(), 10);
  bytes[0] = 0xFF;    // frame size
  bytes[9] = 29;      // nine bytes more than needed
  bytes[20] |= 0x33;  // reserved bits beside chroma format and interlace mode
  bytes[25] |= 0x40;  // reserved bits beside alpha type
  bytes[26] = 0xFF;
  bytes[27] = 0xFC;
  FrameHeader parsed;
  std::span<const std::uint8_t> pictures;
  ASSERT_EQ(ParseFrameHeader(bytes, parsed, pictures), Status::kSuccess);
  EXPECT_EQ(pictures.size(), 1u);
  EXPECT_EQ(parsed.lumaMatrix, kDefaultQuantMatrix);
}

}  // namespace
}  // namespace prores
