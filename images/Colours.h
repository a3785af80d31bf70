// SPDX-License-Identifier: BSD-2-Clause
#ifndef IMAGES_COLOURS_H
#define IMAGES_COLOURS_H

#include <cstdint>
#include <memory>

#include "media/sequence/ImageModule.h"

namespace vixprores::images {

/// Makes a transform between two colour spaces of a configuration.
/// @throws std::runtime_error that lists the known names if one of them is unknown
std::shared_ptr<const ColourTransform> MakeColourTransform(const ColourSpaces& spaces);

/// Converts interleaved RGB in place.
/// @param channels 3, or 4 with alpha, which stays
void Apply(const ColourTransform& transform, float* pixels, std::uint32_t width,
           std::uint32_t height, int channels);

}  // namespace vixprores::images

#endif  // IMAGES_COLOURS_H
