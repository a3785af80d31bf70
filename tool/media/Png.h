// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_MEDIA_PNG_H
#define TOOL_MEDIA_PNG_H

#include <cstdint>
#include <vector>

#include "format/RgbPicture.h"

namespace vixprores {

/// Returns the bytes of a PNG file.
/// @throws Failure if the library cannot write it
std::vector<std::uint8_t> EncodePng(const RgbPicture& picture);

}  // namespace vixprores

#endif  // TOOL_MEDIA_PNG_H
