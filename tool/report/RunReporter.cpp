// SPDX-License-Identifier: BSD-2-Clause
#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdio>

#include "base/Text.h"
#include "report/Report.h"

namespace vixprores {
namespace {

using std::chrono::steady_clock;
constexpr auto kUpdateInterval = std::chrono::milliseconds(100);

// Returns the width of the terminal. Queries it at each call: the window may have been resized, and
// a line that wraps cannot be cleared.
std::size_t TerminalColumns() {
  constexpr std::size_t kUsual = 80;
  winsize size{};
  const bool isKnown = ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
  return isKnown ? size.ws_col : kUsual;
}

}  // namespace

Progress::Progress(ProgressKind kind) : kind_(kind), nextUpdate_(steady_clock::now()) {
  const bool isTerminal = isatty(STDERR_FILENO) != 0;
  if (kind_ == ProgressKind::Line && !isTerminal) kind_ = ProgressKind::None;
}

void Progress::Update(const RunReport& report, std::optional<std::int64_t> total,
                      const std::string& prefix) {
  if (kind_ == ProgressKind::None) return;
  const auto now = steady_clock::now();
  // JSON always includes the last frame, if the number of frames is known.
  const bool isLast = kind_ == ProgressKind::Json && total && report.frames == *total;
  if (now < nextUpdate_ && !isLast) return;
  nextUpdate_ = now + kUpdateInterval;
  if (kind_ == ProgressKind::Json) {
    std::fprintf(stderr, "%s\n", ProgressJson(report, total).c_str());
    return;
  }
  isShown_ = true;
  const std::string text = (prefix + ProgressText(report, total)).substr(0, TerminalColumns() - 1);
  std::fprintf(stderr, "\r\033[K%s", PrintableLine(text).c_str());
  std::fflush(stderr);
}

void Progress::Clear() {
  if (isShown_) std::fputs("\r\033[K", stderr);
  isShown_ = false;
  nextUpdate_ = steady_clock::now();
}

RunReporter::RunReporter(const TranscodeOptions& options) : options_(options) {}

void RunReporter::ReportNote(const std::string& text) {
  if (options_.quiet) return;
  const std::scoped_lock lock(mutex_);
  ClearLine();
  PrintNote(text);
}

void RunReporter::ReportProgress(const RunReport& report, std::optional<std::int64_t> total) {
  if (options_.quiet || options_.progress == ProgressKind::None) return;
  const std::scoped_lock lock(mutex_);
  auto& progress = ProgressOf(report);
  const std::string inputs = std::to_string(options_.inputs.size());
  if (options_.progress == ProgressKind::Json || options_.inputs.size() < 2) {
    progress.Update(report, total);
  } else if (options_.jobs == 1) {
    progress.Update(report, total, "input " + std::to_string(report.place) + "/" + inputs + "  ");
  } else {
    progress.Update(SumUp(report), std::nullopt,
                    "inputs " + std::to_string(ended_) + "/" + inputs + "  ");
  }
}

void RunReporter::ReportEnd(const RunReport& report) {
  const std::scoped_lock lock(mutex_);
  ClearLine();
  ++ended_;
  if (!report.message.empty()) PrintError(report.message);
  if (!options_.json) PrintDamage(report);
  if (options_.json && report.place == 0) {
    // Use standard error if standard output may carry the frames.
    std::fprintf(options_.output == "-" ? stderr : stdout, "%s\n", SummaryJson(report).c_str());
  } else if (!options_.json && !options_.quiet && report.status == RunReport::Status::Done) {
    PrintText(stderr, SummaryLine(report) + "\n");
  }
}

void RunReporter::ReportBatch(const std::vector<RunReport>& reports) {
  if (options_.json) {
    std::fprintf(stdout, "%s\n", BatchJson(reports).c_str());
  } else if (!options_.quiet) {
    PrintText(stderr, BatchTable(reports));
  }
}

// All runs share one progress line, but each run writes JSON of its own.
Progress& RunReporter::ProgressOf(const RunReport& report) {
  const bool hasLine = options_.progress == ProgressKind::Line;
  return progress_.try_emplace(hasLine ? 0 : report.place, options_.progress).first->second;
}

// Returns the combined state of all runs; `report` is the newest state of one run.
RunReport RunReporter::SumUp(const RunReport& report) {
  Done& run = runs_[report.place];
  sum_.frames += report.frames - run.frames;
  sum_.sourceBytes += report.sourceBytes - run.sourceBytes;
  sum_.resultBytes += report.resultBytes - run.resultBytes;
  run = {report.frames, report.sourceBytes, report.resultBytes};
  RunReport sum;
  sum.source = report.source;
  sum.result = report.result;
  sum.frames = sum_.frames;
  sum.sourceBytes = sum_.sourceBytes;
  sum.resultBytes = sum_.resultBytes;
  sum.seconds = std::chrono::duration<double>(steady_clock::now() - start_).count();
  return sum;
}

void RunReporter::ClearLine() {
  if (const auto line = progress_.find(0); line != progress_.end()) line->second.Clear();
}

}  // namespace vixprores
