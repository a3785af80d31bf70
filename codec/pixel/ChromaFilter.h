// SPDX-License-Identifier: BSD-2-Clause
#ifndef CODEC_PIXEL_CHROMAFILTER_H
#define CODEC_PIXEL_CHROMAFILTER_H

#include <algorithm>
#include <cstdint>

#include "cpu/CpuLevel.h"
#include "pixel/SampleDepth.h"

namespace prores {

/// Writable samples that HalveChroma() and DoubleChroma() need at both ends of their input.
inline constexpr std::uint32_t kChromaMargin = 3;

/// Fills the margins of a line of `width` samples with the sample next to them.
inline void RepeatEdges(std::uint16_t* line, std::uint32_t width) {
  std::fill_n(line - kChromaMargin, kChromaMargin, line[0]);
  std::fill_n(line + width, kChromaMargin, line[width - 1]);
}

/// Returns the shift that scales a sum of HalveChroma(), whose taps add up to 32, to `depth`.
constexpr int ChromaShift(const SampleDepth& depth) {
  return 5 + k10Bits.bits - depth.bits;
}

/// Converts a line of 4:4:4 chroma to 4:2:2 with the half-band low-pass [-1 0 9 16 9 0 -1] / 32,
/// which preserves constant and linear chroma. The output is co-sited with the even luma samples.
/// The edge samples of the picture are repeated.
/// @param line  `width` samples of 10 bits. kChromaMargin samples before and after are
///              overwritten.
/// @param width luma samples per line, at least 1.
/// @param depth of the output: 10 bits or fewer.
/// @param half  receives (width + 1) / 2 samples.
void HalveChroma(std::uint16_t* line, std::uint32_t width, const SampleDepth& depth,
                 std::uint16_t* half);

/// Converts a line of 4:2:2 chroma, co-sited with the even luma samples, to 4:4:4. Even samples are
/// copied, odd ones interpolated from the four nearest with the half-band low-pass [-1 9 9 -1]
/// / 16. The edge samples of the picture are repeated.
/// @param half  (width + 1) / 2 samples of `depth`. kChromaMargin samples before and after are
///              overwritten.
/// @param width luma samples per line, at least 1.
/// @param depth of input and output, 12 bits or fewer.
/// @param line  receives `width` samples.
void DoubleChroma(std::uint16_t* half, std::uint32_t width, const SampleDepth& depth,
                  std::uint16_t* line);

/// Return the fastest forms of these functions for `level`.
decltype(&HalveChroma) HalveChromaFor(CpuLevel level);
decltype(&DoubleChroma) DoubleChromaFor(CpuLevel level);

}  // namespace prores

#endif  // CODEC_PIXEL_CHROMAFILTER_H
