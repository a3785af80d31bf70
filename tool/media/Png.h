// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_MEDIA_PNG_H
#define TOOL_MEDIA_PNG_H

#include <cstdint>
#include <span>
#include <vector>

#include "format/RgbPicture.h"

namespace vixprores {

/// Returns the bytes of a PNG file.
/// @throws Failure if the library cannot write it
std::vector<std::uint8_t> EncodePng(const RgbPicture& picture);
/// Returns the bytes of a PNG file of `width` * `height` pixels of four bytes: red, green, blue,
/// opacity.
std::vector<std::uint8_t> EncodeTransparentPng(std::uint32_t width, std::uint32_t height,
                                               std::span<const std::uint8_t> pixels);

}  // namespace vixprores

#endif  // TOOL_MEDIA_PNG_H
