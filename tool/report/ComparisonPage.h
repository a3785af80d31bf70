// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_REPORT_COMPARISONPAGE_H
#define TOOL_REPORT_COMPARISONPAGE_H

#include <optional>
#include <string>
#include <vector>

#include "check/VideoComparison.h"
#include "report/InspectionPage.h"

namespace vixprores {

/// The pictures of a frame that differ most.
struct WorstPictures {
  std::int64_t number = 0;
  RgbPicture reference;  ///< at most kWidestPicture wide
  RgbPicture distorted;  ///< of the same size
  // The part of the pictures that differs most, pixel by pixel; empty where the pictures are shown
  // at their full size.
  RgbPicture referencePart;
  RgbPicture distortedPart;
};

/// What was measured, as a page.
/// @param worst  none where all frames are identical
/// @param mapped the slices of that frame; empty where the distorted video is not ProRes
/// @param target bytes of a ProRes frame that its encoder aims at; none = unknown
std::string ComparisonPage(const Comparison& comparison, const std::optional<WorstPictures>& worst,
                           const std::vector<MappedFrame>& mapped,
                           const std::optional<std::uint32_t>& target);

}  // namespace vixprores

#endif  // TOOL_REPORT_COMPARISONPAGE_H
