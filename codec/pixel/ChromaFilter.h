// SPDX-License-Identifier: BSD-2-Clause
#ifndef CODEC_PIXEL_CHROMAFILTER_H
#define CODEC_PIXEL_CHROMAFILTER_H

#include <algorithm>
#include <cstdint>

#include "pixel/SampleDepth.h"

namespace prores {

/// Samples that HalveChroma() needs room for at both ends of its line.
inline constexpr std::uint32_t kChromaMargin = 3;

/// Fills the margins of a line of `width` samples with the sample next to them.
inline void RepeatEdges(std::uint16_t* line, std::uint32_t width) {
  std::fill_n(line - kChromaMargin, kChromaMargin, line[0]);
  std::fill_n(line + width, kChromaMargin, line[width - 1]);
}

/// What a sum of HalveChroma() is shifted by to bring it to `depth`: its taps have a sum of 32.
constexpr int ChromaShift(const SampleDepth& depth) {
  return 5 + k10Bits.bits - depth.bits;
}

/// Brings a line of 4:4:4 chroma to 4:2:2. The filter is the half-band low-pass
/// [-1 0 9 16 9 0 -1] / 32: it leaves constant and linear chroma as it is, and its zeros keep the
/// other samples at the place of their luma sample (co-sited with the even ones). Behind the ends
/// of the picture the edge samples repeat.
/// @param line  `width` samples of 10 bits, with room for kChromaMargin samples in front and
///              behind, which are overwritten.
/// @param width luma samples per line, at least 1.
/// @param depth of the output: 10 bits or fewer.
/// @param half  receives (width + 1) / 2 samples.
void HalveChroma(std::uint16_t* line, std::uint32_t width, const SampleDepth& depth,
                 std::uint16_t* half);

}  // namespace prores

#endif  // CODEC_PIXEL_CHROMAFILTER_H
