// SPDX-License-Identifier: BSD-2-Clause
#ifndef CODEC_ENCODE_RATE_GRIDDETECTION_H
#define CODEC_ENCODE_RATE_GRIDDETECTION_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "bitstream/BlockOrder.h"
#include "cpu/CpuLevel.h"
#include "encode/Quantiser.h"
#include "encode/rate/Coarseness.h"

/**
 * @file
 * Recognises pictures that were coded before.
 *
 * Apart from the rounding of samples, the coefficients of a decoded slice lie on the grid of the
 * quantiser that it was coded with. The same quantiser loses nothing more; a finer one gains
 * nothing; a slightly different one loses as much again.
 */

namespace prores {

/// Deviation of the coefficients of a decoded slice that the rounding of samples causes.
struct GridNoise {
  /// @param weight     least weight of the quantisation matrix, 4 to 16.
  /// @param sampleBits of the picture: 8, 10 or 12.
  constexpr GridNoise(unsigned weight, int sampleBits)
      : GridNoise(((16U << (12 - sampleBits)) / 4 + weight - 1) / weight) {}

  int square;  ///< 12 times the variance
  int reach;   ///< bound that hardly any deviation exceeds

 private:
  /// A deviation of the samples is uniform within half a code value, of variance 1/12.
  explicit constexpr GridNoise(unsigned unit)
      : square(static_cast<int>(unit * unit)), reach(static_cast<int>(3 * unit / 2)) {}
};

/// Deviations of values from the multiples of a step. Values that may be zeros with noise are
/// ignored.
struct GridDeviations {
  std::uint32_t counted = 0;  ///< values of a magnitude beyond the noise's reach
  std::uint32_t strayed = 0;  ///< those of them that deviate by more than the reach
  std::uint32_t squares = 0;  ///< sum of the squared deviations of the others

  bool operator==(const GridDeviations&) const = default;
};

/// Measures how far values deviate from the multiples of a step.
/// @param quantiser has the step, and nearest rounding.
/// @param values    kSparseSlack more values after them are readable.
/// @param reach     0..63
GridDeviations MeasureDeviations(const Quantiser& quantiser, std::span<const std::int16_t> values,
                                 int reach);

/// AC coefficients of each component of a slice. Small ones may be missing.
using SliceValues = std::array<std::span<const std::int16_t>, kComponents>;

/// Finds the grids of the slices of a strip. Until it finds one, it examines only some slices.
class GridSearch {
 public:
  /// @param foundAny whether slices elsewhere in the frame lie on a grid.
  /// @param measure  a form of MeasureDeviations().
  GridSearch(const GridNoise& noise, bool foundAny,
             decltype(&MeasureDeviations) measure = MeasureDeviations)
      : noise_(noise), foundAny_(foundAny), measure_(measure) {}

  /// Returns the coarsest grid on which most values of the next slice lie, among the rungs that
  /// need no other weights than the variant's own.
  Grid Next(const SliceValues& values);
  /// Whether any slice lies on a grid, among those so far and elsewhere.
  bool FoundAny() const { return foundAny_; }

 private:
  std::optional<Grid> Find(const SliceValues& values) const;
  bool LieOnGrid(std::span<const std::int16_t> values, const Quantiser& quantiser) const;
  unsigned FindChromaQuarters(const SliceValues& values, unsigned rung) const;

  GridNoise noise_;
  bool foundAny_;
  decltype(&MeasureDeviations) measure_;
  unsigned skip_ = 0;
};

/// Returns the fastest form of MeasureDeviations() for `level`.
decltype(&MeasureDeviations) MeasureDeviationsFor(CpuLevel level);

}  // namespace prores

#endif  // CODEC_ENCODE_RATE_GRIDDETECTION_H
