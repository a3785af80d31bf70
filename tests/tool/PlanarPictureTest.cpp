// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>

#include <cstring>
#include <numeric>
#include <random>
#include <vector>

#include "format/PlanarPicture.h"

namespace vixprores {
namespace {

StreamFormat MakeFormat(vix::FourCC code, std::uint32_t width, std::uint32_t height) {
  StreamFormat format;
  format.code = code;
  format.width = width;
  format.height = height;
  return format;
}

std::vector<std::uint8_t> Words16(const std::vector<std::uint16_t>& samples) {
  std::vector<std::uint8_t> bytes;
  for (const std::uint16_t sample : samples) {
    bytes.push_back(static_cast<std::uint8_t>(sample & 0xFF));
    bytes.push_back(static_cast<std::uint8_t>(sample >> 8));
  }
  return bytes;
}

std::vector<std::uint8_t> Pack(const StreamFormat& format,
                               const std::vector<std::uint8_t>& planar) {
  std::vector<std::uint8_t> packed(format.FrameBytes(), 0xEE);
  PackPicture(format, planar, packed);
  return packed;
}

TEST(PlanarBytes, CountsChromaRowsOfHalfTheWidthRoundedUp) {
  EXPECT_EQ(PlanarBytes(MakeFormat(vix::kFourCC_UYVY, 4, 2)), 16u);
  EXPECT_EQ(PlanarBytes(MakeFormat(vix::kFourCC_UYVY, 5, 3)), 33u);
  EXPECT_EQ(PlanarBytes(MakeFormat(vix::kFourCC_V210, 5, 3)), 66u);
}

TEST(PackPicture, PutsUyvyInItsByteOrder) {
  // Two rows: Y 1..4 and 5..8, Cb 11..14, Cr 21..24.
  const std::vector<std::uint8_t> planar{1, 2, 3, 4, 5, 6, 7, 8, 11, 12, 13, 14, 21, 22, 23, 24};
  const std::vector<std::uint8_t> packed{11, 1, 21, 2, 12, 3, 22, 4, 13, 5, 23, 6, 14, 7, 24, 8};
  EXPECT_EQ(Pack(MakeFormat(vix::kFourCC_UYVY, 4, 2), planar), packed);
}

TEST(PackPicture, RepeatsTheLastPixelOfAnOddRow) {
  EXPECT_EQ(Pack(MakeFormat(vix::kFourCC_UYVY, 3, 1), {1, 2, 3, 11, 12, 21, 22}),
            (std::vector<std::uint8_t>{11, 1, 21, 2, 12, 3, 22, 3}));
}

TEST(PackPicture, PutsThreeComponentsIntoEachWordOfV210) {
  // Six pixels fill one group of four words.
  const std::vector<std::uint8_t> planar =
      Words16({1, 2, 3, 4, 5, 1023, 101, 102, 103, 201, 202, 203});
  const std::vector<std::uint8_t> packed = Pack(MakeFormat(vix::kFourCC_V210, 6, 1), planar);
  ASSERT_EQ(packed.size(), 128u);
  const std::uint32_t expected[] = {101u | 1u << 10 | 201u << 20, 2u | 102u << 10 | 3u << 20,
                                    202u | 4u << 10 | 103u << 20, 5u | 203u << 10 | 1023u << 20};
  EXPECT_EQ(std::memcmp(packed.data(), expected, sizeof expected), 0);
}

TEST(PackPicture, ZeroesThePaddingOfV210Rows) {
  const StreamFormat format = MakeFormat(vix::kFourCC_V210, 6, 2);
  const std::vector<std::uint8_t> packed =
      Pack(format, std::vector<std::uint8_t>(PlanarBytes(format), 1));
  for (const unsigned row : {0u, 128u}) {
    for (std::size_t offset = 16; offset < 128; ++offset) EXPECT_EQ(packed[row + offset], 0);
  }
}

TEST(PackPicture, LimitsSamplesAbove10Bits) {
  const std::vector<std::uint8_t> packed =
      Pack(MakeFormat(vix::kFourCC_V210, 2, 1), Words16({0xFFFF, 1024, 4000, 60000}));
  const std::uint32_t expected[] = {0x3FFFFFFF, 1023};
  EXPECT_EQ(std::memcmp(packed.data(), expected, sizeof expected), 0);
}

class PackedAndBack
    : public testing::TestWithParam<std::tuple<vix::FourCC, std::uint32_t, std::uint32_t>> {};

TEST_P(PackedAndBack, KeepsEverySample) {
  const auto [code, width, height] = GetParam();
  const StreamFormat format = MakeFormat(code, width, height);
  std::vector<std::uint8_t> planar(PlanarBytes(format));
  std::minstd_rand random(width * 1000 + height);
  for (std::size_t i = 0; i < planar.size(); ++i) {
    const bool isUpperByte = code == vix::kFourCC_V210 && i % 2 == 1;
    planar[i] = static_cast<std::uint8_t>(random() & (isUpperByte ? 3 : 0xFF));
  }
  const std::vector<std::uint8_t> packed = Pack(format, planar);
  std::vector<std::uint8_t> back(planar.size(), 0xEE);
  UnpackPicture(format, packed, back);
  EXPECT_EQ(back, planar);
}

INSTANTIATE_TEST_SUITE_P(Sizes, PackedAndBack,
                         testing::Combine(testing::Values(vix::kFourCC_UYVY, vix::kFourCC_V210),
                                          testing::Values(1, 2, 3, 5, 6, 7, 47, 48, 49, 131),
                                          testing::Values(1, 2, 5)));

TEST(ClearRowPadding, ZeroesOnlyThePadding) {
  const StreamFormat format = MakeFormat(vix::kFourCC_V210, 50, 2);
  std::vector<std::uint8_t> frame(format.FrameBytes(), 0xEE);
  ClearRowPadding(format, frame.data());
  for (std::size_t i = 0; i < frame.size(); ++i) {
    // Nine groups of 16 bytes hold 50 pixels.
    EXPECT_EQ(frame[i], i % 256 < 144 ? 0xEE : 0) << i;
  }
}

TEST(ClearRowPadding, LeavesRowsWithoutPaddingAlone) {
  for (const auto& format :
       {MakeFormat(vix::kFourCC_V210, 48, 3), MakeFormat(vix::kFourCC_UYVY, 5, 3)}) {
    std::vector<std::uint8_t> frame(format.FrameBytes(), 0xEE);
    ClearRowPadding(format, frame.data());
    EXPECT_EQ(frame, std::vector<std::uint8_t>(frame.size(), 0xEE));
  }
}

}  // namespace
}  // namespace vixprores
