// SPDX-License-Identifier: BSD-2-Clause
#include <algorithm>
#include <filesystem>
#include <iterator>

#include "base/Errors.h"
#include "base/Text.h"
#include "cli/Commands.h"
#include "farm/JobFiles.h"
#include "report/JobReport.h"
#include "run/Host.h"

namespace vixprores {
namespace {

struct StatusOptions {
  std::vector<std::string> paths;
  bool json = false;
};

Command DescribeStatus(StatusOptions& options) {
  Command command;
  command.name = "status";
  command.summary = "Show how far a job is";
  command.description =
      "Reads the folder of a job and prints the frames and chunks that are encoded, the speed and "
      "the time left, and the chunks that failed with the reason. Asks no queue. The speed is "
      "that of the running chunks, as fast as those that are done. The exit code is 1 if a chunk "
      "or the join has failed or was interrupted.";
  command.usages = {"[OPTION]... JOBDIR..."};
  command.arguments = {
      {"JOBDIR", "folder of a job with its plan.json, or a plan, as 'vixprores plan' prints it",
       Completion::Folder}};
  command.takeArguments = [&options](const std::vector<std::string>& words) {
    if (words.empty()) throw UsageError("status needs a JOBDIR");
    RefuseEmptyNames("JOBDIR", words);
    options.paths = words;
  };
  command.groups = {{"Output", {Flag("--json", options.json, "print JSON")}}};
  return command;
}

bool HasFailed(const JobState& state) {
  return !state.joinMessage.empty() || CountChunks(state, ChunkStatus::Failed) > 0 ||
         CountChunks(state, ChunkStatus::Interrupted) > 0;
}

int RunStatus(const StatusOptions& options) {
  SetUpMessages({});
  std::vector<Job> jobs;
  for (const std::string& path : options.paths) {
    std::error_code none;
    const bool isFolder = std::filesystem::is_directory(path, none);
    std::ranges::move(ReadPlan(isFolder ? NamePlan(path) : path), std::back_inserter(jobs));
  }
  std::vector<JobState> states;
  states.reserve(jobs.size());
  for (const Job& job : jobs) states.push_back(FindJobState(job));
  if (options.json) {
    StandardOutput()(JobsJson(jobs, states) + "\n");
  } else {
    for (std::size_t i = 0; i < jobs.size(); ++i) PrintText(stdout, JobText(jobs[i], states[i]));
  }
  return std::ranges::any_of(states, HasFailed) ? kExitFailed : kExitDone;
}

}  // namespace

Command MakeStatusCommand() {
  return BindOptions(DescribeStatus, RunStatus);
}

}  // namespace vixprores
