// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "ConverterTest.h"
#include "media/decode/PictureConverter.h"

namespace vixprores {
namespace {

using test::Convert;
using test::FillAtRandom;
using test::MakePicture;
using test::TargetOf;
using test::UniqueFrame;

/// The samples of a "Y416" picture: alpha, Y, Cb, Cr of each pixel.
using DeepPixels = std::vector<std::array<std::uint16_t, 4>>;

PictureTarget DeepTargetOf(int width, int height) {
  PictureTarget target = TargetOf(width, height);
  target.format.code = vix::kFourCC_Y416;
  target.format.is444 = true;
  target.format.alphaBits = 16;
  return target;
}

DeepPixels ConvertDeep(const PictureTarget& target, const AVFrame& picture) {
  const std::vector<std::uint8_t> packed = Convert(target, picture);
  DeepPixels pixels(std::size_t{target.format.width} * target.format.height);
  std::memcpy(pixels.data(), packed.data(), packed.size());
  return pixels;
}

std::uint16_t& SampleAt(AVFrame& frame, int plane, int x, int y) {
  return reinterpret_cast<std::uint16_t*>(frame.data[plane] + y * frame.linesize[plane])[x];
}

TEST(DeepPictureConverter, KeepsEverySampleOf444With12BitsAndAlpha) {
  const UniqueFrame picture = MakePicture(AV_PIX_FMT_YUVA444P12LE, 63, 31);
  FillAtRandom(*picture, 3);
  const DeepPixels pixels = ConvertDeep(DeepTargetOf(63, 31), *picture);
  for (int y = 0; y < 31; ++y) {
    for (int x = 0; x < 63; ++x) {
      const auto& pixel = pixels[static_cast<std::size_t>(y * 63 + x)];
      for (int plane = 0; plane < 3; ++plane) {
        ASSERT_EQ(pixel[static_cast<std::size_t>(plane) + 1], SampleAt(*picture, plane, x, y) << 4);
      }
      ASSERT_EQ(pixel[0], (SampleAt(*picture, 3, x, y) * 65535 + 2047) / 4095);
    }
  }
}

TEST(DeepPictureConverter, MakesPicturesWithoutAlphaOpaque) {
  const UniqueFrame picture = MakePicture(AV_PIX_FMT_YUV444P16LE, 20, 4);
  FillAtRandom(*picture, 4);
  const DeepPixels pixels = ConvertDeep(DeepTargetOf(20, 4), *picture);
  for (std::size_t i = 0; i < pixels.size(); ++i) {
    const int x = static_cast<int>(i) % 20, y = static_cast<int>(i) / 20;
    ASSERT_EQ(pixels[i][0], 65535);
    ASSERT_EQ(pixels[i][1], SampleAt(*picture, 0, x, y));  // not dithered
  }
}

TEST(DeepPictureConverter, ReadsAlphaOfRgbGreyAndPalettes) {
  for (const AVPixelFormat format : {AV_PIX_FMT_RGBA, AV_PIX_FMT_YA8, AV_PIX_FMT_PAL8}) {
    SCOPED_TRACE(av_get_pix_fmt_name(format));
    const UniqueFrame picture = MakePicture(format, 16, 1);
    for (int x = 0; x < 16; ++x) {
      const auto alpha = static_cast<std::uint8_t>(17 * x);
      if (format == AV_PIX_FMT_RGBA) picture->data[0][4 * x + 3] = alpha;
      if (format == AV_PIX_FMT_YA8) picture->data[0][2 * x + 1] = alpha;
      if (format == AV_PIX_FMT_PAL8) {
        picture->data[0][x] = static_cast<std::uint8_t>(x);
        reinterpret_cast<std::uint32_t*>(picture->data[1])[x] = std::uint32_t{alpha} << 24;
      }
    }
    const DeepPixels pixels = ConvertDeep(DeepTargetOf(16, 1), *picture);
    for (std::size_t x = 0; x < 16; ++x) EXPECT_EQ(pixels[x][0], 257 * 17 * x);
  }
}

TEST(DeepPictureConverter, MakesNeutralGreysOfRgb) {
  const UniqueFrame picture = MakePicture(AV_PIX_FMT_RGB48LE, 2, 1);
  auto* const rgb = reinterpret_cast<std::uint16_t*>(picture->data[0]);
  std::fill_n(rgb, 3, std::uint16_t{65535});
  std::fill_n(rgb + 3, 3, std::uint16_t{21845});
  const DeepPixels pixels = ConvertDeep(DeepTargetOf(2, 1), *picture);
  // The sums may be too low by one in 16 bits.
  EXPECT_NEAR(pixels[0][1], 235 << 8, 1);
  EXPECT_NEAR(pixels[1][1], (16 << 8) + (219 << 8) / 3, 1);
  for (const auto& [alpha, luma, cb, cr] : pixels) {
    EXPECT_EQ(alpha, 65535);
    EXPECT_EQ(cb, 128 << 8);
    EXPECT_EQ(cr, 128 << 8);
  }
}

TEST(DeepPictureConverter, DividesPremultipliedColoursByAlpha) {
  const UniqueFrame picture = MakePicture(AV_PIX_FMT_RGBA64LE, 3, 1);
  auto* const rgba = reinterpret_cast<std::uint16_t*>(picture->data[0]);
  const std::array<std::uint16_t, 12> pixels{20000, 10000, 5000, 40000,  // half transparent
                                             20000, 10000, 5000, 65535,  // opaque
                                             0,     0,     0,    0};     // nothing
  std::ranges::copy(pixels, rgba);
  PictureTarget target = DeepTargetOf(3, 1);
  target.isPremultiplied = true;
  const DeepPixels divided = ConvertDeep(target, *picture);

  const UniqueFrame straight = MakePicture(AV_PIX_FMT_RGBA64LE, 3, 1);
  const std::array<std::uint16_t, 12> expected{32768, 16384, 8192, 40000, 20000, 10000,
                                               5000,  65535, 0,    0,     0,     0};
  std::ranges::copy(expected, reinterpret_cast<std::uint16_t*>(straight->data[0]));
  const DeepPixels wanted = ConvertDeep(DeepTargetOf(3, 1), *straight);
  for (std::size_t x = 0; x < 3; ++x) {
    for (std::size_t c = 0; c < 4; ++c) EXPECT_NEAR(divided[x][c], wanted[x][c], 2) << x << c;
  }
}

TEST(DeepPictureConverter, ScalesAlphaWithThePicture) {
  const UniqueFrame picture = MakePicture(AV_PIX_FMT_YUVA444P16LE, 64, 32);
  for (int y = 0; y < 32; ++y) {
    for (int x = 0; x < 64; ++x) {
      SampleAt(*picture, 0, x, y) = 30000;
      SampleAt(*picture, 1, x, y) = 20000;
      SampleAt(*picture, 2, x, y) = 40000;
      SampleAt(*picture, 3, x, y) = static_cast<std::uint16_t>(8000 + 700 * x);
    }
  }
  const DeepPixels pixels = ConvertDeep(DeepTargetOf(32, 16), *picture);
  for (const auto& [alpha, luma, cb, cr] : pixels) {
    EXPECT_NEAR(luma, 30000, 12);  // rounding, divided by an alpha of 12 % or more
    EXPECT_NEAR(cb, 20000, 12);
    EXPECT_NEAR(cr, 40000, 12);
  }
  EXPECT_NEAR(pixels[16][0], 8000 + 700 * 32.5, 50);
}

/// Makes the middle of an RGB picture opaque and white, the rest transparent and black.
UniqueFrame MakeWhiteSquare(AVPixelFormat format, int size) {
  UniqueFrame picture = MakePicture(format, size, size);
  const int bytes = av_get_padded_bits_per_pixel(av_pix_fmt_desc_get(format)) / 8;
  for (int y = size / 4; y < size - size / 4; ++y) {
    std::uint8_t* const row = picture->data[0] + y * picture->linesize[0];
    std::fill(row + bytes * (size / 4), row + bytes * (size - size / 4), std::uint8_t{0xFF});
  }
  return picture;
}

TEST(DeepPictureConverter, KeepsTheColourAtTheEdgesOfAScaledShape) {
  constexpr int kWhite = 235 << 8;
  for (const AVPixelFormat format : {AV_PIX_FMT_RGBA, AV_PIX_FMT_RGBA64LE}) {
    for (const bool isInterlaced : {false, true}) {
      for (const int size : {32, 41, 90}) {
        const UniqueFrame picture = MakeWhiteSquare(format, 64);
        picture->interlaced_frame = isInterlaced ? 1 : 0;
        PictureTarget target = DeepTargetOf(size, size);
        if (isInterlaced) target.format.fieldOrder = FieldOrder::TopFirst;
        int edges = 0;
        for (const auto& [alpha, luma, cb, cr] : ConvertDeep(target, *picture)) {
          if (alpha == 0) continue;
          if (alpha < 65535) ++edges;
          const double rounding = 1 + 1.5 * 65535 / alpha;
          ASSERT_NEAR(luma, kWhite, rounding) << alpha;
          ASSERT_NEAR(cb, 32768, rounding) << alpha;
          ASSERT_NEAR(cr, 32768, rounding) << alpha;
        }
        EXPECT_GT(edges, size);
      }
    }
  }
}

/// Makes an opaque red disc on transparent green.
UniqueFrame MakeRedDisc(int width, int height) {
  constexpr std::array<std::uint16_t, 4> kRed{65535, 0, 0, 65535}, kGreen{0, 65535, 0, 0};
  UniqueFrame picture = MakePicture(AV_PIX_FMT_RGBA64LE, width, height);
  const int radius = height * 2 / 5;
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      const int dx = x - width / 2, dy = y - height / 2;
      const auto& colour = dx * dx + dy * dy < radius * radius ? kRed : kGreen;
      std::ranges::copy(colour, &SampleAt(*picture, 0, 4 * x, y));
    }
  }
  return picture;
}

