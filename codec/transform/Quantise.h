// SPDX-License-Identifier: BSD-2-Clause
#ifndef CODEC_TRANSFORM_QUANTISE_H
#define CODEC_TRANSFORM_QUANTISE_H

#include <array>
#include <cstddef>
#include <cstdint>

#include "bitstream/BlockOrder.h"
#include "bitstream/FrameHeader.h"

/**
 * @file
 * Quantisation of forward DCT coefficients.
 */

namespace prores {

/// Where between two levels the higher one is chosen: a coefficient of x steps becomes the level
/// floor(x + offset), the sign apart. In 1/64 of a step; 32 is the nearest level, less is a dead
/// zone around zero.
struct RoundingOffsets {
  std::uint8_t dc;
  std::uint8_t ac;
};
inline constexpr unsigned kRoundingUnit = 64;
inline constexpr RoundingOffsets kNearestRounding = {32, 32};
/// Gains about half a decibel at equal size: the levels that it lowers cost more bits than they are
/// worth. A DC has no such choice, its neighbours predict it.
inline constexpr RoundingOffsets kDeadZoneRounding = {32, 26};

/// The quantiser of one component: a step for each scan position.
///
/// Division by the step is a multiplication. With 2^(k-1) < step <= 2^k and
/// m = ceil(2^(15+k) / step), floor(n / step) = floor(n m / 2^(15+k)) for all 0 <= n < 2^15: with
/// e = m step - 2^(15+k), 0 <= e < step <= 2^k, the right side's argument exceeds n / step by
/// n e / (2^(15+k) step) < 1 / step, too little to reach the next whole number.
/// m is 2^15 for a power of two and less than 2^16 for the others, 4 <= step <= 2^15. The quotient
/// is the upper half of a 32-bit product, twice: that of n m, and of this half times 2^(17-k).
class Quantiser {
 public:
  /// @param weights weight (4..63) of each coefficient in raster order.
  /// @param scale   quantiser scale, 1..512 (RDD 36, quantisation index).
  /// @param scan    raster index of each scan position.
  Quantiser(const QuantMatrix& weights, unsigned scale, const ScanTable& scan,
            RoundingOffsets rounding);

  /// Quantises coefficients in coded order.
  ///
  /// For |coefficient| <= kMaxCoefficient, |level x step| <= |coefficient| + step / 2 < 2^15: what
  /// a decoder multiplies back fits 16 bits.
  /// @param blocks blocks of the component; both arrays hold 64 x blocks values.
  void Quantise(const std::int16_t* coefficients, std::size_t blocks, std::int16_t* levels) const;

  // The factors by scan position, for other forms of Quantise(): 64 of each kind, and behind them
  // as many readable values as a vector has.

  /// Rounding offset x step.
  const std::uint16_t* Biases() const { return factors_.data(); }
  /// m above.
  const std::uint16_t* Reciprocals() const { return factors_.data() + kBlockSamples; }
  /// 2^(17-k).
  const std::uint16_t* Powers() const { return factors_.data() + std::size_t{2} * kBlockSamples; }

 private:
  static constexpr std::size_t kMaxVectorValues = 32;

  void SetStep(std::size_t position, unsigned step, unsigned offset);

  std::array<std::uint16_t, 3 * kBlockSamples + kMaxVectorValues> factors_{};
};

}  // namespace prores

#endif  // CODEC_TRANSFORM_QUANTISE_H
