// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_FARM_SLURM_H
#define TOOL_FARM_SLURM_H

/// @file
/// Submits jobs to Slurm: an array of tasks for the chunks, and a task for the join that waits for
/// it.

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "farm/Job.h"

namespace vixprores {

struct SlurmOptions {
  std::optional<std::string> partition;  ///< none = Slurm's choice, as below
  std::optional<std::string> time;       ///< limit of each task
  std::optional<int> cpus;               ///< of each task
  std::optional<int> maxParallel;        ///< tasks of a job at a time
};

/// A file of a submission and its contents.
struct ScriptFile {
  std::string path;
  std::string text;
};

/// A submission that is ready.
struct Submission {
  std::size_t chunks = 0;          ///< that are not done
  std::size_t tasks = 0;           ///< of the array; 0 = all chunks are done
  std::vector<ScriptFile> files;   ///< to be written first
  std::vector<std::string> array;  ///< command; empty = no tasks
  std::vector<std::string> join;   ///< command, without the dependency
  std::string logs;                ///< folder
};

/// Job numbers of Slurm.
struct SlurmJobs {
  std::string array;  ///< empty = no tasks
  std::string join;
};

/// Returns the option that makes the join wait for an array, and end with it if that fails.
std::vector<std::string> DependOn(const std::string& array);

/// Returns the largest number of tasks of an array: MaxArraySize of Slurm, less one.
/// @throws Failure if Slurm does not answer
int AskMaxTasks();

/// Prepares the submission of the chunks that are not done, and of the join. Writes nothing.
/// @param maxTasks see AskMaxTasks(); a task does several chunks if there are more
/// @throws Failure if the names cannot stand in a script
Submission PrepareSubmission(const Job& job, const JobOptions& options, const SlurmOptions& slurm,
                             int maxTasks);

/// Writes the plan and the scripts into the folder of the job and submits them.
/// @throws Failure with Slurm's own words
SlurmJobs Submit(const Job& job, const Submission& submission);

}  // namespace vixprores

#endif  // TOOL_FARM_SLURM_H
