// SPDX-License-Identifier: BSD-2-Clause
#ifndef CODEC_RATE_RUNGSEARCH_H
#define CODEC_RATE_RUNGSEARCH_H

#include <cstdint>

#include "rate/QuantiserLadder.h"

namespace prores {

/// Search for the finest rung on which a frame, or a sample of its slices, fits its budget.
///
/// Sizes fall about with a power of the quantiser scale. So the search goes along a line in the
/// logarithms of scale and size; its slope is taken from the last two sizes measured.
class RungSearch {
 public:
  /// Forgets which rungs fit, for another sample, but keeps the slope.
  void Restart();

  /// Takes note of a measured size. Rungs are given at most once between restarts, none that is
  /// coarser than one that fits or finer than one that does not.
  void Add(unsigned rung, std::uint64_t bytes, std::uint64_t budget);

  /// The finest rung that is expected to fit: one to measure, or the finest that is known to fit.
  unsigned Next() const;

  /// Whether Next() is known to fit, or nothing fits.
  bool IsSettled() const;
  /// Whether the last size is close enough to its budget for Next() to be off by little.
  bool IsClose() const;

 private:
  /// Logarithms to the base 2, in 1/65536.
  using Log = std::int64_t;

  static Log Position(unsigned rung);

  int tooLarge_ = -1;                     ///< coarsest rung known not to fit
  int fitting_ = int{kCoarsestRung} + 1;  ///< finest rung known to fit
  unsigned measured_ = 0;                 ///< since the restart
  unsigned rung_ = 0;                     ///< the last one measured
  Log excess_ = 0;                        ///< its size over its budget
  Log slope_ = Log{1} << 16;              ///< by which sizes fall, for one power of two of scale
};

/// Logarithm of `value` (at least 1) to the base 2 in 1/65536, rounded down.
std::int64_t FixedLog2(std::uint64_t value);

}  // namespace prores

#endif  // CODEC_RATE_RUNGSEARCH_H
