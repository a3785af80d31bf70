// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_REPORT_CONTACTSHEET_H
#define TOOL_REPORT_CONTACTSHEET_H

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "format/RgbPicture.h"
#include "format/Timecode.h"
#include "run/FrameSource.h"

namespace vixprores {

/// Arranges captioned pictures of one size row by row on a sheet that is about as wide as it is
/// high.
class ContactSheet {
 public:
  /// @param name name of the sheet, for error messages
  explicit ContactSheet(std::string name) : name_(std::move(name)) {}

  /// @param caption digits, ':', ';' and spaces; other characters are left blank
  /// @throws Failure if the sheet would have too many pictures or pixels
  void Add(RgbPicture picture, std::string caption);
  /// Draws the added pictures, at least one.
  RgbPicture Draw() const;

 private:
  struct Entry {
    RgbPicture picture;
    std::string caption;
  };

  std::uint32_t FindDot() const;
  RgbSize FindCell(std::uint32_t dot) const;

  std::string name_;
  std::vector<Entry> entries_;
};

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

#endif  // TOOL_REPORT_CONTACTSHEET_H
