// SPDX-License-Identifier: BSD-2-Clause
#ifndef CODEC_TRANSFORM_FORWARDTRANSFORM_H
#define CODEC_TRANSFORM_FORWARDTRANSFORM_H

#include <cstddef>
#include <cstdint>
#include <span>

#include "bitstream/BlockOrder.h"

/**
 * @file
 * Forward 8x8 DCT of many blocks at once.
 *
 * Single precision in a fixed order of operations: each block takes one lane, and every lane
 * undergoes the same additions and multiplications, so that a form of any vector width gives the
 * same bits.
 */

namespace prores {

/// Blocks that are transformed side by side.
inline constexpr std::size_t kTransformLanes = 8;

/// Largest magnitude of a coefficient of 10-bit samples: 4 x 8 x 512. By Parseval no coefficient
/// exceeds the 8 x 512 that a flat block of the extreme value 0 gives its DC.
inline constexpr int kMaxCoefficient = 16384;

/**
 * Transforms the blocks of one component of a slice.
 *
 * A coefficient is four times the orthonormal DCT of the samples less 512, rounded to the nearest
 * integer: the unit in which a level times weight times quantiser scale is counted (RDD 36, inverse
 * quantisation and sample reconstruction). Magnitudes stay within kMaxCoefficient.
 *
 * @param blocks       first sample of each block, in coded order; 10-bit code values.
 * @param stride       samples between two rows of a block.
 * @param scan         raster index (8 v + u) of each of the 64 scan positions.
 * @param coefficients receives 64 x blocks.size() values in coded order: scan position x number of
 *                     blocks + block.
 */
void ForwardTransform(std::span<const std::uint16_t* const> blocks, std::size_t stride,
                      const ScanTable& scan, std::int16_t* coefficients);

}  // namespace prores

#endif  // CODEC_TRANSFORM_FORWARDTRANSFORM_H
