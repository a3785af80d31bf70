// SPDX-License-Identifier: BSD-2-Clause
#ifndef CODEC_PIXEL_PACKROWS_H
#define CODEC_PIXEL_PACKROWS_H

#include <cstdint>

#include "cpu/CpuLevel.h"

namespace prores {

/// One line of planar 4:2:2 samples: `width` of luma, (width + 1) / 2 of each chroma component.
struct PlanarLine {
  const std::uint16_t* luma;
  const std::uint16_t* cb;
  const std::uint16_t* cr;
};

/// Packs a row of samples of the depth of the pixel format.
using PackRow = void (*)(const PlanarLine& line, std::uint32_t width, std::uint8_t* row);

/// Packs 8-bit samples to '2vuy', byte order Cb Y Cr Y. An odd width repeats its last luma sample.
/// Writes PackedRowBytes() bytes at `row`.
void PackRow2vuy(const PlanarLine& line, std::uint32_t width, std::uint8_t* row);

/// Packs 10-bit samples to 'v210': six pixels in four little-endian words of three components. The
/// fields of pixels after the width are zero. Writes PackedRowBytes() bytes at `row`.
void PackRowV210(const PlanarLine& line, std::uint32_t width, std::uint8_t* row);

/// Return the fastest forms of these functions for `level`.
PackRow PackRow2vuyFor(CpuLevel level);
PackRow PackRowV210For(CpuLevel level);

}  // namespace prores

#endif  // CODEC_PIXEL_PACKROWS_H
