// SPDX-License-Identifier: BSD-2-Clause
#ifndef CODEC_PIXEL_PACKROWS_H
#define CODEC_PIXEL_PACKROWS_H

#include <cstdint>

#include "cpu/CpuLevel.h"

namespace prores {

/// One line of planar samples: `width` of luma, and of each chroma component (width + 1) / 2 in
/// formats of 4:2:2, which have no alpha, or `width` in those of 4:4:4, as of alpha.
struct PlanarLine {
  const std::uint16_t* luma;
  const std::uint16_t* cb;
  const std::uint16_t* cr;
  const std::uint16_t* alpha = nullptr;
};

/// Packs a row of samples of the depth of the pixel format. Alpha has 16 bits.
using PackRow = void (*)(const PlanarLine& line, std::uint32_t width, std::uint8_t* row);

/// Packs 8-bit samples to '2vuy', byte order Cb Y Cr Y. An odd width repeats its last luma sample.
/// Writes PackedRowBytes() bytes at `row`.
void PackRow2vuy(const PlanarLine& line, std::uint32_t width, std::uint8_t* row);

/// Packs 10-bit samples to 'v210': six pixels in four little-endian words of three components. The
/// fields of pixels after the width are zero. Writes PackedRowBytes() bytes at `row`.
void PackRowV210(const PlanarLine& line, std::uint32_t width, std::uint8_t* row);

/// Packs 12-bit colours, shifted up by 4, and alpha to 'y416': 16 bits, little-endian, in the order
/// A Y Cb Cr. Writes PackedRowBytes() bytes at `row`.
void PackRowY416(const PlanarLine& line, std::uint32_t width, std::uint8_t* row);

/// Packs samples of 16 bits to 'b64a', big-endian, in the order A R G B: G from luma, B from cb, R
/// from cr, as YCbCrToRgb() leaves them. Writes PackedRowBytes() bytes at `row`.
void PackRowB64a(const PlanarLine& line, std::uint32_t width, std::uint8_t* row);

/// Return the fastest forms of these functions for `level`.
PackRow PackRow2vuyFor(CpuLevel level);
PackRow PackRowV210For(CpuLevel level);
PackRow PackRowY416For(CpuLevel level);
PackRow PackRowB64aFor(CpuLevel level);

}  // namespace prores

#endif  // CODEC_PIXEL_PACKROWS_H
