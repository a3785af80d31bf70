// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_REPORT_INSPECTIONPAGE_H
#define TOOL_REPORT_INSPECTIONPAGE_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "format/RgbPicture.h"
#include "frames/FrameStructure.h"
#include "frames/StreamStatistics.h"
#include "report/HtmlChart.h"
#include "report/HtmlPage.h"

namespace vixprores {

/// A frame that a page shows with its slices.
struct MappedFrame {
  std::string name;  ///< "Largest frame"
  std::int64_t number = 0;
  RgbPicture picture;  ///< at most kWidestMap wide
  SliceGrid grid;
};

/// What was found, as a page.
std::string InspectionPage(const StreamStatistics& stream, const std::vector<MappedFrame>& frames);

// Parts that other pages use too.
/// Rows of a page's table of frames; more of them are for programs.
inline constexpr std::size_t kMostTableRows = kMostChartPoints;
/// Sizes over time; frames with a fault are marked.
/// @param markName what these are called, "damaged"
Chart SizeChart(const StreamStatistics& stream, const std::string& markName);
/// Container against frame header.
HtmlTable PropertiesTable(const std::vector<ComparedProperty>& properties);
/// Adds the slices of frames under a heading; nothing where there are no frames.
void AddSliceMaps(HtmlPage& page, const std::vector<MappedFrame>& frames,
                  const std::optional<Timecode>& timecode);

}  // namespace vixprores

#endif  // TOOL_REPORT_INSPECTIONPAGE_H
