// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_REPORT_HTMLASSETS_H
#define TOOL_REPORT_HTMLASSETS_H

namespace vixprores {

extern const char* const kPageStyle;   ///< style sheet of the pages
extern const char* const kPageScript;  ///< what moves on them

}  // namespace vixprores

#endif  // TOOL_REPORT_HTMLASSETS_H
