// SPDX-License-Identifier: BSD-2-Clause
#ifndef CODEC_ENCODE_QUANTISER_H
#define CODEC_ENCODE_QUANTISER_H

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>

#include "encode/ForwardTransform.h"

/**
 * @file
 * Quantisation of forward DCT coefficients.
 */

namespace prores {

/// Distance of an AC coefficient to the nearest candidate (LevelRule) before or after it, in places
/// of the coded order. Longer distances count as kMaxGap.
inline constexpr int kMaxGap = 15;
constexpr int GapOf(int before, int place, int after) {
  return std::min({place - before, after - place, kMaxGap});
}

/// Rounding of coefficients to levels, in 1/64 of a step. A magnitude of x steps becomes the level
/// floor(x + offset); an offset of 32 gives the nearest level.
///
/// AC coefficients of at least least[0] are candidates, and so are the DCs before them. A
/// candidate with a gap of n to the nearest other one becomes zero if it is below least[n].
struct LevelRule {
  std::uint8_t dcOffset;
  std::uint8_t acOffset;
  std::array<std::uint8_t, kMaxGap + 1> least;
};
inline constexpr unsigned kRuleUnit = 64;

inline constexpr LevelRule kNearestRounding = [] {
  LevelRule rule{32, 32, {}};
  rule.least.fill(32);
  return rule;
}();

/// Gains about a decibel at equal size: the levels that it lowers cost more bits than they are
/// worth, most of all next to long runs of zeros. DCs are rounded to the nearest level, because
/// they predict their neighbours. Coefficients that are multiples of the step keep their levels.
inline constexpr LevelRule kDeadZoneRounding = {
    32, 28, {41, 41, 46, 51, 52, 53, 54, 55, 56, 57, 58, 59, 60, 60, 60, 60}};

/// Largest quantiser scale: four times the 512 of the bitstream (RDD 36, quantisation index), which
/// four times as large weights make possible.
inline constexpr unsigned kMaxQuantizerScale = 2048;
inline constexpr unsigned kMaxStep = kUnitWeight * kMaxQuantizerScale;

/// Divides coefficients by the step of a quantiser scale.
///
/// Division by the step is a multiplication. With 2^(k-1) < step <= 2^k and
/// m = ceil(2^(15+k) / step), floor(n / step) = floor(n m / 2^(15+k)) for all 0 <= n < 2^15: with
/// e = m step - 2^(15+k), 0 <= e < step <= 2^k, the right side's argument exceeds n / step by
/// n e / (2^(15+k) step) < 1 / step, too little to reach the next whole number.
/// m is 2^15 for a power of two and less than 2^16 for the others. The quotient is the upper half
/// of a 32-bit product, twice: that of n m, and of this half times 2^(17-k). For a step of 2 that
/// power would not fit 16 bits. There n m is that of m = 2^16 - 1, whose upper half is n - 1 for
/// all 1 <= n < 2^16; the rounding offset is greater by one, so n is never 0.
///
/// A decoder's products fit 16 bits: with a weight w of up to 63, |coefficient| is at
/// most kMaxCoefficient x kUnitWeight / w, rounded up, and |level x w x scale| at most w /
/// kUnitWeight x (|coefficient| + step / 2), less than 2^15.
class Quantiser {
 public:
  /// @param step 2..kMaxStep: kUnitWeight times the quantiser scale, times the factor of the
  /// weights
  ///             where that is below one.
  constexpr Quantiser(unsigned step, const LevelRule& rule)
      : step_(static_cast<std::uint16_t>(step)),
        dcBias_(static_cast<std::uint16_t>(step_ * rule.dcOffset / kRuleUnit)),
        acBias_(static_cast<std::uint16_t>(step_ * rule.acOffset / kRuleUnit)) {
    for (std::size_t gap = 0; gap < rule.least.size(); ++gap) {
      const unsigned least = (step_ * rule.least[gap] + kRuleUnit - 1) / kRuleUnit;
      leastLow_[gap] = static_cast<std::uint8_t>(least);
      leastHigh_[gap] = static_cast<std::uint8_t>(least >> 8);
    }
    const auto bits = static_cast<unsigned>(std::bit_width(step_ - 1U));
    const std::uint32_t power = std::uint32_t{1} << (15 + bits);
    reciprocal_ = static_cast<std::uint16_t>((power + step_ - 1) / step_);
    power_ = static_cast<std::uint16_t>(1U << (17 - bits));
    if (step_ > 2) return;
    ++dcBias_;
    ++acBias_;
    reciprocal_ = 0xFFFF;
    power_ = 1U << 15;
  }

  /// Returns the level of a coefficient whose magnitude is at most kMaxCoefficient.
  /// @param bias DcBias() or AcBias().
  constexpr std::int16_t Level(std::int16_t coefficient, std::uint16_t bias) const {
    const int sign = coefficient >> 15;  // 0 or -1
    const auto dividend = static_cast<std::uint16_t>((coefficient ^ sign) - sign + bias);
    const std::uint32_t product = std::uint32_t{dividend} * reciprocal_ >> 16;
    const auto magnitude = static_cast<int>(product * power_ >> 16);
    return static_cast<std::int16_t>((magnitude ^ sign) - sign);
  }

  /// Least magnitude of an AC coefficient that is a candidate.
  constexpr std::uint16_t LeastAc() const { return LeastAc(0); }
  /// Least magnitude of a candidate that does not become zero.
  /// @param gap GapOf() the candidate.
  constexpr std::uint16_t LeastAc(int gap) const {
    const auto entry = static_cast<std::size_t>(gap);
    return static_cast<std::uint16_t>(leastHigh_[entry] << 8 | leastLow_[entry]);
  }

  // Factors for the SIMD forms of Level().

  /// The divisor.
  constexpr std::uint16_t Step() const { return step_; }
  /// Rounding offset x step; for a step of 2, one more.
  constexpr std::uint16_t DcBias() const { return dcBias_; }
  constexpr std::uint16_t AcBias() const { return acBias_; }
  /// m above.
  constexpr std::uint16_t Reciprocal() const { return reciprocal_; }
  /// 2^(17-k).
  constexpr std::uint16_t Power() const { return power_; }
  /// LeastAc() of each gap in two bytes.
  using GapTable = std::array<std::uint8_t, kMaxGap + 1>;
  constexpr const GapTable& LeastAcLow() const { return leastLow_; }
  constexpr const GapTable& LeastAcHigh() const { return leastHigh_; }

 private:
  // The dividend of the reciprocal multiplication stays below 2^15.
  static_assert(kMaxCoefficient + kMaxStep / 2 < 1 << 15);
  static_assert(kNearestRounding.dcOffset <= kRuleUnit / 2 &&
                kNearestRounding.acOffset <= kRuleUnit / 2);
  // Coefficients of the least magnitudes have a level, and longer gaps never keep more.
  static_assert(kNearestRounding.acOffset + kNearestRounding.least[0] >= kRuleUnit &&
                kDeadZoneRounding.acOffset + kDeadZoneRounding.least[0] >= kRuleUnit &&
                std::ranges::is_sorted(kDeadZoneRounding.least));

  std::uint16_t step_;
  std::uint16_t dcBias_;
  std::uint16_t acBias_;
  std::uint16_t reciprocal_ = 0;
  std::uint16_t power_ = 0;
  alignas(16) GapTable leastLow_{};
  alignas(16) GapTable leastHigh_{};
};

}  // namespace prores

#endif  // CODEC_ENCODE_QUANTISER_H
