// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <random>
#include <vector>

#include "pixel/RgbConversion.h"

namespace prores {
namespace {

/// A matrix with the weights that its standard gives.
struct Standard {
  unsigned code;
  double red, blue;

  double Green() const { return 1 - red - blue; }
};

constexpr std::array<Standard, 4> kStandards = {{
    {1, 0.2126, 0.0722},
    {5, 0.299, 0.114},
    {6, 0.299, 0.114},
    {9, 0.2627, 0.0593},
}};

constexpr unsigned kConstantLuminance = 10;

/// Values of one row: G B R or Y Cb Cr.
struct Planes {
  void Add(int first, int second, int third) {
    luma.push_back(static_cast<std::uint16_t>(first));
    cb.push_back(static_cast<std::uint16_t>(second));
    cr.push_back(static_cast<std::uint16_t>(third));
  }
  PlanarRow Row() { return {luma.data(), cb.data(), cr.data()}; }

  std::vector<std::uint16_t> luma, cb, cr;
};

Planes ToYCbCr(Planes planes, unsigned code = 1) {
  RgbToYCbCr(RgbMatrixOf(code), planes.luma.size(), planes.Row());
  return planes;
}

Planes ToRgb(Planes planes, unsigned code = 1) {
  YCbCrToRgb(RgbMatrixOf(code), planes.luma.size(), planes.Row());
  return planes;
}

Planes Random(int largest) {
  std::mt19937 random(1);
  std::uniform_int_distribution<int> value(0, largest);
  Planes planes;
  for (int i = 0; i < 300000; ++i) planes.Add(value(random), value(random), value(random));
  for (int i = 0; i < 8; ++i) planes.Add(i % 2 * largest, i / 2 % 2 * largest, i / 4 * largest);
  return planes;
}

/// Half a code of rounding, and the error of single precision.
constexpr double kRounding = 0.5 + 0.02;

TEST(RgbConversion, MeetsTheEquationsOfEachMatrix) {
  const Planes rgb = Random(65535);
  for (const Standard& standard : kStandards) {
    const Planes coded = ToYCbCr(rgb, standard.code);
    for (std::size_t i = 0; i < rgb.luma.size(); ++i) {
      const double green = rgb.luma[i] / 65535.0, blue = rgb.cb[i] / 65535.0;
      const double red = rgb.cr[i] / 65535.0;
      const double luma = standard.red * red + standard.Green() * green + standard.blue * blue;
      ASSERT_NEAR(coded.luma[i], 256 + 3504 * luma, kRounding);
      ASSERT_NEAR(coded.cb[i], 2048 + 3584 * (blue - luma) / (2 * (1 - standard.blue)), kRounding);
      ASSERT_NEAR(coded.cr[i], 2048 + 3584 * (red - luma) / (2 * (1 - standard.red)), kRounding);
    }
  }
}

TEST(RgbConversion, MeetsTheInverseEquationsOfEachMatrix) {
  const auto clamped = [](double value) { return std::clamp(65535 * value, 0.0, 65535.0); };
  const Planes coded = Random(4095);
  for (const Standard& standard : kStandards) {
    const Planes rgb = ToRgb(coded, standard.code);
    for (std::size_t i = 0; i < rgb.luma.size(); ++i) {
      const double luma = (coded.luma[i] - 256) / 3504.0;
      const double blue = luma + 2 * (1 - standard.blue) * (coded.cb[i] - 2048) / 3584;
      const double red = luma + 2 * (1 - standard.red) * (coded.cr[i] - 2048) / 3584;
      const double green = (luma - standard.red * red - standard.blue * blue) / standard.Green();
      ASSERT_NEAR(rgb.luma[i], clamped(green), kRounding);
      ASSERT_NEAR(rgb.cb[i], clamped(blue), kRounding);
      ASSERT_NEAR(rgb.cr[i], clamped(red), kRounding);
    }
  }
}

TEST(RgbConversion, ConvertsPrimariesOfBt709) {
  Planes rgb;
  rgb.Add(0, 0, 0);
  rgb.Add(65535, 65535, 65535);
  rgb.Add(65535, 0, 0);  // green
  rgb.Add(0, 65535, 0);  // blue
  rgb.Add(0, 0, 65535);  // red
  const Planes coded = ToYCbCr(rgb);
  EXPECT_EQ(coded.luma, (std::vector<std::uint16_t>{256, 3760, 2762, 509, 1001}));
  EXPECT_EQ(coded.cb, (std::vector<std::uint16_t>{2048, 2048, 667, 3840, 1637}));
  EXPECT_EQ(coded.cr, (std::vector<std::uint16_t>{2048, 2048, 420, 1884, 3840}));
}

TEST(RgbConversion, KeepsGreysNeutral) {
  Planes greys, neutral;
  for (int value = 0; value < 65536; ++value) greys.Add(value, value, value);
  for (int value = 0; value < 4096; ++value) neutral.Add(value, 2048, 2048);
  for (const Standard& standard : kStandards) {
    const Planes coded = ToYCbCr(greys, standard.code);
    const std::vector<std::uint16_t> zero(65536, 2048);
    EXPECT_EQ(coded.cb, zero);
    EXPECT_EQ(coded.cr, zero);
    const Planes rgb = ToRgb(neutral, standard.code);
    EXPECT_EQ(rgb.cb, rgb.luma);
    EXPECT_EQ(rgb.cr, rgb.luma);
    EXPECT_EQ(rgb.luma.front(), 0);
    EXPECT_EQ(rgb.luma[256], 0);
    EXPECT_EQ(rgb.luma[3760], 65535);
    EXPECT_EQ(rgb.luma.back(), 65535);
  }
}

/// Whether the component of no pixel was clamped.
bool IsInGamut(const Planes& rgb, std::size_t pixel) {
  return std::ranges::all_of(std::array{rgb.luma[pixel], rgb.cb[pixel], rgb.cr[pixel]},
                             [](std::uint16_t value) { return value > 0 && value < 65535; });
}

TEST(RgbConversion, ReturnsTheYCbCrOfColoursInTheGamut) {
  Planes coded;
  for (int luma = 0; luma < 4096; luma += 53) {
    for (int cb = 0; cb < 4096; cb += 19) {
      for (int cr = 0; cr < 4096; cr += 17) coded.Add(luma, cb, cr);
    }
  }
  for (const Standard& standard : kStandards) {
    const Planes rgb = ToRgb(coded, standard.code);
    const Planes again = ToYCbCr(rgb, standard.code);
    std::size_t compared = 0;
    for (std::size_t i = 0; i < coded.luma.size(); ++i) {
      if (!IsInGamut(rgb, i)) continue;
      ++compared;
      ASSERT_EQ(again.luma[i], coded.luma[i]);
      ASSERT_EQ(again.cb[i], coded.cb[i]);
      ASSERT_EQ(again.cr[i], coded.cr[i]);
    }
    EXPECT_GT(compared, coded.luma.size() / 10);
  }
}

/// Largest errors that half a code of luma and of chroma make in RGB, plus its own rounding.
struct Bounds {
  explicit Bounds(const Standard& standard)
      : blue(kHalfLuma + (1 - standard.blue) * kHalfChroma + kRounding),
        red(kHalfLuma + (1 - standard.red) * kHalfChroma + kRounding),
        green(kHalfLuma +
              (standard.blue * (1 - standard.blue) + standard.red * (1 - standard.red)) /
                  standard.Green() * kHalfChroma +
              kRounding) {}

