// SPDX-License-Identifier: BSD-2-Clause
#include <filesystem>

#include "base/Errors.h"
#include "base/Text.h"
#include "cli/Commands.h"
#include "cli/JobOptions.h"
#include "farm/JobFiles.h"
#include "farm/JobState.h"
#include "farm/Slurm.h"
#include "format/InputFormat.h"
#include "report/JobReport.h"

namespace vixprores {
namespace {

struct SubmitOptions : JobOptions {
  bool slurm = false;
  SlurmOptions slurmOptions;
  bool dryRun = false;
};

OptionGroup SlurmGroup(SubmitOptions& options) {
  SlurmOptions& slurm = options.slurmOptions;
  return {"Slurm",
          {Flag("--slurm", options.slurm, "submit to Slurm"),
           Text("--partition", "NAME", slurm.partition, "partition of the tasks"),
           Text("--time", "LIMIT", slurm.time, "time limit of each task, as sbatch takes it"),
           CountOption("--cpus", slurm.cpus, "processors of each task"),
           CountOption("--max-parallel", slurm.maxParallel, "tasks of a job at a time"),
           Flag("--dry-run", options.dryRun, "print scripts and commands, and submit nothing")}};
}

Command DescribeSubmit(SubmitOptions& options) {
  Command command = DescribeJobCommand(options, "submit", "Encode on the machines of a queue");
  command.description =
      "Submits the job that 'vixprores plan' would print: an array of tasks that encode the "
      "chunks, and a task that joins the parts when all are done. Prints the numbers of both. "
      "Chunks that are done are not submitted: after a failure, run the command again. 'vixprores "
      "status' shows the progress.\n\n"
      "If there are more chunks than Slurm takes tasks in an array (MaxArraySize), each task "
      "encodes several. Tasks may be requeued; one that was killed starts its chunk again. The "
      "machines need this program under the same path.";
  command.groups.insert(command.groups.begin() + 1, SlurmGroup(options));
  command.takeArguments = [&options, take = std::move(command.takeArguments)](
                              const std::vector<std::string>& words) {
    take(words);
    if (!options.slurm) {
      throw UsageError("submit needs --slurm; 'vixprores plan' prints commands for other queues");
    }
  };
  command.examples = {{"vixprores submit --slurm --dry-run --chunks 12 master.mov output.mov",
                       "Show what would be submitted."}};
  return command;
}

// Returns false if there is nothing to submit.
bool IsWanted(const Job& job, const SubmitOptions& options) {
  std::error_code none;
  if (!std::filesystem::exists(job.output, none)) return true;
  if (AreJoined(job.folder, LabelParts(job))) {
    PrintNote(job.output + ": is joined already; there is nothing to submit");
    return false;
  }
  if (options.overwrite) return true;
  throw Failure(job.output + ": exists already; --overwrite replaces it");
}

// Tells if the folder holds another job, whose parts this one replaces.
void NoteOtherJob(const Job& job) {
  const std::string plan = NamePlan(job.folder);
  std::error_code none;
  if (!std::filesystem::exists(plan, none)) return;
  const Job earlier = ReadPlan(plan).front();
  if (earlier.id == job.id || FindJobState(earlier).isJoined) return;
  PrintNote(job.folder +
            ": holds an unfinished job of other options or another input, whose parts this one "
            "replaces; cancel its tasks, or give each job its --job-dir");
}

void SubmitJob(const Job& job, const SubmitOptions& options, int maxTasks) {
  if (!IsWanted(job, options)) return;
  const Submission submission = PrepareSubmission(job, options, options.slurmOptions, maxTasks);
  NoteOtherJob(job);
  if (options.dryRun) return PrintText(stdout, SubmissionText(submission));
  const SlurmJobs jobs = Submit(job, submission);
  const auto count = [](std::size_t number, const char* noun) {
    return Count(static_cast<std::int64_t>(number), noun);
  };
  PrintText(stdout, job.output + ": " +
                        (jobs.array.empty() ? "all chunks are done"
                                            : "array " + jobs.array + " encodes " +
                                                  count(submission.chunks, "chunk") + " in " +
                                                  count(submission.tasks, "task")) +
                        ", job " + jobs.join + " joins them; progress: vixprores status " +
                        QuoteForShell(job.folder) + "\n");
}

// Returns the absolute path without "." folders. ".." stays: it may follow a symbolic link.
std::string WholePath(const std::string& path) {
  std::filesystem::path whole;
  for (const auto& name : std::filesystem::absolute(path)) {
    if (name != ".") whole /= name;
  }
  return whole.string();
}

// Makes names absolute, so that the folder of the job means the same everywhere, and the same job
// has the same identity.
SubmitOptions WithWholePaths(SubmitOptions options) {
  const auto complete = [](std::string& path) {
    if (!path.empty() && path != "-") path = WholePath(path);
  };
  complete(options.input);
  complete(options.output);
  for (BatchInput& input : options.inputs) complete(input.path);
  if (options.outputDir) complete(*options.outputDir);
  if (options.jobDir) complete(*options.jobDir);
  return options;
}

int RunSubmit(const SubmitOptions& given) {
  const int maxTasks = AskMaxTasks();
  const SubmitOptions options = WithWholePaths(given);
  for (const Job& job : PlanJobs(options)) SubmitJob(job, options, maxTasks);
  return kExitDone;
}

}  // namespace

Command MakeSubmitCommand() {
  return BindOptions(DescribeSubmit, RunSubmit);
}

}  // namespace vixprores
