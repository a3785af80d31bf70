// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_MEDIA_PNG_H
#define TOOL_MEDIA_PNG_H

#include <cstdint>
#include <span>
#include <vector>

#include "format/RgbPicture.h"

namespace vixprores {

/// The bytes of a PNG file. A failure of the library is a Failure.
std::vector<std::uint8_t> EncodePng(const RgbPicture& picture);
/// The same of pixels of four bytes: red, green, blue, opacity; `width` * `height` of them.
std::vector<std::uint8_t> EncodeTransparentPng(std::uint32_t width, std::uint32_t height,
                                               std::span<const std::uint8_t> pixels);

}  // namespace vixprores

#endif  // TOOL_MEDIA_PNG_H
