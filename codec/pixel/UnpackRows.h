// SPDX-License-Identifier: BSD-2-Clause
#ifndef CODEC_PIXEL_UNPACKROWS_H
#define CODEC_PIXEL_UNPACKROWS_H

#include <cstddef>
#include <cstdint>

#include "cpu/CpuLevel.h"
#include "pixel/PixelFormat.h"

/**
 * @file
 * Unpacks 4:2:2 rows to planar 10-bit samples.
 */

namespace prores {

/// Destination of one planar row: 10-bit code values, 0..1023.
struct PlanarRow {
  std::uint16_t* luma;
  std::uint16_t* cb;
  std::uint16_t* cr;
};

/// Largest group of pixels of an unpacker. It writes whole groups: up to `kUnpackGroupPixels - 1`
/// luma and half as many chroma samples after the last one of the row.
inline constexpr std::size_t kUnpackGroupPixels = kV210GroupPixels;

/// Unpacks the `width` pixels of one row. Reads PackedRowBytes() bytes of `row` and no more.
using UnpackRow = void (*)(const std::uint8_t* row, std::size_t width, const PlanarRow& out);

/// Unpacks '2vuy': 8 bits in the byte order Cb Y Cr Y. The 8-bit code value v becomes 4 v.
void UnpackRow2vuy(const std::uint8_t* row, std::size_t width, const PlanarRow& out);

/// Unpacks 'v210': six pixels in four little-endian 32-bit words of three 10-bit components each.
void UnpackRowV210(const std::uint8_t* row, std::size_t width, const PlanarRow& out);

/// Return the fastest forms of these functions for `level`.
UnpackRow UnpackRow2vuyFor(CpuLevel level);
UnpackRow UnpackRowV210For(CpuLevel level);

}  // namespace prores

#endif  // CODEC_PIXEL_UNPACKROWS_H
