// SPDX-License-Identifier: BSD-2-Clause
#ifndef CODEC_DECODE_INVERSETRANSFORM_H
#define CODEC_DECODE_INVERSETRANSFORM_H

/// @file
/// Inverse quantisation and inverse 8x8 DCT of many blocks at once.
///
/// Single precision in a fixed order of operations: each block occupies one lane, and every lane
/// goes through the same additions and multiplications, so that forms of any vector width give the
/// same bits.

#include <array>
#include <cstddef>
#include <cstdint>

#include "bitstream/BlockOrder.h"
#include "bitstream/FrameHeader.h"
#include "cpu/CpuLevel.h"
#include "pixel/SampleDepth.h"

namespace prores {

/// Parameters of the inverse transform of a component, the same for all slices of a frame.
struct InversePlan {
  /// Columns of a block that have coefficients; columns to the right have none.
  struct Extent {
    std::uint8_t columns;
    std::uint8_t deepColumns;  ///< the same for the lower half of a block
  };

  SampleDepth depth;
  /// Factor of each coefficient at a quantiser scale of 1, in raster order: the weight, the 1/8 of
  /// inverse quantisation, the gain of `depth` and the gain that the factored transform leaves out.
  std::array<float, kBlockSamples> factors;
  /// Scan position of each coefficient, in raster order.
  PositionTable positions;
  /// Extent of the coefficients before each scan position.
  std::array<Extent, kBlockSamples + 1> extents;
};

InversePlan MakeInversePlan(const QuantMatrix& matrix, const ScanTable& scan,
                            const SampleDepth& depth);

/// Destination of the samples of a slice component.
struct SampleArea {
  std::uint16_t* samples;  ///< upper left sample
  std::size_t stride;      ///< samples from one line to the next
};

/// Converts the coefficients of one component of a slice to samples.
/// Any 16-bit values are safe: sums stay far inside the range of float and are clamped before they
/// become integers.
/// @param coefficients   64 * blocks values in coded order; two more after them are readable.
/// @param blocks         number of blocks, a power of two from 2 to 32; luma has 4 at least.
/// @param positions      all coefficients from this scan position on are zero; 1 to 64.
/// @param quantizerScale of the slice.
/// @param component      0 = Y, 1 = Cb, 2 = Cr: decides the order of the blocks.
void InverseTransform(const std::int16_t* coefficients, std::uint32_t blocks,
                      std::uint32_t positions, const InversePlan& plan, unsigned quantizerScale,
                      unsigned component, const SampleArea& area);

/// Returns the fastest form of InverseTransform() for `level`.
decltype(&InverseTransform) InverseTransformFor(CpuLevel level);

}  // namespace prores

#endif  // CODEC_DECODE_INVERSETRANSFORM_H
