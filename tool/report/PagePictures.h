// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_REPORT_PAGEPICTURES_H
#define TOOL_REPORT_PAGEPICTURES_H

/// @file
/// Pictures for pages, decoded from frames that were kept. Requires the plug-in.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "check/VideoComparison.h"
#include "format/RgbPicture.h"
#include "frames/StreamStatistics.h"
#include "run/PictureSource.h"

namespace vixprores {

/// Greatest width of a picture on a page, in pixels; wider pictures are scaled down.
inline constexpr std::uint32_t kWidestMap = 640;
inline constexpr std::uint32_t kWidestPicture = 800;

/// A frame that a page shows with its slices.
struct MappedFrame {
  std::string name;  ///< "Largest frame"
  std::int64_t number = 0;
  std::optional<RgbPicture> picture;  ///< nullopt if it is too large to be decoded for a page
  SliceGrid grid;
};

/// The pictures of the frame that differs most, both of the same size.
struct WorstPictures {
  std::int64_t number = 0;
  // nullopt if the pictures are too large to be decoded for a page
  std::optional<RgbPicture> reference;
  std::optional<RgbPicture> distorted;
  // The part that differs most, pixel by pixel; nullopt if the whole pictures are shown in full
  // size.
  std::optional<RgbPicture> referencePart;
  std::optional<RgbPicture> distortedPart;
};

MappedFrame MapFrame(PictureSource& source, const NumberedFrame& frame, std::string name);
std::vector<MappedFrame> MapFrames(PictureSource& source, const NotableFrames& frames);
WorstPictures DrawWorst(PictureSource& reference, PictureSource& distorted, const WorstPair& pair);

}  // namespace vixprores

#endif  // TOOL_REPORT_PAGEPICTURES_H
