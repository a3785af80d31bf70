// SPDX-License-Identifier: BSD-2-Clause
#ifndef CODEC_PIXEL_PIXELFORMAT_H
#define CODEC_PIXEL_PIXELFORMAT_H

#include <cstddef>
#include <cstdint>

#include "ProRes/ProRes.h"

namespace prores {

/// Largest width and height: the range of the fields of the frame header.
inline constexpr std::uint32_t kMaxPictureSize = 65535;

constexpr bool IsPixelFormat(std::uint32_t format) {
  return format == kWPRPixelFormat2vuy || format == kWPRPixelFormatV210;
}

/// Returns the bits of a sample.
/// @param format a WPRPixelFormat.
constexpr unsigned SampleBits(std::uint32_t format) {
  return format == kWPRPixelFormat2vuy ? 8 : 10;
}

/// Pixels that 'v210' packs into four words, and the bytes of these words.
inline constexpr std::uint32_t kV210GroupPixels = 6;
inline constexpr std::uint32_t kV210GroupBytes = 16;

/// Returns the bytes of a packed row that belong to pixels: whole pairs of pixels (4 bytes) in
/// '2vuy', whole groups of six pixels (16 bytes) in 'v210'. Bytes after them are padding and never
/// touched.
/// @param format a WPRPixelFormat.
constexpr std::uint32_t PackedRowBytes(std::uint32_t format, std::uint32_t width) {
  return format == kWPRPixelFormat2vuy
             ? (width + 1) / 2 * 4
             : (width + kV210GroupPixels - 1) / kV210GroupPixels * kV210GroupBytes;
}

/// Returns the first byte of a row.
inline std::uint8_t* RowOf(const PixelBufferRecord& picture, std::uint32_t row) {
  return static_cast<std::uint8_t*>(picture.baseAddress) + std::size_t{picture.rowBytes} * row;
}

/// Whether `picture` has memory, a known format, a size of 1 to 65535 each way and rows that hold
/// its width. The caller guarantees that the memory contains all rows.
constexpr bool IsValidPicture(const PixelBufferRecord& picture) {
  return picture.baseAddress != nullptr && IsPixelFormat(picture.pixelFormat) &&
         picture.width - 1 < kMaxPictureSize && picture.height - 1 < kMaxPictureSize &&
         picture.rowBytes >= PackedRowBytes(picture.pixelFormat, picture.width);
}

}  // namespace prores

#endif  // CODEC_PIXEL_PIXELFORMAT_H
