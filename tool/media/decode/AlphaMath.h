// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_MEDIA_DECODE_ALPHAMATH_H
#define TOOL_MEDIA_DECODE_ALPHAMATH_H

#include <algorithm>
#include <cstdint>

#include "format/DeepPicture.h"

namespace vixprores {

/// Code values of "Y416": black, the distance of white from it, neutral chroma, and opaque alpha.
inline constexpr std::int64_t kDeepBlack = 16 << 8;
inline constexpr std::int64_t kDeepWhiteRange = 219 << 8;
inline constexpr std::int64_t kDeepNeutral = 128 << 8;
inline constexpr std::int64_t kDeepOpaque = 65535;

/// Returns numerator / denominator, rounded to the nearest integer, halves away from 0.
/// @param denominator positive
constexpr std::int64_t DivideRounded(std::int64_t numerator, std::int64_t denominator) {
  return (numerator + (numerator < 0 ? -(denominator / 2) : denominator / 2)) / denominator;
}

/// Multiplies the distances of the colours from black and grey by numerator / denominator.
/// @param denominator positive
constexpr void ScaleColours(DeepPixel& pixel, std::int64_t numerator, std::int64_t denominator) {
  if (numerator == denominator) return;  // of most pixels, and much faster
  const auto scale = [&](std::uint16_t& sample, std::int64_t zero) {
    const std::int64_t scaled = zero + DivideRounded((sample - zero) * numerator, denominator);
    sample = static_cast<std::uint16_t>(std::clamp<std::int64_t>(scaled, 0, 65535));
  };
  scale(pixel.y, kDeepBlack);
  scale(pixel.cb, kDeepNeutral);
  scale(pixel.cr, kDeepNeutral);
}

}  // namespace vixprores

#endif  // TOOL_MEDIA_DECODE_ALPHAMATH_H
