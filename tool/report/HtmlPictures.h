// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_REPORT_HTMLPICTURES_H
#define TOOL_REPORT_HTMLPICTURES_H

#include <cstdint>
#include <string>
#include <vector>

#include "format/RgbPicture.h"
#include "frames/FrameCheck.h"
#include "frames/FrameStructure.h"

namespace vixprores {

/// Widest picture on a page; what is wider is scaled down.
inline constexpr std::uint32_t kWidestMap = 640;
inline constexpr std::uint32_t kWidestPicture = 800;

/// A picture with its quantisers or its bits laid over it, by choice.
/// @param name what the picture is, "Largest frame: 12"
/// @param id   that no other part of the page has
std::string SliceMapHtml(const std::string& name, const std::string& id, const RgbPicture& picture,
                         const SliceGrid& grid);

/// The slices of a frame as they lie on its picture, with the damaged ones filled. These have their
/// places as attributes data-row and data-slice.
std::string DamageMapHtml(const std::string& name, const SliceGrid& grid,
                          const std::vector<DamagedSlice>& damaged);

/// Two pictures of one size on top of each other, with a control that tells how much of each shows.
std::string PictureSliderHtml(const std::string& name, const RgbPicture& reference,
                              const RgbPicture& distorted);

/// A picture.
std::string PictureHtml(const std::string& name, const RgbPicture& picture);

}  // namespace vixprores

#endif  // TOOL_REPORT_HTMLPICTURES_H
