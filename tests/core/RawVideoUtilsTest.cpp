// SPDX-License-Identifier: BSD-2-Clause
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "ErrorText.h"
#include "vix/RawVideoUtils.h"

namespace vix {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

struct Geometry {
  FourCC fourcc;
  unsigned width;
  unsigned height;
  std::uint32_t stride;
  std::uint32_t frameBytes;
};

constexpr Geometry kGeometries[] = {
    {kFourCC_UYVY, 1920, 1080, 3840, 4147200},
    {kFourCC_UYVY, 1, 1, 4, 4},
    {kFourCC_UYVY, 719, 575, 1440, 828000},
    {kFourCC_UYVY, 0, 0, 0, 0},
    {kFourCC_V210, 1920, 1080, 5120, 5529600},
    {kFourCC_V210, 1, 2, 128, 256},
    {kFourCC_V210, 48, 1, 128, 128},
    {kFourCC_V210, 49, 1, 256, 256},
    {kFourCC_V210, 1280, 720, 3456, 2488320},
    {kFourCC_V210, 720, 486, 1920, 933120},
    {kFourCC_V210, 65535, 16, 174848, 2797568},
    {kFourCC_Y416, 1920, 1080, 15360, 16588800},
    {kFourCC_Y416, 1, 1, 8, 8},
    {kFourCC_Y416, 719, 575, 5752, 3307400},
    {kFourCC_b64A, 1920, 1080, 15360, 16588800},
    {kFourCC_b64A, 65535, 3, 524280, 1572840},
    {kFourCC_b64A, 0, 0, 0, 0},
};

TEST(RawVideoUtils, ReturnsStridesAndFrameSizes) {
  for (const Geometry& expected : kGeometries) {
    for (const auto chroma : {VideoChroma::C422, VideoChroma::C444, VideoChroma::C4444}) {
      SCOPED_TRACE(testing::Message() << expected.fourcc << ' ' << expected.width);
      EXPECT_THAT(
          RawVideoUtils::GetStrides(expected.fourcc, chroma, expected.width, expected.height),
          ElementsAre(expected.stride));
      EXPECT_EQ(
          RawVideoUtils::GetFrameBytes(expected.fourcc, chroma, expected.width, expected.height),
          expected.frameBytes);
    }
  }
}

TEST(RawVideoUtils, ReadsFormatAndSizeFromADescription) {
  const auto raw = CreateVideoParameters<VCodecFamily::Raw>();
  raw->SetFourCC(kFourCC_V210);
  raw->SetWidth(1280);
  raw->SetHeight(720);
  raw->SetStoredWidth(9999);
  EXPECT_THAT(RawVideoUtils::GetStrides(raw), ElementsAre(3456));
}

TEST(RawVideoUtils, RejectsDescriptionsThatAreNotRaw) {
  EXPECT_THAT(ErrorTextOf([] { RawVideoUtils::GetStrides(nullptr); }), HasSubstr("raw"));
  EXPECT_THAT(
      ErrorTextOf([] { RawVideoUtils::GetStrides(CreateVideoParameters(VCodecFamily::ProRes)); }),
      HasSubstr("raw"));
}

TEST(RawVideoUtils, ReturnsNoBytesForUnknownFourCCs) {
  for (const FourCC other : {MakeFourCC("YUY2"), FourCC{0}}) {
    EXPECT_THAT(RawVideoUtils::GetStrides(other, VideoChroma::C422, 1920, 1080), ElementsAre(0));
    EXPECT_EQ(RawVideoUtils::GetFrameBytes(other, VideoChroma::C422, 1920, 1080), 0u);
    const auto raw = CreateVideoParameters<VCodecFamily::Raw>();
    raw->SetFourCC(other);
    raw->SetWidth(1920);
    EXPECT_THAT(RawVideoUtils::GetStrides(raw), ElementsAre(0));
  }
}

TEST(RawVideoUtils, RejectsPicturesLargerThan32Bits) {
  constexpr unsigned kLargest = 4294967295u;
  const auto strides = [](FourCC fourcc, unsigned width) {
    return RawVideoUtils::GetStrides(fourcc, VideoChroma::C422, width, 1);
  };
  EXPECT_THAT(strides(kFourCC_UYVY, 2147483646), ElementsAre(4294967292u));
  EXPECT_THAT(ErrorTextOf([&] { strides(kFourCC_UYVY, 2147483647); }), HasSubstr("2147483647x1"));
  EXPECT_THAT(ErrorTextOf([&] { strides(kFourCC_V210, kLargest); }),
              HasSubstr("larger than the largest buffer"));
  EXPECT_THAT(strides(kFourCC_Y416, 536870911), ElementsAre(4294967288u));
  EXPECT_THAT(ErrorTextOf([&] { strides(kFourCC_b64A, 536870912); }), HasSubstr("536870912x1"));

  const auto frameBytes = [](unsigned width, unsigned height) {
    return RawVideoUtils::GetFrameBytes(kFourCC_UYVY, VideoChroma::C422, width, height);
  };
  EXPECT_EQ(frameBytes(32768, 65535), 4294901760u);
  EXPECT_THAT(ErrorTextOf([&] { frameBytes(32768, 65536); }), HasSubstr("32768x65536"));
  EXPECT_THAT(ErrorTextOf([&] { frameBytes(2147483646, kLargest); }),
              HasSubstr("larger than the largest buffer"));
}

TEST(RawVideoUtils, OnlyBytesWithoutPixelsAreCleared) {
  constexpr std::size_t kStride = 160;  // 32 bytes more than a row needs
  constexpr std::size_t kUsed = 48;     // three groups of six pixels
  std::vector<std::uint8_t> picture(2 * kStride, 0xAA);
  RawVideoUtils::ClearRowPadding(kFourCC_V210, 14, 2, kStride, picture.data());
  for (std::size_t i = 0; i < picture.size(); ++i) {
    const bool isPadding = i % kStride >= kUsed && i % kStride < 128;
    EXPECT_EQ(picture[i], isPadding ? 0 : 0xAA) << i;
  }
}

}  // namespace
}  // namespace vix