TEST(DeepPictureConverter, ShowsNoColourOfTransparentPixelsInAScaledShape) {
  const UniqueFrame picture = MakeRedDisc(180, 144);
  const auto red = ConvertDeep(DeepTargetOf(180, 144), *picture)[72 * 180 + 90];
  constexpr std::array<std::array<int, 2>, 6> kSizes{
      {{90, 72}, {125, 100}, {160, 144}, {256, 180}, {360, 288}, {500, 400}}};
  for (const auto& [width, height] : kSizes) {
    SCOPED_TRACE(std::to_string(width) + "x" + std::to_string(height));
    for (const bool isPremultiplied : {false, true}) {
      PictureTarget target = DeepTargetOf(width, height);
      target.isPremultiplied = isPremultiplied;  // opaque or invisible pixels are the same
      int edges = 0;
      for (const auto& pixel : ConvertDeep(target, *picture)) {
        if (pixel[0] == 0) continue;
        if (pixel[0] < 65535) ++edges;
        const double rounding = 1 + 3.0 * 65535 / pixel[0];
        for (std::size_t c = 1; c < 4; ++c) ASSERT_NEAR(pixel[c], red[c], rounding) << pixel[0];
      }
      EXPECT_GT(edges, height);
    }
  }
}

TEST(DeepPictureConverter, KeepsTheColoursOfTransparentPicturesWhenScaling) {
  const UniqueFrame picture = MakePicture(AV_PIX_FMT_YUVA420P, 64, 32);
  const UniqueFrame plain = MakePicture(AV_PIX_FMT_YUV420P, 64, 32);
  FillAtRandom(*picture, 9);
  FillAtRandom(*plain, 9);  // with the same colours
  std::fill_n(picture->data[3], 32 * picture->linesize[3], std::uint8_t{0});
  const PictureTarget target = DeepTargetOf(40, 50);
  DeepPixels expected = ConvertDeep(target, *plain);
  for (auto& pixel : expected) pixel[0] = 0;
  EXPECT_EQ(ConvertDeep(target, *picture), expected);
}

TEST(DeepPictureConverter, ScalesOpaquePicturesLikeThoseWithoutAlpha) {
  const UniqueFrame plain = MakePicture(AV_PIX_FMT_YUV420P, 64, 32);
  const UniqueFrame opaque = MakePicture(AV_PIX_FMT_YUVA420P, 64, 32);
  FillAtRandom(*plain, 9);
  FillAtRandom(*opaque, 9);  // with the same colours
  std::fill_n(opaque->data[3], 32 * opaque->linesize[3], std::uint8_t{0xFF});
  const PictureTarget target = DeepTargetOf(40, 50);
  EXPECT_EQ(ConvertDeep(target, *opaque), ConvertDeep(target, *plain));
  opaque->data[3][5] = 0xFE;
  EXPECT_NE(ConvertDeep(target, *opaque), ConvertDeep(target, *plain));
}

}  // namespace
}  // namespace vixprores
