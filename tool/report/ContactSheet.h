// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_REPORT_CONTACTSHEET_H
#define TOOL_REPORT_CONTACTSHEET_H

#include <cstdint>
#include <string>
#include <vector>

#include "format/RgbPicture.h"

namespace vixprores {

/// A picture of a contact sheet.
struct SheetPicture {
  RgbPicture picture;
  std::string caption;  ///< digits, ':', ';' and blanks; others are left blank
};

/// Puts pictures of one size, at least one, onto a sheet with a caption under each, row by row.
/// The sheet is about as wide as it is high.
RgbPicture DrawContactSheet(const std::vector<SheetPicture>& pictures);

}  // namespace vixprores

#endif  // TOOL_REPORT_CONTACTSHEET_H
