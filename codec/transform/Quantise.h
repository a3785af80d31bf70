// SPDX-License-Identifier: BSD-2-Clause
#ifndef CODEC_TRANSFORM_QUANTISE_H
#define CODEC_TRANSFORM_QUANTISE_H

#include <bit>
#include <cstdint>

#include "transform/ForwardTransform.h"

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

/// Largest quantiser scale (RDD 36, quantisation index).
inline constexpr unsigned kMaxQuantizerScale = 512;

/// Divides coefficients by the step of a quantiser scale.
///
/// Division by the step is a multiplication. With 2^(k-1) < step <= 2^k and
/// m = ceil(2^(15+k) / step), floor(n / step) = floor(n m / 2^(15+k)) for all 0 <= n < 2^15: with
/// e = m step - 2^(15+k), 0 <= e < step <= 2^k, the right side's argument exceeds n / step by
/// n e / (2^(15+k) step) < 1 / step, too little to reach the next whole number.
/// m is 2^15 for a power of two and less than 2^16 for the others. The quotient is the upper half
/// of a 32-bit product, twice: that of n m, and of this half times 2^(17-k).
///
/// What a decoder multiplies back fits 16 bits: with a weight w of up to 63, |coefficient| is at
/// most kMaxCoefficient x kUnitWeight / w, rounded up, and |level x w x scale| at most w /
/// kUnitWeight x (|coefficient| + step / 2), less than 2^15.
class Quantiser {
 public:
  /// @param scale quantiser scale, 1..kMaxQuantizerScale.
  constexpr Quantiser(unsigned scale, RoundingOffsets rounding)
      : step_(static_cast<std::uint16_t>(kUnitWeight * scale)),
        dcBias_(static_cast<std::uint16_t>(step_ * rounding.dc / kRoundingUnit)),
        acBias_(static_cast<std::uint16_t>(step_ * rounding.ac / kRoundingUnit)) {
    const auto bits = static_cast<unsigned>(std::bit_width(step_ - 1U));
    const std::uint32_t power = std::uint32_t{1} << (15 + bits);
    reciprocal_ = static_cast<std::uint16_t>((power + step_ - 1) / step_);
    power_ = static_cast<std::uint16_t>(1U << (17 - bits));
  }

  /// The level of a coefficient whose magnitude is at most kMaxCoefficient.
  /// @param bias DcBias() or AcBias().
  constexpr std::int16_t Level(std::int16_t coefficient, std::uint16_t bias) const {
    const int sign = coefficient >> 15;  // 0 or -1
    const auto dividend = static_cast<std::uint16_t>((coefficient ^ sign) - sign + bias);
    const std::uint32_t product = std::uint32_t{dividend} * reciprocal_ >> 16;
    const auto magnitude = static_cast<int>(product * power_ >> 16);
    return static_cast<std::int16_t>((magnitude ^ sign) - sign);
  }

  /// Least magnitude of an AC coefficient whose level is not zero.
  constexpr std::uint16_t AcThreshold() const {
    return static_cast<std::uint16_t>(step_ - acBias_);
  }

  // The factors, for other forms of Level():

  /// Rounding offset x step.
  constexpr std::uint16_t DcBias() const { return dcBias_; }
  constexpr std::uint16_t AcBias() const { return acBias_; }
  /// m above.
  constexpr std::uint16_t Reciprocal() const { return reciprocal_; }
  /// 2^(17-k).
  constexpr std::uint16_t Power() const { return power_; }

 private:
  // The dividend of the reciprocal multiplication stays below 2^15.
  static_assert(kMaxCoefficient + kUnitWeight * kMaxQuantizerScale / 2 < 1 << 15);
  static_assert(kNearestRounding.dc <= kRoundingUnit / 2 &&
                kNearestRounding.ac <= kRoundingUnit / 2);

  std::uint16_t step_;
  std::uint16_t dcBias_;
  std::uint16_t acBias_;
  std::uint16_t reciprocal_ = 0;
  std::uint16_t power_ = 0;
};

}  // namespace prores

#endif  // CODEC_TRANSFORM_QUANTISE_H
