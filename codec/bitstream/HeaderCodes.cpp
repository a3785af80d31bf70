// SPDX-License-Identifier: BSD-2-Clause
#include "bitstream/HeaderCodes.h"

#include <algorithm>
#include <iterator>
#include <numeric>

namespace prores {
namespace {

struct RateCode {
  Ratio rate;
  std::uint8_t code;
};

constexpr RateCode kRateCodes[] = {
    {{24000, 1001}, 1}, {{24, 1}, 2},         {{25, 1}, 3},       {{30000, 1001}, 4},
    {{30, 1}, 5},       {{50, 1}, 6},         {{60000, 1001}, 7}, {{60, 1}, 8},
    {{100, 1}, 9},      {{120000, 1001}, 10}, {{120, 1}, 11},
};

bool AreEqual(Ratio a, Ratio b) {
  return std::int64_t{a.numerator} * b.denominator == std::int64_t{b.numerator} * a.denominator;
}

// The products fit 32 bits because sides have 16 bits.
Ratio PixelOfPicture(std::int32_t across, std::int32_t down, std::uint16_t width,
                     std::uint16_t height) {
  const std::int32_t numerator = across * height;
  const std::int32_t denominator = down * width;
  const std::int32_t common = std::gcd(numerator, denominator);
  return {numerator / common, denominator / common};
}

}  // namespace

Ratio FrameRateOfCode(std::uint8_t code) {
  const auto* const found = std::ranges::find(kRateCodes, code, &RateCode::code);
  return found == std::end(kRateCodes) ? Ratio{} : found->rate;
}

std::uint8_t CodeOfFrameRate(Ratio rate) {
  const auto* const found = std::ranges::find_if(
      kRateCodes, [rate](const RateCode& entry) { return AreEqual(entry.rate, rate); });
  return found == std::end(kRateCodes) ? std::uint8_t{0} : found->code;
}

Ratio PixelAspectOfCode(std::uint8_t code, std::uint16_t width, std::uint16_t height) {
  switch (code) {
    case 1:
      return {1, 1};
    case 2:
      return PixelOfPicture(4, 3, width, height);
    case 3:
      return PixelOfPicture(16, 9, width, height);
    default:
      return {};
  }
}

std::uint8_t CodeOfPixelAspect(Ratio pixel, std::uint32_t width, std::uint32_t height) {
  if (pixel.numerator == 0) return 0;
  if (pixel.numerator == pixel.denominator) return 1;
  // Sides have 16 bits and aspects 31: the products fit 64 bits.
  const std::int64_t across = std::int64_t{width} * pixel.numerator;
  const std::int64_t down = std::int64_t{height} * pixel.denominator;
  if (across * 3 == down * 4) return 2;
  return across * 9 == down * 16 ? 3 : 0;
}

}  // namespace prores
