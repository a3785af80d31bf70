// SPDX-License-Identifier: BSD-2-Clause
#ifndef CODEC_PIXEL_PIXELFORMAT_H
#define CODEC_PIXEL_PIXELFORMAT_H

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

#include "Ensure.h"
#include "ProRes/ProRes.h"
#include "bitstream/FrameHeader.h"
#include "pixel/SampleDepth.h"

namespace prores {

/// Largest width and height: the range of the fields of the frame header.
inline constexpr std::uint32_t kMaxPictureSize = 65535;

/// Pixels that 'v210' packs into four words, and the bytes of these words.
inline constexpr std::uint32_t kV210GroupPixels = 6;
inline constexpr std::uint32_t kV210GroupBytes = 16;

/// A packed format.
struct PixelFormat {
  std::uint32_t code;   ///< a WPRPixelFormat
  ChromaFormat chroma;  ///< k422 has no alpha, k444 has alpha of 16 bits
  bool rgb;             ///< its planes are G, B and R of 16 bits until they become Y, Cb and Cr
  SampleDepth depth;    ///< of Y, Cb and Cr
  std::uint32_t groupPixels;  ///< pixels that are packed together
  std::uint32_t groupBytes;   ///< and their bytes
};

/// All formats. Kernels::packRow and Kernels::unpackRow have an entry for each.
inline constexpr std::array<PixelFormat, 4> kPixelFormats = {{
    {kWPRPixelFormat2vuy, ChromaFormat::k422, false, k8Bits, 2, 4},
    {kWPRPixelFormatV210, ChromaFormat::k422, false, k10Bits, kV210GroupPixels, kV210GroupBytes},
    {kWPRPixelFormatY416, ChromaFormat::k444, false, k12Bits, 1, 8},
    {kWPRPixelFormatB64a, ChromaFormat::k444, true, k12Bits, 1, 8},
}};

constexpr bool IsPixelFormat(std::uint32_t code) {
  return std::any_of(kPixelFormats.begin(), kPixelFormats.end(),
                     [code](const PixelFormat& format) { return format.code == code; });
}

/// Returns the place of a format in kPixelFormats.
/// @param code a WPRPixelFormat.
constexpr std::size_t PlaceOfPixelFormat(std::uint32_t code) {
  Expect(IsPixelFormat(code));
  std::size_t place = 0;
  while (place + 1 < kPixelFormats.size() && kPixelFormats[place].code != code) ++place;
  return place;
}

/// @param code a WPRPixelFormat.
constexpr const PixelFormat& GetPixelFormat(std::uint32_t code) {
  return kPixelFormats[PlaceOfPixelFormat(code)];
}

/// Returns the bytes of a packed row that belong to pixels, which are whole groups. Bytes after
/// them are padding and never touched.
/// @param code a WPRPixelFormat.
constexpr std::uint32_t PackedRowBytes(std::uint32_t code, std::uint32_t width) {
  const PixelFormat& format = GetPixelFormat(code);
  return (width + format.groupPixels - 1) / format.groupPixels * format.groupBytes;
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
