// SPDX-License-Identifier: BSD-2-Clause
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <vector>

#include "base/Errors.h"
#include "base/Limits.h"
#include "format/PlanarPicture.h"
#include "format/RgbPicture.h"
#include "report/ContactSheet.h"

namespace vixprores {
namespace {

using testing::ElementsAre;

StreamFormat Format(std::uint32_t width, std::uint32_t height) {
  StreamFormat format;
  format.code = vix::kFourCC_UYVY;
  format.width = width;
  format.height = height;
  return format;
}

struct Sample {
  std::uint8_t luma, cb, cr;
};

std::vector<std::uint8_t> Flat(const StreamFormat& format, const Sample& sample) {
  std::vector<std::uint8_t> packed;
  for (std::uint32_t i = 0; i < format.width * format.height / 2; ++i) {
    for (const auto byte : {sample.cb, sample.luma, sample.cr, sample.luma}) packed.push_back(byte);
  }
  return packed;
}

std::vector<int> ColourOf(const StreamFormat& format, const Sample& sample) {
  const RgbPicture picture = ToRgb(format, Flat(format, sample), {1, 1});
  return {picture.pixels.begin(), picture.pixels.end()};
}

TEST(RgbPicture, BlackWhiteAndGreyDoNotDependOnTheMatrix) {
  for (const int matrix : {1, 2, 6, 9}) {
    StreamFormat format = Format(4, 4);
    format.colour.matrix = matrix;
    EXPECT_THAT(ColourOf(format, {16, 128, 128}), ElementsAre(0, 0, 0));
    EXPECT_THAT(ColourOf(format, {235, 128, 128}), ElementsAre(255, 255, 255));
    EXPECT_THAT(ColourOf(format, {126, 128, 128}), ElementsAre(128, 128, 128));
  }
}

TEST(RgbPicture, FullRangeUsesAllCodeValues) {
  StreamFormat format = Format(4, 4);
  format.colour.range = ColourRange::Full;
  EXPECT_THAT(ColourOf(format, {16, 128, 128}), ElementsAre(16, 16, 16));
  EXPECT_THAT(ColourOf(format, {255, 128, 128}), ElementsAre(255, 255, 255));
}

TEST(RgbPicture, FollowsTheMatrixOfTheStream) {
  // Full red in each matrix, in 8 bits.
  const struct {
    int matrix;
    Sample red;
  } cases[] = {{1, {63, 102, 240}}, {6, {81, 90, 240}}, {9, {74, 97, 240}}};
  for (const auto& [matrix, red] : cases) {
    StreamFormat format = Format(4, 4);
    format.colour.matrix = matrix;
    const auto colour = ColourOf(format, red);
    EXPECT_NEAR(colour[0], 255, 2) << matrix;
    EXPECT_NEAR(colour[1], 0, 2) << matrix;
    EXPECT_NEAR(colour[2], 0, 2) << matrix;
  }
}

TEST(RgbPicture, AnUnspecifiedMatrixFollowsTheHeight) {
  const Sample red601{81, 90, 240};
  const Sample red709{63, 102, 240};
  EXPECT_NEAR(ColourOf(Format(2, 576), red601)[1], 0, 2);
  EXPECT_NEAR(ColourOf(Format(2, 720), red709)[1], 0, 2);
}

// Scales a plane with a period of two samples to a third: inside the picture, every target pixel
// covers both values equally.
TEST(RgbPicture, ScalesToTheMeanOfTheArea) {
  const StreamFormat format = Format(36, 2);
  std::vector<std::uint8_t> packed;
  for (int i = 0; i < 36; ++i) {
    for (const int byte : {128, 20, 128, 232}) packed.push_back(static_cast<std::uint8_t>(byte));
  }
  const RgbPicture picture = ToRgb(format, packed, {9, 1});
  for (std::uint32_t x = 1; x < 8; ++x) EXPECT_NEAR(picture.At(x, 0)[0], 128, 2) << x;
}

TEST(RgbPicture, KeepsFlatAreasWhenItScales) {
  StreamFormat format = Format(64, 32);
  std::vector<std::uint8_t> packed;
  for (int y = 0; y < 32; ++y) {
    for (int x = 0; x < 64; x += 2) {
      const int luma = x < 32 ? 16 : 235;
      for (const int byte : {128, luma, 128, luma}) {
        packed.push_back(static_cast<std::uint8_t>(byte));
      }
    }
  }
  for (const RgbSize size : {RgbSize{16, 8}, RgbSize{40, 20}, RgbSize{128, 64}}) {
    const RgbPicture picture = ToRgb(format, packed, size);
    for (std::uint32_t y = 0; y < size.height; ++y) {
      for (std::uint32_t x = 0; x < size.width; ++x) {
        if (2 * x + 6 >= size.width && 2 * x <= size.width + 6) continue;  // the edge
        EXPECT_EQ(picture.At(x, y)[1], 2 * x < size.width ? 0 : 255) << x << " " << y;
      }
    }
  }
}

TEST(RgbPicture, ConvertsOddWidthsOfBothFormats) {
  for (const vix::FourCC code : {vix::kFourCC_UYVY, vix::kFourCC_V210}) {
    StreamFormat format = Format(7, 3);
    format.code = code;
    const int shift = code == vix::kFourCC_V210 ? 2 : 0;
    std::vector<std::uint8_t> planar;
    for (std::size_t i = 0; i < 7 * 3 + 2 * 4 * 3; ++i) {
      const int sample = (i < 21 ? 235 : 128) << shift;
      planar.push_back(static_cast<std::uint8_t>(sample & 0xFF));
      if (shift > 0) planar.push_back(static_cast<std::uint8_t>(sample >> 8));
    }
    std::vector<std::uint8_t> packed(format.FrameBytes());
    PackPicture(format, planar, packed);
    EXPECT_THAT(ToRgb(format, packed, {7, 3}).pixels, testing::Each(255));
    EXPECT_THAT(ToRgb(format, packed, {3, 2}).pixels, testing::Each(255));
  }
}

// Makes a "Y416" picture of one pixel value.
std::vector<std::uint8_t> FlatDeep(const StreamFormat& format,
                                   const std::array<std::uint16_t, 4>& pixel) {
  std::vector<std::uint8_t> packed;
  for (std::uint32_t i = 0; i < format.width * format.height; ++i) {
    for (const std::uint16_t sample : pixel) {
      packed.push_back(static_cast<std::uint8_t>(sample & 0xFF));
      packed.push_back(static_cast<std::uint8_t>(sample >> 8));
    }
  }
  return packed;
}

StreamFormat DeepFormat(std::uint32_t width, std::uint32_t height) {
  StreamFormat format = Format(width, height);
  format.code = vix::kFourCC_Y416;
  format.is444 = true;
  format.alphaBits = 16;
  return format;
}

TEST(RgbPicture, LaysTransparentPixelsOverACheckerboard) {
  for (const ColourRange range : {ColourRange::Limited, ColourRange::Full}) {
    StreamFormat format = DeepFormat(33, 18);
    format.colour.range = range;
    const RgbPicture picture = ToRgb(format, FlatDeep(format, {0, 0x1234, 0, 0}), {33, 18});
    for (std::uint32_t y = 0; y < 18; ++y) {
      for (std::uint32_t x = 0; x < 33; ++x) {
        const int grey = (x / 16 + y / 16) % 2 == 0 ? 245 : 220;
        for (int i = 0; i < 3; ++i) ASSERT_NEAR(picture.At(x, y)[i], grey, 1) << x << " " << y;
      }
    }
  }
}

TEST(RgbPicture, KeepsTheSizeOfTheSquaresWhenItScales) {
  const StreamFormat format = DeepFormat(256, 128);
  const RgbPicture picture = ToRgb(format, FlatDeep(format, {0, 0, 0, 0}), {64, 32});
  EXPECT_NEAR(picture.At(8, 8)[0], 245, 1);
  EXPECT_NEAR(picture.At(24, 8)[0], 220, 1);
  EXPECT_NEAR(picture.At(24, 24)[0], 245, 1);
}

TEST(RgbPicture, MixesColoursWithTheBoardByTheirAlpha) {
  const StreamFormat format = DeepFormat(16, 16);
  const RgbPicture half = ToRgb(format, FlatDeep(format, {0x8000, 0x1000, 0x8000, 0x8000}), {4, 4});
  EXPECT_NEAR(half.At(1, 1)[0], 123, 1);
  const RgbPicture white =
      ToRgb(format, FlatDeep(format, {0xFFFF, 0xEB00, 0x8000, 0x8000}), {4, 4});
  EXPECT_THAT(white.pixels, testing::Each(255));
}

TEST(RgbPicture, IgnoresAlphaThatDoesNotCount) {
  StreamFormat format = DeepFormat(4, 4);
  format.alphaBits = 0;
  EXPECT_THAT(ToRgb(format, FlatDeep(format, {0, 0x1000, 0x8000, 0x8000}), {4, 4}).pixels,
              testing::Each(0));
}

TEST(RgbPicture, RejectsASizeThatCannotBeConverted) {
  const StreamFormat format = Format(4, 4);
  EXPECT_THROW(ToRgb(format, Flat(format, {16, 128, 128}), {0, 1}), Failure);
}

TEST(RgbPicture, InterpolatesChromaBetweenItsSamples) {
  const StreamFormat format = Format(4, 1);
  const std::vector<std::uint8_t> packed{100, 126, 128, 126, 156, 126, 128, 126};
  const RgbPicture picture = ToRgb(format, packed, {4, 1});
  EXPECT_LT(picture.At(0, 0)[2], 128);
  EXPECT_EQ(picture.At(1, 0)[2], 128);
  EXPECT_GT(picture.At(2, 0)[2], 128);
}

TEST(DisplaySize, HasSquarePixelsAndKeepsToTheLimit) {
  StreamFormat format = Format(720, 576);
  EXPECT_EQ(DisplaySize(format, std::nullopt).width, 720u);
  format.sampleAspect = {64, 45};
  const RgbSize whole = DisplaySize(format, std::nullopt);
  EXPECT_EQ(whole.width, 1024u);
  EXPECT_EQ(whole.height, 576u);
  const RgbSize half = DisplaySize(format, 512);
  EXPECT_EQ(half.width, 512u);
  EXPECT_EQ(half.height, 288u);
  EXPECT_EQ(DisplaySize(format, 5000).width, 1024u);
}

TEST(DisplaySize, LimitsThePixelAspect) {
  StreamFormat format = Format(720, 576);
  format.sampleAspect = {2147483647, 1};
  EXPECT_EQ(DisplaySize(format, std::nullopt).width, 4 * 720u);
  format.sampleAspect = {1, 2147483647};
  EXPECT_EQ(DisplaySize(format, std::nullopt).width, 720u / 4);
  format.sampleAspect = {1, 0};
  EXPECT_EQ(DisplaySize(format, std::nullopt).width, 720u);
}

TEST(Png, StartsAsPngFilesDo) {
  const auto png = EncodePng(RgbPicture(3, 2));
  ASSERT_GT(png.size(), 24u);
  EXPECT_EQ(std::string(png.begin() + 1, png.begin() + 4), "PNG");
  EXPECT_EQ(png[19], 3);
  EXPECT_EQ(png[23], 2);
}

TEST(ContactSheet, SetsPicturesInRowsWithTheirCaptions) {
  ContactSheet pictures("sheet.png");
  for (int i = 0; i < 6; ++i) {
    RgbPicture picture(160, 90);
    std::ranges::fill(picture.pixels, std::uint8_t{200});
    pictures.Add(std::move(picture), "1");
  }
  const RgbPicture sheet = pictures.Draw();
  // Two columns and three rows are closest to a square.
  EXPECT_EQ(sheet.width, 12u + 2 * (160 + 12));
  EXPECT_EQ(sheet.height, 12u + 3 * (90 + 6 + 14 + 12));
  EXPECT_EQ(sheet.At(12, 12)[0], 200);
  EXPECT_EQ(sheet.At(11, 12)[0], 24);
  // The stem of the digit 1 under the first picture.
  EXPECT_EQ(sheet.At(12 + 4, 12 + 90 + 6)[0], 224);
  EXPECT_EQ(sheet.At(12, 12 + 90 + 6)[0], 24);
}

TEST(ContactSheet, DrawsNoCaptionBeyondTheSheet) {
  ContactSheet sheet("sheet.png");
  sheet.Add(RgbPicture(4, 4), "1000000000 10:00:00:00");
  EXPECT_EQ(sheet.Draw().width, 4u + 24);
}

TEST(ContactSheet, RejectsTooManyPicturesAndTooManyPixels) {
  ContactSheet many("sheet.png");
  for (std::size_t i = 0; i < kMostSheetPictures; ++i) many.Add(RgbPicture(2, 2), "1");
  EXPECT_THROW(many.Add(RgbPicture(2, 2), "1"), Failure);
  ContactSheet large("sheet.png");
  large.Add(RgbPicture(12000, 6500), "1");
  EXPECT_THROW(large.Add(RgbPicture(12000, 6500), "1"), Failure);
}

}  // namespace
}  // namespace vixprores
