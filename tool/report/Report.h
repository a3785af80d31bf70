// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_REPORT_REPORT_H
#define TOOL_REPORT_REPORT_H

/// @file
/// Output of a run: the progress line and the summary.

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "run/Options.h"
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

/// Shows the progress of a run on standard error: on one line that is redrawn if standard error is
/// a terminal, or as lines of JSON.
class Progress {
 public:
  explicit Progress(ProgressKind kind);
  ~Progress() { Clear(); }
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  /// Shows the state of a run of `total` frames (nullopt = unknown) on a line that starts with
  /// `prefix`, at most ten times a second.
  void Update(const RunReport& report, std::optional<std::int64_t> total,
              const std::string& prefix = {});
  /// Clears the progress line.
  void Clear();

 private:
  ProgressKind kind_;
  bool isShown_ = false;
  std::chrono::steady_clock::time_point nextUpdate_;
};

/// Prints notes, progress and outcome of the runs of encode and decode.
class RunReporter : public RunObserver {
 public:
  explicit RunReporter(const TranscodeOptions& options);

  void ReportNote(const std::string& text) override;
  void ReportProgress(const RunReport& report, std::optional<std::int64_t> total) override;
  void ReportEnd(const RunReport& report) override;
  void ReportBatch(const std::vector<RunReport>& reports) override;

 private:
  /// Work done so far by a run, or by all runs of a batch.
  struct Done {
    std::int64_t frames = 0;
    std::uint64_t sourceBytes = 0;
    std::uint64_t resultBytes = 0;
  };

  Progress& ProgressOf(const RunReport& report);
  RunReport SumUp(const RunReport& report);
  void ClearLine();

  const TranscodeOptions& options_;
  std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
  std::mutex mutex_;
  // Guarded by mutex_:
  std::map<std::size_t, Progress> progress_;  ///< by place; one line has place 0
  std::map<std::size_t, Done> runs_;          ///< by place
  Done sum_;                                  ///< of runs_
  std::size_t ended_ = 0;                     ///< inputs
};

}  // namespace vixprores

#endif  // TOOL_REPORT_REPORT_H
