// SPDX-License-Identifier: BSD-2-Clause
#include <exception>
#include <filesystem>
#include <system_error>
#include <utility>

#include "check/EncodingCheck.h"
#include "cli/Commands.h"
#include "cli/Options.h"
#include "farm/JobFiles.h"
#include "farm/JobRun.h"
#include "report/Report.h"
#include "run/EncodePlan.h"

namespace vixprores {
namespace {

void Encode(const EncodeOptions& options, RunReport& report, RunObserver& observer) {
  TranscodePlan plan = PlanEncoding(options);
  if (options.verify) {
    plan.makeCheck = [source = plan.source,
                      encoded = plan.content.video](const ThreadShares& shares) {
      return MakeEncodingCheck(source, encoded, shares);
    };
  }
  options.chunk ? EncodeChunk(options, std::move(plan), report, observer)
                : Transcode(options, std::move(plan), report, observer);
}

// Records the outcome of a chunk.
class EncodeReporter : public RunReporter {
 public:
  explicit EncodeReporter(const EncodeOptions& options) : RunReporter(options), options_(options) {}

  void ReportEnd(const RunReport& report) override {
    RunReporter::ReportEnd(report);
    if (report.status != RunReport::Status::Skipped) Record(report);
  }

  void Record(const RunReport& report) const {
    if (!options_.chunk) return;
    std::error_code none;
    std::filesystem::create_directories(std::filesystem::path(options_.output).parent_path(), none);
    RecordOutcome(NameOutcome(options_.output), options_.chunk->job, report);
  }

 private:
  const EncodeOptions& options_;
};

int RunEncode(const EncodeOptions& options) {
  EncodeReporter reporter(options);
  try {
    return RunReported(options, "encode", reporter, [&](const BatchItem& item, RunReport& report) {
      Encode(ForItem(options, item), report, reporter);
    });
  } catch (const std::exception& error) {
    // This machine cannot run any chunk, for example without the plug-in.
    RunReport report;
    report.message = error.what();
    reporter.Record(report);
    throw;
  }
}

}  // namespace

Command MakeEncodeCommand() {
  return BindOptions(DescribeEncode, RunEncode);
}

}  // namespace vixprores
