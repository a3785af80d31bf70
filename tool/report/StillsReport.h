// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_REPORT_STILLSREPORT_H
#define TOOL_REPORT_STILLSREPORT_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "format/RgbPicture.h"
#include "format/Timecode.h"
#include "run/PictureSource.h"

namespace vixprores {

/// A written still picture.
struct StillReport {
  std::int64_t number = 0;
  std::optional<Timecode> timecode;
  std::string file;  ///< its name; empty = on the sheet only
  std::optional<DamagedPicture> damage;
};

/// Stills of one video.
struct StillsReport {
  std::string input;
  std::string folder;  ///< empty = none
  std::string sheet;   ///< its name; empty = none
  RgbSize size;        ///< of each still in the folder
  std::vector<StillReport> stills;
};

/// Returns text like "stills: 10 stills of 1920x1080, frames 12 to 228; sheet.png: 10 pictures".
std::string StillsText(const StillsReport& report);
/// Returns the report as one JSON object, without a newline.
std::string StillsJson(const StillsReport& report);

}  // namespace vixprores

#endif  // TOOL_REPORT_STILLSREPORT_H
