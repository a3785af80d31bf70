// SPDX-License-Identifier: BSD-2-Clause
#ifndef CODEC_RATE_ACTIVITY_H
#define CODEC_RATE_ACTIVITY_H

#include <bit>
#include <cstddef>
#include <cstdint>

#include "rate/Coarseness.h"

/**
 * @file
 * How much goes on in a slice, and how much more finely it is quantised for it.
 *
 * Where little goes on, structural similarity suffers most from an error. So the quantiser scale of
 * a slice goes with (variance + c)^0.075, in the geometric mean over its luma blocks, where c is
 * half of the constant (0.03 x 1023)^2 with which SSIM forgives errors in flat areas. This
 * raises SSIM at no cost in mean squared error.
 */

namespace prores {

/// 64 x 64 x c: blocks are measured in 64 x sum of squares - square of sum = 64 x 64 x variance.
inline constexpr std::uint32_t kActivityFloor = 64 * 64 * 471;

/// Shift from the bits of a float to a logarithm in 1/kOctave.
inline constexpr unsigned kFloatToOctaves = 23 - kOctaveBits;

/**
 * Measures a slice.
 * @param samples upper left one of the slice's luma, which has 16 lines; 10-bit code values.
 * @param stride  samples from one line to the next.
 * @param blocks  number of luma blocks, a power of two from 4 to 32.
 * @return the mean over the blocks of log2(4096 (variance + c)) + 127 in 1/kOctave, each as the
 *         upper bits of a float have it (linear between powers of two).
 */
std::uint32_t MeasureActivity(const std::uint16_t* samples, std::size_t stride,
                              std::uint32_t blocks);

/// SliceTraits::finerBy of a slice with that MeasureActivity().
constexpr std::int16_t FinerBy(std::uint32_t activity) {
  // A block half black, half white. Nothing exceeds it.
  constexpr std::uint32_t kMost =
      std::bit_cast<std::uint32_t>(float{1023 * 1023 * 1024 + kActivityFloor}) >> kFloatToOctaves;
  constexpr std::uint32_t kLeast =
      std::bit_cast<std::uint32_t>(float{kActivityFloor}) >> kFloatToOctaves;
  constexpr auto kExponent = [](std::uint32_t octaves) { return octaves * 3 / 40; };  // 0.075
  static_assert(kExponent(kMost - kLeast) <= kMaxFinerBy);
  return static_cast<std::int16_t>(kExponent(kMost - activity));
}

}  // namespace prores

#endif  // CODEC_RATE_ACTIVITY_H
