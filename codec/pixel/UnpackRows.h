// SPDX-License-Identifier: BSD-2-Clause
#ifndef CODEC_PIXEL_UNPACKROWS_H
#define CODEC_PIXEL_UNPACKROWS_H

#include <cstddef>
#include <cstdint>

#include "cpu/CpuLevel.h"
#include "pixel/PixelFormat.h"

/**
 * @file
 * Unpacks 4:2:2 rows to planar samples of 10 bits, and rows of 4:4:4 with alpha to planar samples
 * of 12 or 16 bits.
 */

namespace prores {

/// One planar row. Formats of 4:2:2 have no alpha and half as many chroma samples as luma samples.
struct PlanarRow {
  std::uint16_t* luma;
  std::uint16_t* cb;
  std::uint16_t* cr;
  std::uint16_t* alpha = nullptr;
};

/// Largest group of pixels of an unpacker. It writes whole groups (PixelFormat::groupPixels): up to
/// `kUnpackGroupPixels - 1` luma and half as many chroma samples after the last one of a 4:2:2 row,
/// and exactly the samples of a 4:4:4 row.
inline constexpr std::size_t kUnpackGroupPixels = kV210GroupPixels;

/// Unpacks the `width` pixels of one row. Reads PackedRowBytes() bytes of `row` and no more.
using UnpackRow = void (*)(const std::uint8_t* row, std::size_t width, const PlanarRow& out);

/// Unpacks '2vuy': 8 bits in the byte order Cb Y Cr Y. The 8-bit code value v becomes 4 v.
void UnpackRow2vuy(const std::uint8_t* row, std::size_t width, const PlanarRow& out);

/// Unpacks 'v210': six pixels in four little-endian 32-bit words of three 10-bit components each.
void UnpackRowV210(const std::uint8_t* row, std::size_t width, const PlanarRow& out);

/// Unpacks 'y416': 16 bits, little-endian, in the order A Y Cb Cr. The value v of a colour becomes
/// min((v + 8) >> 4, 4095); alpha is copied.
void UnpackRowY416(const std::uint8_t* row, std::size_t width, const PlanarRow& out);

/// Unpacks 'b64a': 16 bits, big-endian, in the order A R G B. G becomes luma, B cb, R cr, the order
/// that RgbToYCbCr() converts in place.
void UnpackRowB64a(const std::uint8_t* row, std::size_t width, const PlanarRow& out);

/// Return the fastest forms of these functions for `level`.
UnpackRow UnpackRow2vuyFor(CpuLevel level);
UnpackRow UnpackRowV210For(CpuLevel level);
UnpackRow UnpackRowY416For(CpuLevel level);
UnpackRow UnpackRowB64aFor(CpuLevel level);

}  // namespace prores

#endif  // CODEC_PIXEL_UNPACKROWS_H
