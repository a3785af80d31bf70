// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_MEDIA_DECODE_PICTURESCALE_H
#define TOOL_MEDIA_DECODE_PICTURESCALE_H

#include <cstdint>

#include "format/StreamFormat.h"

namespace vixprores {

/// Size that pictures are scaled to: a size in pixels, or a part of their own size.
struct PictureScale {
  std::uint32_t width = 0;  ///< 0 = `divisor` counts
  std::uint32_t height = 0;
  std::uint32_t divisor = 1;  ///< 2 = half the width and half the height
};

/// Sets the size of the scaled pictures, and the pixel aspect with which they keep their shape.
void Scale(const PictureScale& scale, StreamFormat& format);

}  // namespace vixprores

#endif  // TOOL_MEDIA_DECODE_PICTURESCALE_H
