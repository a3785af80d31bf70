// SPDX-License-Identifier: BSD-2-Clause
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

#include "format/PlanarPicture.h"
#include "media/sequence/DeepRgb.h"

namespace vixprores {
namespace {

struct Code {
  std::uint16_t y, cb, cr;
};

StreamFormat MakeFormat(std::uint32_t width, int matrix, ColourRange range) {
  StreamFormat format;
  format.code = vix::kFourCC_V210;
  format.width = width;
  format.height = 2;
  format.rate = {25, 1};
  format.colour = {1, 1, matrix, range};
  return format;
}

// Converts a picture of one colour, or with `last` as its right half.
std::vector<std::uint16_t> Convert(const StreamFormat& format, Code first, Code last) {
  const std::size_t pairs = (format.width + 1) / 2;
  std::vector<std::uint16_t> planar;
  const auto add = [&](std::size_t count, std::uint16_t Code::*sample) {
    for (std::uint32_t row = 0; row < format.height; ++row) {
      for (std::size_t x = 0; x < count; ++x)
        planar.push_back((2 * x < count ? first : last).*sample);
    }
  };
  add(format.width, &Code::y);
  add(pairs, &Code::cb);
  add(pairs, &Code::cr);
  std::vector<std::uint8_t> bytes(planar.size() * 2);
  std::memcpy(bytes.data(), planar.data(), bytes.size());
  std::vector<std::uint8_t> packed(format.FrameBytes());
  PackPicture(format, bytes, packed);
  std::vector<std::uint16_t> pixels(std::size_t{3} * format.width * format.height);
  DeepRgb(format, false).Convert(packed, pixels);
  return pixels;
}

TEST(DeepRgb, BlackAndWhiteAreTheEndsOfTheRange) {
  for (const std::uint32_t width : {2U, 7U, 48U}) {
    const auto limited = MakeFormat(width, 1, ColourRange::Limited);
    EXPECT_THAT(Convert(limited, {64, 512, 512}, {64, 512, 512}), testing::Each(0));
    EXPECT_THAT(Convert(limited, {940, 512, 512}, {940, 512, 512}), testing::Each(65535));
    const auto full = MakeFormat(width, 1, ColourRange::Full);
    EXPECT_THAT(Convert(full, {0, 512, 512}, {0, 512, 512}), testing::Each(0));
    EXPECT_THAT(Convert(full, {1023, 512, 512}, {1023, 512, 512}), testing::Each(65535));
  }
}

TEST(DeepRgb, ValuesOutsideOfTheRangeAreClipped) {
  const auto format = MakeFormat(8, 1, ColourRange::Limited);
  EXPECT_THAT(Convert(format, {4, 512, 512}, {4, 512, 512}), testing::Each(0));
  EXPECT_THAT(Convert(format, {1019, 512, 512}, {1019, 512, 512}), testing::Each(65535));
}

TEST(DeepRgb, PrimariesComeBackWithEveryMatrix) {
  struct Weights {
    int matrix;
    double red, blue;
  };
  for (const auto& [matrix, red, blue] :
       {Weights{1, 0.2126, 0.0722}, Weights{6, 0.299, 0.114}, Weights{9, 0.2627, 0.0593}}) {
    const auto round = [](double value) { return static_cast<std::uint16_t>(std::lround(value)); };
    const Code pureRed{round(64 + 876 * red), round(512 - 448 * red / (1 - blue)), 960};
    const auto pixels = Convert(MakeFormat(8, matrix, ColourRange::Limited), pureRed, pureRed);
    EXPECT_NEAR(pixels[0], 65535, 100) << matrix;
    EXPECT_NEAR(pixels[1], 0, 100) << matrix;
    EXPECT_NEAR(pixels[2], 0, 100) << matrix;
  }
}

TEST(DeepRgb, EvenColumnsKeepTheirChroma) {
  const auto format = MakeFormat(16, 1, ColourRange::Limited);
  const auto pixels = Convert(format, {500, 400, 600}, {500, 600, 400});
  const auto left = Convert(format, {500, 400, 600}, {500, 400, 600});
  const auto right = Convert(format, {500, 600, 400}, {500, 600, 400});
  for (std::size_t x = 0; x < 16; x += 2) {
    for (std::size_t c = 0; c < 3; ++c) {
      EXPECT_EQ(pixels[3 * x + c], (x < 8 ? left : right)[3 * x + c]) << x;
    }
  }
  // Halfway between both colours.
  EXPECT_NEAR(pixels[3 * 7], (left[0] + right[0]) / 2, 1);
}

}  // namespace
}  // namespace vixprores