  static constexpr double kHalfLuma = 65535 * 0.5 / 3504;
  static constexpr double kHalfChroma = 2 * 65535 * 0.5 / 3584;
  double blue, red, green;
};

TEST(RgbConversion, ChangesRgbByTheRoundingOfYCbCrOnly) {
  const auto scaled = [](int value) {
    return static_cast<int>(std::lround(value * 65535 / 4095.0));
  };
  const auto repeated = [](int value) { return value << 4 | value >> 8; };
  const Planes twelveBits = Random(4095);
  Planes rgb = Random(65535);
  for (std::size_t i = 0; i < twelveBits.luma.size(); ++i) {
    const int green = twelveBits.luma[i], blue = twelveBits.cb[i], red = twelveBits.cr[i];
    rgb.Add(scaled(green), scaled(blue), scaled(red));
    rgb.Add(repeated(green), repeated(blue), repeated(red));
  }
  for (const Standard& standard : kStandards) {
    const Bounds bounds(standard);
    const Planes again = ToRgb(ToYCbCr(rgb, standard.code), standard.code);
    for (std::size_t i = 0; i < rgb.luma.size(); ++i) {
      ASSERT_LE(std::abs(again.luma[i] - rgb.luma[i]), bounds.green);
      ASSERT_LE(std::abs(again.cb[i] - rgb.cb[i]), bounds.blue);
      ASSERT_LE(std::abs(again.cr[i] - rgb.cr[i]), bounds.red);
    }
  }
}

TEST(RgbConversion, ConvertsWithBt709UnlessAMatrixIsKnown) {
  for (unsigned code = 0; code < 256; ++code) {
    if (code == kConstantLuminance) continue;
    const bool known = std::ranges::find(kStandards, code, &Standard::code) != kStandards.end();
    EXPECT_EQ(CodedRgbMatrix(code), known ? code : 1) << code;
    EXPECT_EQ(&RgbMatrixOf(code) == &RgbMatrixOf(1), !known || code == 1) << code;
  }
}

TEST(RgbConversion, ConvertsConstantLuminanceWithTheWeightsOfBt2020) {
  EXPECT_EQ(CodedRgbMatrix(kConstantLuminance), 9);
  const Planes pixels = Random(4095);
  EXPECT_EQ(ToRgb(pixels, kConstantLuminance).luma, ToRgb(pixels, 9).luma);
  EXPECT_EQ(ToYCbCr(pixels, kConstantLuminance).luma, ToYCbCr(pixels, 9).luma);
}

}  // namespace
}  // namespace prores
