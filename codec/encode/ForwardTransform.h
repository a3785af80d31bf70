// SPDX-License-Identifier: BSD-2-Clause
#ifndef CODEC_ENCODE_FORWARDTRANSFORM_H
#define CODEC_ENCODE_FORWARDTRANSFORM_H

#include <array>
#include <cstddef>
#include <cstdint>

#include "bitstream/BlockOrder.h"
#include "bitstream/FrameHeader.h"
#include "cpu/CpuLevel.h"

/**
 * @file
 * Forward 8x8 DCT of many blocks at once.
 *
 * Single precision in a fixed order of operations: each block occupies one lane, and every lane
 * goes through the same additions and multiplications, so that forms of any vector width give the
 * same bits.
 */

namespace prores {

/// Largest magnitude of a coefficient: 4 x 8 x 512, of samples in code values of 10 bits. By
/// Parseval no coefficient exceeds the 8 x 512 that a flat block of the extreme value 0 gives its
/// DC.
inline constexpr int kMaxCoefficient = 16384;

/// Parameters of the forward transform of a component, the same for all slices of a frame.
struct ForwardPlan {
  /// Factors by which the outputs of the transform become coefficients, raster order.
  std::array<float, kBlockSamples> factors;
  float levelShift;  ///< sum of 64 mid-grey samples
  /// Scan position of each coefficient, in raster order.
  PositionTable positions;
};

/// @param weights    at least kUnitWeight each.
/// @param positions  of the scan.
/// @param sampleBits 10 or 12. Coefficients have the same unit at both depths, with two more exact
///                   bits of the samples at 12.
ForwardPlan MakeForwardPlan(const QuantMatrix& weights, const PositionTable& positions,
                            int sampleBits);

/// Weight at which coefficients have the unit of level x weight x quantiser scale in a decoder.
inline constexpr unsigned kUnitWeight = 4;

/**
 * Transforms the blocks of one component of a slice.
 *
 * A coefficient is 16 / weight times the orthonormal DCT of the samples less mid-grey, in code
 * values of 10 bits, rounded to the nearest integer. Since the weights are divided out, a quantiser
 * has one step for all coefficients, kUnitWeight times its scale (RDD 36, inverse quantisation and
 * sample reconstruction). Magnitudes stay within kMaxCoefficient.
 *
 * @param samples      upper left one of the component, which has 16 lines; of the plan's depth.
 * @param stride       samples from one line to the next.
 * @param blocks       number of blocks, a power of two from 2 to 32; luma has 4 at least.
 * @param component    0 = Y, 1 = Cb, 2 = Cr: decides the order of the blocks.
 * @param coefficients receives 64 * blocks values in coded order: scan position * blocks + block.
 */
void ForwardTransform(const std::uint16_t* samples, std::size_t stride, std::uint32_t blocks,
                      unsigned component, const ForwardPlan& plan, std::int16_t* coefficients);

/// Returns the fastest form of ForwardTransform() for `level`.
decltype(&ForwardTransform) ForwardTransformFor(CpuLevel level);

}  // namespace prores

#endif  // CODEC_ENCODE_FORWARDTRANSFORM_H
