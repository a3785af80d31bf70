// SPDX-License-Identifier: BSD-2-Clause
#ifndef CODEC_ENTROPY_SPARSECOMPONENT_H
#define CODEC_ENTROPY_SPARSECOMPONENT_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <numeric>
#include <span>

#include "bitstream/BlockOrder.h"
#include "bitstream/SliceLayout.h"

namespace prores {

/// Values that a vector may read behind the last one of a SparseComponent's arrays, or write behind
/// the last one that SelectCoefficients() finds.
inline constexpr std::size_t kSparseSlack = 32;

/**
 * The coefficients of one component of a slice without most of those that quantisation makes zero:
 * most are, so that the rest is quicker to go through and smaller to store.
 *
 * Places are those in coded order, scan position x number of blocks + block. Behind each of the
 * arrays kSparseSlack values can be read.
 */
struct SparseComponent {
  std::size_t blocks;          ///< 2, 4, 8, 16 or 32
  std::size_t count;           ///< AC coefficients that are here
  const std::int16_t* dcs;     ///< of all blocks
  const std::int16_t* values;  ///< `count` AC coefficients, in coded order
  const std::int16_t* places;  ///< their places, ascending
};

/// All places in coded order, for a component of which no coefficient was left out.
inline constexpr auto kAllPlaces = [] {
  std::array<std::int16_t, kMaxSliceBlocks * kBlockSamples + kSparseSlack> places{};
  std::iota(places.begin(), places.end(), std::int16_t{0});
  return places;
}();

/// Stands for the place of a coefficient behind the last one.
inline constexpr int kPlaceBehindAll = 0x7FFF;

/// Finds the AC coefficients with a magnitude of at least `threshold` (1 or more).
/// @param coefficients 64 for each of the blocks, in coded order.
/// @param values, places  receive what SparseComponent has; as much room as `coefficients` have,
///                        and kSparseSlack more.
/// @return how many there are.
std::size_t SelectCoefficients(std::span<const std::int16_t> coefficients, std::uint16_t threshold,
                               std::int16_t* values, std::int16_t* places);

}  // namespace prores

#endif  // CODEC_ENTROPY_SPARSECOMPONENT_H
