// SPDX-License-Identifier: BSD-2-Clause
#ifndef IMAGES_IMAGES_H
#define IMAGES_IMAGES_H

#include <cstdint>
#include <string>
#include <vector>

#include "media/sequence/ImageModule.h"

namespace vixprores::images {

/// Returns the name of the format of an image file: its extension in lower case.
std::string FormatOf(const std::string& path);

/// These implement ImageModule.
/// @{
ImageHeader ReadImageHeader(const std::string& path);
void ReadImage(const std::string& path, const ImageHeader& first, const ColourTransform* transform,
               const ImagePixels& pixels);
bool KeepsAlpha(const std::string& name);
std::vector<std::uint8_t> EncodeImage(const std::string& name, const ColourTransform* transform,
                                      const ImagePixels& pixels, const ImageTarget& target);
/// @}

}  // namespace vixprores::images

#endif  // IMAGES_IMAGES_H
