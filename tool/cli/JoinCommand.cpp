// SPDX-License-Identifier: BSD-2-Clause
#include "base/Errors.h"
#include "cli/Commands.h"
#include "cli/JobOptions.h"
#include "farm/JobFiles.h"
#include "farm/JobRun.h"

namespace vixprores {
namespace {

Command DescribeJoin(JoinOptions& options) {
  Command command = DescribeJobCommand(options, "join", "Join the encoded parts of a job");
  command.description =
      "Writes the output of a job whose chunks are all encoded, and removes the parts. Frames are "
      "copied and checked; sound, timecode and texts come from the input. 'vixprores plan' makes "
      "the command. If parts are missing, damaged, of another job, or older than the input, "
      "prints the commands that make them and writes nothing.";
  command.usages = {"[OPTION]... INPUT OUTPUT"};
  command.groups.front().options.push_back(
      Parsed("--job", "JOB:FIRST-LAST", options.job, JobName::Parse,
             "identity and frames of the job, as in the plan"));
  command.takeArguments =
      [&options, take = std::move(command.takeArguments)](const std::vector<std::string>& words) {
        take(words);
        if (options.job && !options.outputDir && options.output != "-") return;
        throw UsageError(
            "join needs --job and an OUTPUT with a name; 'vixprores plan' makes the command");
      };
  return command;
}

// Records a failure.
class JoinReporter : public RunReporter {
 public:
  explicit JoinReporter(const JoinOptions& options) : RunReporter(options), options_(options) {}

  void ReportEnd(const RunReport& report) override {
    RunReporter::ReportEnd(report);
    if (report.HasOutput()) return;
    RecordOutcome(NameJoinOutcome(FolderOf(options_)), options_.job->id, report);
  }

 private:
  const JoinOptions& options_;
};

int RunJoin(const JoinOptions& options) {
  // Until its outcome is recorded: the second of two joins finds the job joined.
  const FolderLock lock(FolderOf(options));
  JoinReporter reporter(options);
  return RunReported(options, "join", reporter, [&](const BatchItem&, RunReport& report) {
    JoinParts(options, report, reporter);
  });
}

}  // namespace

Command MakeJoinCommand() {
  return BindOptions(DescribeJoin, RunJoin);
}

}  // namespace vixprores
