// SPDX-License-Identifier: BSD-2-Clause
#ifndef CODEC_ENCODE_RATE_ACTIVITY_H
#define CODEC_ENCODE_RATE_ACTIVITY_H

#include <bit>
#include <cstddef>
#include <cstdint>

#include "cpu/CpuLevel.h"
#include "encode/rate/Coarseness.h"

/**
 * @file
 * Activity of a slice, and how much finer quiet slices are quantised.
 *
 * Errors in quiet areas lower structural similarity most. The quantiser scale of a slice is
 * therefore proportional to (variance + c)^0.075, in the geometric mean over its luma blocks, where
 * c is half of the constant (0.03 x 1023)^2 with which SSIM tolerates errors in flat areas. This
 * raises SSIM at no cost in mean squared error.
 */

namespace prores {

/// 64 x 64 x c, the unit in which blocks are measured: 64 x sum of squares - square of sum =
/// 64 x 64 x variance.
inline constexpr std::uint32_t kActivityFloor = 64 * 64 * 471;

/// Shift from the bits of a float to a logarithm in 1/kOctave.
inline constexpr unsigned kFloatToOctaves = 23 - kOctaveBits;

/**
 * Measures the activity of a slice.
 * @param samples upper left luma sample of the slice, which has 16 lines.
 * @param stride  samples from one line to the next.
 * @param blocks  number of luma blocks, a power of two from 4 to 32.
 * @param shift   bits of a sample beyond ten, which are ignored.
 * @return the mean over the blocks of log2(4096 (variance + c)) + 127 in 1/kOctave, each as the
 *         upper bits of a float have it (linear between powers of two).
 */
std::uint32_t MeasureActivity(const std::uint16_t* samples, std::size_t stride,
                              std::uint32_t blocks, int shift);

/// Returns SliceTraits::finerBy for a result of MeasureActivity().
constexpr std::int16_t FinerBy(std::uint32_t activity) {
  // The maximum: a block half black, half white.
  constexpr std::uint32_t kMost =
      std::bit_cast<std::uint32_t>(float{1023 * 1023 * 1024 + kActivityFloor}) >> kFloatToOctaves;
  constexpr std::uint32_t kLeast =
      std::bit_cast<std::uint32_t>(float{kActivityFloor}) >> kFloatToOctaves;
  constexpr auto kExponent = [](std::uint32_t octaves) { return octaves * 3 / 40; };  // 0.075
  static_assert(kExponent(kMost - kLeast) <= kMaxFinerBy);
  return static_cast<std::int16_t>(kExponent(kMost - activity));
}

/// Returns the fastest form of MeasureActivity() for `level`.
decltype(&MeasureActivity) MeasureActivityFor(CpuLevel level);

}  // namespace prores

#endif  // CODEC_ENCODE_RATE_ACTIVITY_H
