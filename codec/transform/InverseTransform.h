// SPDX-License-Identifier: BSD-2-Clause
#ifndef CODEC_TRANSFORM_INVERSETRANSFORM_H
#define CODEC_TRANSFORM_INVERSETRANSFORM_H

/// @file
/// Inverse quantisation and inverse 8x8 DCT of many blocks at once.
///
/// Single precision in a fixed order of operations: each block takes one lane, and every lane
/// undergoes the same additions and multiplications, so that a form of any vector width gives the
/// same bits.

#include <array>
#include <cstddef>
#include <cstdint>

#include "bitstream/BlockOrder.h"
#include "bitstream/FrameHeader.h"
#include "pixel/SampleDepth.h"

namespace prores {

/// What to multiply a quantised coefficient with, by scan position.
using DequantFactors = std::array<float, kBlockSamples>;

/// Factors at a quantiser scale of 1: the weight, the 1/8 of inverse quantisation, the gain of
/// `depth` and what the factored transform leaves out.
DequantFactors MakeDequantFactors(const QuantMatrix& matrix, const ScanTable& scan,
                                  const SampleDepth& depth);

/// `factors` at another quantiser scale.
DequantFactors ScaleFactors(const DequantFactors& factors, unsigned quantizerScale);

/// Where the samples of a slice component go.
struct SampleArea {
  std::uint16_t* samples;  ///< upper left sample
  std::size_t stride;      ///< samples from one line to the next
};

/// Turns the coefficients of one component of a slice into samples.
/// Any 16-bit values are safe: sums stay far inside the range of float and are clamped before they
/// become integers.
/// @param coefficients 64 * blocks values in coded order.
/// @param blocks       number of blocks, a power of two from 2 to 32.
/// @param positions    all coefficients from this scan position on are zero; 1 to 64.
/// @param factors      at the quantiser scale of the slice, made for `scan` and `depth`.
/// @param component    0 = Y, 1 = Cb, 2 = Cr: decides the order of the blocks.
void InverseTransform(const std::int16_t* coefficients, std::uint32_t blocks,
                      std::uint32_t positions, const DequantFactors& factors, const ScanTable& scan,
                      const SampleDepth& depth, unsigned component, const SampleArea& area);

}  // namespace prores

#endif  // CODEC_TRANSFORM_INVERSETRANSFORM_H
