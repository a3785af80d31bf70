// SPDX-License-Identifier: BSD-2-Clause
#include "rate/RungSearch.h"

#include <algorithm>
#include <bit>

#include "bitstream/SliceHeader.h"

namespace prores {
namespace {

constexpr int kFractionBits = 16;
constexpr std::int64_t kOne = std::int64_t{1} << kFractionBits;

/// What the nearest rounding of rung 0 counts for, next to the dead zone of rung 1.
constexpr std::int64_t kNearestRoundingStep = kOne / 8;

/// Slopes outside are accidents of steep or flat places.
constexpr std::int64_t kLeastSlope = kOne / 4;
constexpr std::int64_t kGreatestSlope = 4 * kOne;

constexpr std::int64_t kCloseBy = kOne / 8;

/// A search along the line usually takes three or four steps. One that takes more is misled and
/// goes on by halves.
constexpr unsigned kStepsByLine = 6;

}  // namespace

std::int64_t FixedLog2(std::uint64_t value) {
  const int zeros = std::countl_zero(value);
  std::int64_t log = 63 - zeros;
  // A mantissa in [1, 2) with 31 fraction bits; each squaring brings up one bit of the logarithm.
  std::uint64_t mantissa = value << zeros >> 32;
  for (int i = 0; i < kFractionBits; ++i) {
    mantissa = mantissa * mantissa >> 31;
    const std::uint64_t bit = mantissa >> 32;
    mantissa >>= bit;
    log = log << 1 | static_cast<std::int64_t>(bit);
  }
  return log;
}

void RungSearch::Restart() {
  tooLarge_ = -1;
  fitting_ = int{kCoarsestRung} + 1;
  measured_ = 0;
}

void RungSearch::Add(unsigned rung, std::uint64_t bytes, std::uint64_t budget) {
  const Log excess =
      FixedLog2(std::max<std::uint64_t>(bytes, 1)) - FixedLog2(std::max<std::uint64_t>(budget, 1));
  if (measured_ > 0) {
    slope_ = std::clamp(kOne * (excess_ - excess) / (Position(rung) - Position(rung_)), kLeastSlope,
                        kGreatestSlope);
  }
  ++measured_;
  rung_ = rung;
  excess_ = excess;
  (bytes <= budget ? fitting_ : tooLarge_) = static_cast<int>(rung);
}

unsigned RungSearch::Next() const {
  const auto finest = static_cast<unsigned>(tooLarge_ + 1);
  const unsigned coarsest = std::min(static_cast<unsigned>(fitting_), kCoarsestRung);
  if (measured_ >= kStepsByLine) return (finest + coarsest) / 2;
  const Log position = Position(rung_) + kOne * excess_ / slope_;
  unsigned rung = std::min(finest, coarsest);
  while (rung < coarsest && Position(rung) < position) ++rung;
  return rung;
}

bool RungSearch::IsSettled() const {
  return static_cast<int>(Next()) == fitting_ || tooLarge_ == int{kCoarsestRung};
}

bool RungSearch::IsClose() const {
  return excess_ < kCloseBy && excess_ > -kCloseBy;
}

RungSearch::Log RungSearch::Position(unsigned rung) {
  const Log scale = FixedLog2(QuantizerScale(QuantisationIndex(rung)));
  return rung == 0 ? scale - kNearestRoundingStep : scale;
}

}  // namespace prores
