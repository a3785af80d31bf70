// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_FORMAT_RGBPICTURE_H
#define TOOL_FORMAT_RGBPICTURE_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "format/StreamFormat.h"

namespace vixprores {

/// A picture for screens: 8 bits each of red, green and blue, with no gaps between rows.
struct RgbPicture {
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  std::vector<std::uint8_t> pixels;  ///< 3 bytes a pixel

  RgbPicture() = default;
  /// Makes a black picture.
  /// @throws MemoryLimitError
  RgbPicture(std::uint32_t pixelsAcross, std::uint32_t lines);

  std::uint8_t* At(std::uint32_t x, std::uint32_t y) {
    return pixels.data() + 3 * (std::size_t{y} * width + x);
  }
  const std::uint8_t* At(std::uint32_t x, std::uint32_t y) const {
    return pixels.data() + 3 * (std::size_t{y} * width + x);
  }
};

/// Size in pixels.
struct RgbSize {
  std::uint32_t width = 0;
  std::uint32_t height = 0;
};

/// Widest and narrowest pixels that are shown: this to 1, and 1 to this. Crafted aspects would
/// otherwise take gigabytes.
inline constexpr int kMostPixelStretch = 4;
/// Returns the pixel aspect that pictures are shown with: that of the stream within these limits;
/// 1:1 if it is unknown.
Rational ShownAspect(const StreamFormat& format);

/// Returns the size of a picture with square pixels: the height stays and the width follows
/// ShownAspect(). Reduces both if the width exceeds `widest` (none = no limit).
RgbSize DisplaySize(const StreamFormat& format, std::optional<std::uint32_t> widest);

/// Converts a packed picture, 4:2:2 or "Y416", to RGB of that size. A picture with alpha lies over
/// a checkerboard of two light greys. Applies the matrix of the stream (unspecified =
/// BT.709 from 720 lines on, BT.601 below) and its range (unknown = limited); keeps transfer and
/// primaries, those of HDR too.
RgbPicture ToRgb(const StreamFormat& format, std::span<const std::uint8_t> packed, RgbSize size);

/// Returns the bytes of a PNG file.
/// @throws Failure if the library cannot write it
std::vector<std::uint8_t> EncodePng(const RgbPicture& picture);

}  // namespace vixprores

#endif  // TOOL_FORMAT_RGBPICTURE_H
