// SPDX-License-Identifier: BSD-2-Clause
#ifndef CODEC_RATE_COARSENESSSEARCH_H
#define CODEC_RATE_COARSENESSSEARCH_H

#include <cstdint>

#include "rate/Coarseness.h"

namespace prores {

/// Search for the coarseness on which a frame, or a sample of its slices, just fits its budget.
///
/// Sizes fall about with a power of the quantiser scale. So the search goes along a line in the
/// logarithms of scale and size; its slope is taken from the last two sizes measured.
class CoarsenessSearch {
 public:
  /// Forgets what fits, for another sample, but keeps the slope.
  void Restart();

  /// Takes note of a measured size, one at a coarseness that Next() gave or at the first one after
  /// a restart.
  void Add(Coarseness coarseness, std::uint64_t bytes, std::uint64_t budget);

  /// One to measure: where the size is expected to be just below the budget. Once settled: the
  /// finest one known to fit, or kCoarsest if nothing fits.
  Coarseness Next() const;

  /// Whether there is no finer one that fits, or what fits is within a thousandth of the budget.
  bool IsSettled() const;
  /// Whether the last size is close enough to its budget for Next() to be off by little.
  bool IsClose() const;

 private:
  /// Logarithms to the base 2, in 1/65536.
  using Log = std::int64_t;

  Coarseness tooLarge_ = kFinest - 1;   ///< the coarsest one known not to fit
  Coarseness fitting_ = kCoarsest + 1;  ///< the finest one known to fit
  Log fittingExcess_ = 0;               ///< its size over its budget
  unsigned measured_ = 0;               ///< since the restart
  Coarseness last_ = 0;                 ///< the last one measured
  Log excess_ = 0;                      ///< its size over its budget
  Log slope_ = Log{1} << 16;            ///< by which sizes fall, for one power of two of scale
};

/// Logarithm of `value` (at least 1) to the base 2 in 1/65536, rounded down.
std::int64_t FixedLog2(std::uint64_t value);

}  // namespace prores

#endif  // CODEC_RATE_COARSENESSSEARCH_H
