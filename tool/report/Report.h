// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_REPORT_REPORT_H
#define TOOL_REPORT_REPORT_H

/// @file
/// What a run tells its user: the progress line and the summary.

#include <optional>
#include <string>
#include <vector>

#include "run/RunReport.h"

namespace vixprores {

/// "frame 17 at byte 12345: has 2 damaged slices; concealed"
std::string Describe(const FrameDamage& damage);

/// The summary as one line, without its newline.
std::string SummaryLine(const RunReport& report);
/// The summary as one JSON object, without a newline.
std::string SummaryJson(const RunReport& report);

/// {"error": "..."}, without a newline.
std::string ErrorJson(const std::string& message);

/// Tells on standard error of the damaged frames that the run went on behind; also to those who
/// want to hear of nothing else.
void PrintDamage(const RunReport& report);

/// A table of several runs: how each ended, its frames, size and speed, its input; and totals.
std::string BatchTable(const std::vector<RunReport>& reports);
/// The summaries as one JSON array, without a newline.
std::string BatchJson(const std::vector<RunReport>& reports);

/// The progress line's text.
std::string ProgressText(const RunReport& report, std::optional<std::int64_t> total);
/// One line of JSON, without its newline.
std::string ProgressJson(const RunReport& report, std::optional<std::int64_t> total);

}  // namespace vixprores

#endif  // TOOL_REPORT_REPORT_H
