// SPDX-License-Identifier: BSD-2-Clause
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "ReferencePixels.h"
#include "vix/Error.h"
#include "vix/PixelConversion.h"
#include "vix/RawVideoUtils.h"

namespace vix {
namespace {

using ::testing::HasSubstr;

using Bytes = std::vector<std::uint8_t>;

Bytes RandomPicture(PixelFormat format, std::uint32_t width, std::uint32_t height) {
  Bytes bytes(GetPixelPictureBytes(format, width, height));
  std::minstd_rand random(width * height);
  for (auto& byte : bytes) byte = static_cast<std::uint8_t>(random() >> 8);
  return bytes;
}

ConstPixelPicture View(PixelFormat format, std::uint32_t width, std::uint32_t height,
                       const Bytes& bytes) {
  return MakePixelPicture(format, width, height, bytes.data());
}

Bytes Convert(PixelFormat from, PixelFormat to, std::uint32_t width, std::uint32_t height,
              const Bytes& source) {
  Bytes converted(GetPixelPictureBytes(to, width, height), 0xEE);
  ConvertPixels(View(from, width, height, source),
                MakePixelPicture(to, width, height, converted.data()));
  return converted;
}

TEST(PixelRowBytes, CountWholeGroupsAndPadding) {
  for (const PixelFormat format : test::kAllFormats) {
    for (const std::uint32_t width : {1u, 2u, 47u, 48u, 49u, 1920u, kMaxPixelSize}) {
      const auto expected = test::ReferenceRowBytes(format, width);
      for (std::size_t plane = 0; plane < GetPixelPlanes(format); ++plane) {
        EXPECT_EQ(GetPixelRowBytes(format, plane, width), expected[plane]);
      }
    }
  }
}

TEST(PixelRowBytes, AreTheStridesOfRawVideo) {
  for (const FourCC code : {kFourCC_UYVY, kFourCC_V210}) {
    for (std::uint32_t width = 1; width < 200; ++width) {
      EXPECT_EQ(GetPixelRowBytes(PixelFormat{code}, 0, width),
                RawVideoUtils::GetStrides(code, VideoChroma::C422, width, 1).front());
    }
  }
}

TEST(PixelPictureBytes, AddAllPlanes) {
  EXPECT_EQ(GetPixelPictureBytes(PixelFormat::V210, 1920, 1080), 5529600u);
  EXPECT_EQ(GetPixelPictureBytes(PixelFormat::I210, 5, 3), 66u);
  EXPECT_EQ(GetPixelPictureBytes(PixelFormat::P210, 5, 3), 66u);
  EXPECT_EQ(GetPixelPictureBytes(PixelFormat::I216, 65535, 65535), 17179475970u);  // above 32 bits
}

TEST(MakePixelPicture, PutsPlanesOneAfterTheOther) {
  Bytes bytes(66);
  const PixelPicture picture = MakePixelPicture(PixelFormat::I210, 5, 3, bytes.data());
  EXPECT_EQ(picture.planes[1].data - picture.planes[0].data, 30);
  EXPECT_EQ(picture.planes[2].data - picture.planes[1].data, 18);
  EXPECT_EQ(picture.planes[0].stride, 10u);
  EXPECT_EQ(picture.planes[2].stride, 6u);
}

TEST(ConvertPixels, RoundsHalvesUpAndLimits) {
  // Words of the pair Y Y, Cb, Cr.
  const Bytes source{0xFF, 0xFF, 0x80, 0x00, 0x7F, 0x00, 0x80, 0xFF};
  EXPECT_EQ(Convert(PixelFormat::I216, PixelFormat::I422, 2, 1, source), (Bytes{255, 1, 0, 255}));
  EXPECT_EQ(Convert(PixelFormat::I216, PixelFormat::I210, 2, 1, source),
            (Bytes{0xFF, 0x03, 2, 0, 2, 0, 0xFE, 0x03}));
  const Bytes tenBits{0xFF, 0x03, 2, 0, 1, 0, 0xFF, 0x0F};
  EXPECT_EQ(Convert(PixelFormat::I210, PixelFormat::NV16, 2, 1, tenBits), (Bytes{255, 1, 0, 255}));
}

TEST(ConvertPixels, ShiftsSamplesToMoreBits) {
  EXPECT_EQ(Convert(PixelFormat::I422, PixelFormat::I216, 2, 1, {0x01, 0xFF, 0x80, 0x10}),
            (Bytes{0, 0x01, 0, 0xFF, 0, 0x80, 0, 0x10}));
  EXPECT_EQ(Convert(PixelFormat::UYVY, PixelFormat::P210, 2, 1, {0x80, 0x01, 0x10, 0xFF}),
            (Bytes{0, 0x01, 0, 0xFF, 0, 0x80, 0, 0x10}));
}

TEST(ConvertPixels, ConvertsInPlaceWhereSamplesKeepTheirPlaces) {
  const std::pair<PixelFormat, PixelFormat> pairs[] = {
      {PixelFormat::UYVY, PixelFormat::YUY2}, {PixelFormat::YUY2, PixelFormat::UYVY},
      {PixelFormat::I216, PixelFormat::I210}, {PixelFormat::I210, PixelFormat::I216},
      {PixelFormat::V210, PixelFormat::V210}, {PixelFormat::P210, PixelFormat::P210}};
  constexpr std::uint32_t kWidth = 2001;
  for (const auto& [from, to] : pairs) {
    Bytes bytes = RandomPicture(from, kWidth, 2);
    const Bytes expected = Convert(from, to, kWidth, 2, bytes);
    ConvertPixels(View(from, kWidth, 2, bytes), MakePixelPicture(to, kWidth, 2, bytes.data()));
    EXPECT_EQ(bytes, expected);
  }
}

TEST(ConvertPixels, ConvertsRowsOnDifferentThreads) {
  constexpr std::uint32_t kWidth = 131;
  constexpr std::uint32_t kHeight = 24;
  const Bytes source = RandomPicture(PixelFormat::V210, kWidth, kHeight);
  Bytes converted(GetPixelPictureBytes(PixelFormat::NV16, kWidth, kHeight));
  const auto from = View(PixelFormat::V210, kWidth, kHeight, source);
  const auto to = MakePixelPicture(PixelFormat::NV16, kWidth, kHeight, converted.data());
  std::vector<std::thread> threads;
  for (std::uint32_t row = 0; row < kHeight; row += 8) {
    threads.emplace_back([=] { ConvertPixels(from.Rows(row, 8), to.Rows(row, 8)); });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(converted, Convert(PixelFormat::V210, PixelFormat::NV16, kWidth, kHeight, source));
}

/// Returns the text of the VIXError of code BadArgument that `call` must throw.
std::string RejectionOf(const std::function<void()>& call) {
  try {
    call();
  } catch (const VIXError& error) {
    EXPECT_EQ(error.GetCode(), ErrorCode::BadArgument);
    return error.what();
  }
  ADD_FAILURE() << "the call threw no VIXError";
  return {};
}

constexpr auto kUnknownFormat = PixelFormat{MakeFourCC("RGBA")};

/// Two pictures that ConvertPixels() accepts, and what it reports after a change to them.
class PixelErrors : public testing::Test {
 protected:
  std::string Rejection() {
    const Bytes before = target_;
    std::string text = RejectionOf([&] { ConvertPixels(from, to); });
    EXPECT_EQ(target_, before);
    return text;
  }

 private:
  Bytes source_ = RandomPicture(PixelFormat::I210, 6, 2);
  Bytes target_ = Bytes(GetPixelPictureBytes(PixelFormat::V210, 6, 2), 0xEE);

 protected:
  ConstPixelPicture from = View(PixelFormat::I210, 6, 2, source_);
  PixelPicture to = MakePixelPicture(PixelFormat::V210, 6, 2, target_.data());
};

TEST_F(PixelErrors, NullPlaneIsNamed) {
  from.planes[2].data = nullptr;
  EXPECT_EQ(Rejection(), "plane 2 of the source (I210, 6x2) is null; it must point to memory");
}

TEST_F(PixelErrors, SmallStrideIsReportedWithTheSmallestOne) {
  to.planes[0].stride = 127;
  EXPECT_EQ(Rejection(),
            "plane 0 of the destination (V210, 6x2) has a stride of 127 bytes; "
            "at least 128 are needed");
}

TEST_F(PixelErrors, UnusedPlanesMayBeNull) {
  to.planes[1] = to.planes[2] = {};
  EXPECT_NO_THROW(ConvertPixels(from, to));
}

TEST_F(PixelErrors, UnknownFormatIsReportedWithTheKnownOnes) {
  to.format = kUnknownFormat;
  EXPECT_THAT(Rejection(),
              HasSubstr("unknown pixel format \"RGBA\" (0x41424752); allowed are UYVY"));
}

TEST_F(PixelErrors, SizesMustBeAllowedAndEqual) {
  to.height = 3;
  EXPECT_EQ(Rejection(), "the source has 6x2 pixels, the destination 6x3; the sizes must be equal");
  to.height = 0;
  EXPECT_EQ(Rejection(), "a picture of 6x0 pixels; width and height may be 1 to 65535");
  from.width = 65536;
  EXPECT_THAT(Rejection(), HasSubstr("65536x2"));
}

TEST(PixelLayout, WrongArgumentsAreRejected) {
  EXPECT_THAT(RejectionOf([] { GetPixelPlanes(kUnknownFormat); }), HasSubstr("RGBA"));
  EXPECT_THAT(RejectionOf([] { GetPixelRowBytes(PixelFormat::NV16, 2, 8); }),
              HasSubstr("NV16 has no plane 2; it has 2, numbered from 0"));
  EXPECT_THAT(RejectionOf([] { GetPixelRowBytes(PixelFormat::NV16, 0, 0); }), HasSubstr("1 to"));
  EXPECT_THAT(RejectionOf([] { GetPixelPictureBytes(PixelFormat::UYVY, 65536, 1); }),
              HasSubstr("65536x1"));
  std::uint8_t byte = 0;
  EXPECT_THAT(RejectionOf([&] { MakePixelPicture(PixelFormat::UYVY, 1, 0, &byte); }),
              HasSubstr("1x0"));
}

}  // namespace
}  // namespace vix
