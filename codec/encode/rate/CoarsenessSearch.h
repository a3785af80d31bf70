// SPDX-License-Identifier: BSD-2-Clause
#ifndef CODEC_ENCODE_RATE_COARSENESSSEARCH_H
#define CODEC_ENCODE_RATE_COARSENESSSEARCH_H

#include <cstdint>

#include "encode/rate/Coarseness.h"

namespace prores {

/// Search for the coarseness at which a frame, or a sample of its slices, just fits its budget.
///
/// Sizes are roughly a power of the quantiser scale. The search therefore follows a line in the
/// logarithms of scale and size, whose slope comes from the last two sizes measured.
class CoarsenessSearch {
 public:
  /// @param finest the least result.
  explicit CoarsenessSearch(Coarseness finest = kFinest) { Restart(finest); }

  /// Starts over for another sample, but keeps the slope.
  void Restart(Coarseness finest);

  /// Adds a measured size. Except for the first one after a restart, `coarseness` is a result of
  /// Next().
  void Add(Coarseness coarseness, std::uint64_t bytes, std::uint64_t budget);

  /// Returns the coarseness to measure next, at which the size is expected just below the budget.
  /// Once settled, returns the finest one known to fit, or kCoarsest if nothing fits.
  Coarseness Next() const;

  /// Whether no finer one fits, or the finest fitting size is within a thousandth of the budget.
  bool IsSettled() const;
  /// Whether the last size is so close to its budget that Next() is accurate.
  bool IsClose() const;

 private:
  /// Logarithms to the base 2, in 1/65536.
  using Log = std::int64_t;

  Coarseness tooLarge_ = 0;   ///< the coarsest one known not to fit
  Coarseness fitting_ = 0;    ///< the finest one known to fit
  Log fittingExcess_ = 0;     ///< its size over its budget
  unsigned measured_ = 0;     ///< since the restart
  Coarseness last_ = 0;       ///< the last one measured
  Log excess_ = 0;            ///< its size over its budget
  Log slope_ = Log{1} << 16;  ///< fall of size per octave of scale
};

/// Returns the logarithm of `value` (at least 1) to the base 2 in 1/65536, rounded down.
std::int64_t FixedLog2(std::uint64_t value);

}  // namespace prores

#endif  // CODEC_ENCODE_RATE_COARSENESSSEARCH_H
