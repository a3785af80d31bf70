// SPDX-License-Identifier: BSD-2-Clause
#ifndef CODEC_ENCODE_SPARSECOMPONENT_H
#define CODEC_ENCODE_SPARSECOMPONENT_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <numeric>
#include <span>

#include "bitstream/BlockOrder.h"
#include "bitstream/SliceLayout.h"
#include "cpu/CpuLevel.h"

namespace prores {

/// Slack in values: vectors may read so many after each array of a SparseComponent, and write so
/// many after the results of SelectCoefficients().
inline constexpr std::size_t kSparseSlack = 32;

/**
 * Coefficients of one component of a slice, without most of those that quantisation makes zero.
 * These are the majority, so the others are faster to process and smaller to store.
 *
 * Places count in coded order: scan position x number of blocks + block. Behind each array,
 * kSparseSlack more values are readable.
 */
struct SparseComponent {
  std::size_t blocks;          ///< 2, 4, 8, 16 or 32
  std::size_t count;           ///< number of stored AC coefficients
  const std::int16_t* dcs;     ///< DC coefficients of all blocks
  const std::int16_t* values;  ///< `count` AC coefficients, in coded order
  const std::int16_t* places;  ///< their places, ascending
};

/// All places in coded order, for a component that is stored completely.
inline constexpr auto kAllPlaces = [] {
  std::array<std::int16_t, kMaxSliceBlocks * kBlockSamples + kSparseSlack> places{};
  std::iota(places.begin(), places.end(), std::int16_t{0});
  return places;
}();

/// Place of an imaginary coefficient after the last one.
inline constexpr int kPlaceBehindAll = 0x7FFF;

/// Finds the AC coefficients with a magnitude of at least `threshold` (1 or more).
/// @param coefficients 64 for each of the blocks, in coded order.
/// @param values, places  receive the arrays of a SparseComponent; as large as `coefficients`, and
///                        kSparseSlack more.
/// @return the number of coefficients found.
std::size_t SelectCoefficients(std::span<const std::int16_t> coefficients, std::uint16_t threshold,
                               std::int16_t* values, std::int16_t* places);

/// Returns the fastest form of SelectCoefficients() for `level`.
decltype(&SelectCoefficients) SelectCoefficientsFor(CpuLevel level);

}  // namespace prores

#endif  // CODEC_ENCODE_SPARSECOMPONENT_H
