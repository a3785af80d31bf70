// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_REPORT_REPORT_H
#define TOOL_REPORT_REPORT_H

/// @file
/// Output of a run: the progress line and the summary.

#include <optional>
#include <string>
#include <vector>

#include "run/RunReport.h"

namespace vixprores {

/// Returns text like "frame 17 at byte 12345: has 2 damaged slices; concealed".
std::string Describe(const FrameDamage& damage);

/// Returns the summary as one line, without a newline.
std::string SummaryLine(const RunReport& report);
/// Returns the summary as one JSON object, without a newline.
std::string SummaryJson(const RunReport& report);

/// Returns {"error": "..."}, without a newline.
std::string ErrorJson(const std::string& message);

/// Reports damaged frames after which the run continued on standard error, even in quiet mode.
void PrintDamage(const RunReport& report);

/// Returns a table of several runs: outcome, frames, size, speed and input of each, and totals.
std::string BatchTable(const std::vector<RunReport>& reports);
/// Returns the summaries as one JSON array, without a newline.
std::string BatchJson(const std::vector<RunReport>& reports);

/// Returns the text of the progress line.
std::string ProgressText(const RunReport& report, std::optional<std::int64_t> total);
/// Returns one line of JSON, without a newline.
std::string ProgressJson(const RunReport& report, std::optional<std::int64_t> total);

}  // namespace vixprores

#endif  // TOOL_REPORT_REPORT_H
