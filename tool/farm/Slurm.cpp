// SPDX-License-Identifier: BSD-2-Clause
#include "farm/Slurm.h"

#include <algorithm>
#include <filesystem>
#include <system_error>

#include "base/Errors.h"
#include "base/Program.h"
#include "base/Text.h"
#include "farm/JobFiles.h"
#include "farm/JobState.h"
#include "format/InputFormat.h"
#include "format/Values.h"
#include "media/Folders.h"

namespace vixprores {
namespace {

namespace fs = std::filesystem;
using Words = std::vector<std::string>;

// Returns the output of a command of Slurm.
std::string Ask(const Words& command) {
  const ProgramResult result = RunProgram(command);
  if (result.exitCode == 0) return result.output;
  std::string words = result.errors;
  while (words.ends_with('\n')) words.pop_back();
  throw Failure(command[0] + ": failed with exit code " + std::to_string(result.exitCode) + ": " +
                words);
}

// The program that runs now, in front of others of the search path.
std::string PathLine() {
  std::error_code none;
  const fs::path program = fs::read_symlink("/proc/self/exe", none);
  return "PATH=" + QuoteForShell(program.parent_path().string()) + ":$PATH\n";
}

// Each machine has other processors.
std::string ThreadsArgument(const JobOptions& options) {
  const bool isGiven = std::ranges::find(options.machineOptions, "--threads", &GivenOption::name) !=
                       options.machineOptions.end();
  return isGiven ? "" : " --threads \"${SLURM_CPUS_PER_TASK:-${SLURM_CPUS_ON_NODE:-0}}\"";
}

// A submission may begin while the tasks of another one still read their list.
std::string NameList(const std::string& folder) {
  std::error_code none;
  for (int number = 1;; ++number) {
    std::string name = (fs::path(folder) / ("chunks-" + std::to_string(number))).string();
    if (!fs::exists(name, none)) return name;
  }
}

std::string ArrayScript(const std::string& list, std::size_t chunks, std::size_t chunksPerTask,
                        const JobOptions& options) {
  const std::string each = std::to_string(chunksPerTask);
  return "#!/bin/bash\n"
         "# Runs lines of a list of commands: " +
         each + " for each task of the array.\n" + PathLine() +
         "failed=0\n"
         "last=$((SLURM_ARRAY_TASK_ID * " +
         each + "))\nfor ((line = last - " + each +
         " + 1; line <= last && line <= " + std::to_string(chunks) +
         "; line++)); do\n"
         "  eval \"$(sed -n \"${line}p\" " +
         QuoteForShell(list) + ")\"'" + ThreadsArgument(options) +
         "' || failed=1\n"
         "done\n"
         "exit \"$failed\"\n";
}

std::string JoinScript(const Job& job) {
  return "#!/bin/bash\n" + PathLine() + "exec " + ShellLine(job.join) + "\n";
}

// Returns the words of both submissions. Slurm replaces letters after percent signs in names.
Words SubmitCommand(const Job& job, const SlurmOptions& slurm, const std::string& logs,
                    const std::string& log) {
  Words words{"sbatch",
              "--parsable",
              "--requeue",
              "--open-mode=append",
              "--job-name=vixprores " + fs::path(job.output).filename().string(),
              "--output=" + Replace(logs, "%", "%%") + "/" + log};
  if (slurm.partition) words.push_back("--partition=" + *slurm.partition);
  if (slurm.time) words.push_back("--time=" + *slurm.time);
  return words;
}

std::string FindJobNumber(const std::string& answer) {
  std::string number = answer.substr(0, answer.find_first_of(";\n"));
  if (ParseNumber(number, kOpenEnd)) return number;
  throw Failure("sbatch: answers '" + PrintableLine(answer) + "' instead of a job's number");
}

}  // namespace

std::vector<std::string> DependOn(const std::string& array) {
  return {"--dependency=afterok:" + array, "--kill-on-invalid-dep=yes"};
}

int AskMaxTasks() {
  const std::string answer = Ask({"scontrol", "show", "config"});
  for (const std::string& line : Split(answer, '\n')) {
    if (!line.starts_with("MaxArraySize")) continue;
    const std::size_t begin = line.find_last_of(" =") + 1;
    const auto size = ParseNumber(line.substr(begin), 1 << 30);
    if (size && *size >= 2) return static_cast<int>(*size) - 1;
  }
  throw Failure("scontrol: states no MaxArraySize; this Slurm takes no arrays of jobs");
}

Submission PrepareSubmission(const Job& job, const JobOptions& options, const SlurmOptions& slurm,
                             int maxTasks) {
  std::string commands;
  Submission submission;
  const JobState state = FindJobState(job);
  for (std::size_t place = 0; place < job.chunks.size(); ++place) {
    if (state.chunks[place].status == ChunkStatus::Done) continue;
    ++submission.chunks;
    commands += ShellLine(job.chunks[place].command) + "\n";
  }
  if (std::ranges::count(commands + ShellLine(job.join), '\n') !=
      static_cast<std::ptrdiff_t>(submission.chunks)) {
    throw Failure(job.output + ": a name with a line break cannot stand in a script; rename it");
  }
  const std::string list = NameList(job.folder);
  submission.logs = (fs::path(job.folder) / "logs").string();
  if (submission.chunks > 0) {
    const auto most = static_cast<std::size_t>(maxTasks);
    const std::size_t chunksPerTask = (submission.chunks + most - 1) / most;
    submission.tasks = (submission.chunks + chunksPerTask - 1) / chunksPerTask;
    submission.files = {
        {list, commands},
        {list + ".sh", ArrayScript(list, submission.chunks, chunksPerTask, options)}};
    submission.array = SubmitCommand(job, slurm, submission.logs, "%A-%a.log");
    const std::string parallel = slurm.maxParallel ? "%" + std::to_string(*slurm.maxParallel) : "";
    submission.array.push_back("--array=1-" + std::to_string(submission.tasks) + parallel);
    if (slurm.cpus) {
      submission.array.push_back("--cpus-per-task=" + std::to_string(*slurm.cpus));
    }
    submission.array.push_back(list + ".sh");
  }
  const std::string join = (fs::path(job.folder) / "join.sh").string();
  submission.files.push_back({join, JoinScript(job)});
  submission.join = SubmitCommand(job, slurm, submission.logs, "join-%j.log");
  submission.join.push_back(join);
  return submission;
}

SlurmJobs Submit(const Job& job, const Submission& submission) {
  MakeFolder(submission.logs);
  WriteTextFile(NamePlan(job.folder), PlanJson({job}) + "\n");
  for (const auto& [path, text] : submission.files) WriteTextFile(path, text);
  SlurmJobs jobs;
  Words join = submission.join;
  if (!submission.array.empty()) {
    jobs.array = FindJobNumber(Ask(submission.array));
    const Words dependency = DependOn(jobs.array);
    join.insert(join.begin() + 1, dependency.begin(), dependency.end());
  }
  jobs.join = FindJobNumber(Ask(join));
  return jobs;
}

}  // namespace vixprores
