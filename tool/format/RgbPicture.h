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

/// A picture for screens: 8 bits each of red, green and blue, rows without gaps.
struct RgbPicture {
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  std::vector<std::uint8_t> pixels;  ///< 3 bytes a pixel

  RgbPicture() = default;
  /// Black.
  RgbPicture(std::uint32_t pixelsAcross, std::uint32_t lines)
      : width(pixelsAcross), height(lines), pixels(std::size_t{3} * pixelsAcross * lines) {}

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

/// The size of a picture of that format with square pixels: the height stays and the width follows
/// the sample aspect. Where it would be wider than `widest` (none = no limit) both become smaller.
RgbSize DisplaySize(const StreamFormat& format, std::optional<std::uint32_t> widest);

/// Makes an RGB picture of that size out of a packed one of `format`: by the mean over the area of
/// each pixel, the matrix of the stream (where it has none: BT.709 from 720 lines on, BT.601
/// below) and its range (where it has none: limited). Transfer and primaries stay as they are, also
/// those of HDR. The picture is not larger than the original but where pixels are not square.
RgbPicture ToRgb(const StreamFormat& format, std::span<const std::uint8_t> packed, RgbSize size);

/// The differences of two pictures of the same size around middle grey, `gain` times as large.
RgbPicture AmplifyDifference(const RgbPicture& reference, const RgbPicture& distorted, int gain);

}  // namespace vixprores

#endif  // TOOL_FORMAT_RGBPICTURE_H
