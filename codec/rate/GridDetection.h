// SPDX-License-Identifier: BSD-2-Clause
#ifndef CODEC_RATE_GRIDDETECTION_H
#define CODEC_RATE_GRIDDETECTION_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "bitstream/BlockOrder.h"
#include "rate/Coarseness.h"
#include "transform/Quantise.h"

/**
 * @file
 * Recognises pictures that were coded before.
 *
 * The coefficients of a decoded slice lie on the grid of the quantiser that it was coded with, but
 * for the rounding of the samples. Coded with the same one, nothing is lost; with any finer one
 * there is nothing to gain, and a slightly different one loses as much as the first one did.
 */

namespace prores {

/// What rounding the samples does to the coefficients of a decoded slice.
struct GridNoise {
  /// @param weight     the least of the quantisation matrix: 4 to 16.
  /// @param sampleBits of the picture: 8 or 10.
  constexpr GridNoise(unsigned weight, unsigned sampleBits)
      : GridNoise((16 + weight - 1) / weight << (10 - sampleBits)) {}

  int square;  ///< 12 times the variance
  int reach;   ///< hardly any deviation is larger

 private:
  /// A deviation of the samples is uniform within half a code value, of variance 1/12.
  explicit constexpr GridNoise(unsigned unit)
      : square(static_cast<int>(unit * unit)), reach(static_cast<int>(3 * unit / 2)) {}
};

/// How values lie beside the multiples of a step. Those that may be zeros with noise do not count.
struct GridDeviations {
  std::uint32_t counted = 0;  ///< values of a magnitude beyond the noise's reach
  std::uint32_t strayed = 0;  ///< of these, those that deviate by more than that
  std::uint32_t squares = 0;  ///< of the deviations of the others

  bool operator==(const GridDeviations&) const = default;
};

/// @param quantiser with the step and nearest rounding.
/// @param values    as a SparseComponent has them: kSparseSlack more can be read.
/// @param reach     0..63
GridDeviations MeasureDeviations(const Quantiser& quantiser, std::span<const std::int16_t> values,
                                 int reach);

/// AC coefficients of each component of a slice. Small ones may be missing.
using SliceValues = std::array<std::span<const std::int16_t>, kComponents>;

/// Looks for the grids of slices side by side. As long as none is found, only some are looked at.
class GridSearch {
 public:
  /// @param foundAny whether slices elsewhere in the frame lie on a grid.
  /// @param measure  a form of MeasureDeviations().
  GridSearch(const GridNoise& noise, bool foundAny,
             decltype(&MeasureDeviations) measure = MeasureDeviations)
      : noise_(noise), foundAny_(foundAny), measure_(measure) {}

  /// The coarsest grid on which most values of the next slice lie, of the rungs that need no other
  /// weights than the variant's own.
  Grid Next(const SliceValues& values);
  /// Whether any slice so far, or elsewhere, lies on a grid.
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

}  // namespace prores

#endif  // CODEC_RATE_GRIDDETECTION_H
