// SPDX-License-Identifier: BSD-2-Clause
#include "encode/rate/CoarsenessSearch.h"

#include <algorithm>
#include <bit>

namespace prores {
namespace {

constexpr int kFractionBits = 16;
constexpr std::int64_t kOne = std::int64_t{1} << kFractionBits;

/// Bounds of the slope; values outside are accidents of steep or flat places.
constexpr std::int64_t kLeastSlope = kOne / 4;
constexpr std::int64_t kGreatestSlope = 4 * kOne;

constexpr std::int64_t kCloseBy = kOne / 8;

/// Part of the budget that may remain unused, a thousandth, and the part to aim at.
constexpr std::int64_t kSlack = kOne / 700;
constexpr std::int64_t kAim = kSlack / 2;

/// Steps along the line, usually three or four. A search that takes more is misled and continues by
/// bisection.
constexpr unsigned kStepsByLine = 6;

}  // namespace

std::int64_t FixedLog2(std::uint64_t value) {
  const int zeros = std::countl_zero(value);
  std::int64_t log = 63 - zeros;
  // A mantissa in [1, 2) with 31 fraction bits; each squaring yields one bit of the logarithm.
  std::uint64_t mantissa = value << zeros >> 32;
  for (int i = 0; i < kFractionBits; ++i) {
    mantissa = mantissa * mantissa >> 31;
    const std::uint64_t bit = mantissa >> 32;
    mantissa >>= bit;
    log = log << 1 | static_cast<std::int64_t>(bit);
  }
  return log;
}

void CoarsenessSearch::Restart(Coarseness finest) {
  tooLarge_ = finest - 1;
  fitting_ = kCoarsest + 1;
  measured_ = 0;
}

void CoarsenessSearch::Add(Coarseness coarseness, std::uint64_t bytes, std::uint64_t budget) {
  const Log excess =
      FixedLog2(std::max<std::uint64_t>(bytes, 1)) - FixedLog2(std::max<std::uint64_t>(budget, 1));
  if (measured_ > 0) {
    slope_ = std::clamp((excess_ - excess) * kOctave / (coarseness - last_), kLeastSlope,
                        kGreatestSlope);
  }
  ++measured_;
  last_ = coarseness;
  excess_ = excess;
  if (bytes <= budget) {
    fitting_ = coarseness;
    fittingExcess_ = excess;
  } else {
    tooLarge_ = coarseness;
  }
}

Coarseness CoarsenessSearch::Next() const {
  if (IsSettled()) return std::min(fitting_, kCoarsest);
  const Coarseness finest = tooLarge_ + 1;
  const Coarseness coarsest = fitting_ - 1;
  if (measured_ >= kStepsByLine) return (finest + coarsest) / 2;
  const Log wanted = last_ + (excess_ + kAim) * kOctave / slope_;
  return static_cast<Coarseness>(std::clamp<Log>(wanted, finest, coarsest));
}

bool CoarsenessSearch::IsSettled() const {
  return fitting_ - tooLarge_ <= 1 || tooLarge_ == kCoarsest ||
         (fitting_ <= kCoarsest && fittingExcess_ >= -kSlack);
}

bool CoarsenessSearch::IsClose() const {
  return excess_ < kCloseBy && excess_ > -kCloseBy;
}

}  // namespace prores
