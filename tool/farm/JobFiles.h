// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_FARM_JOBFILES_H
#define TOOL_FARM_JOBFILES_H

/// @file
/// Files in the folder of a job beside the parts: its plan, and the outcome of each command. All
/// are JSON.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "farm/Job.h"
#include "run/RunReport.h"

namespace vixprores {

/// Returns the plan of jobs as JSON. Keys and their order do not change: users' scripts read them.
/// @throws Failure if a name is not UTF-8
std::string PlanJson(const std::vector<Job>& jobs);
/// Reads a plan, without the commands.
/// @throws Failure if it is not a plan
std::vector<Job> ReadPlan(const std::string& path);

/// How a command of a job ended.
struct Outcome {
  bool isDone = false;
  std::string message;  ///< why it failed
  std::string host;
  std::int64_t frames = 0;
  double seconds = 0;
  std::string job;     ///< identity
  std::string output;  ///< that was written
  std::int64_t outputBytes = 0;
  std::vector<std::string> parts = {};  ///< labels of those that were joined
};

/// Writes the outcome of a run. Returns false if it cannot be written, which does not change the
/// outcome.
bool RecordOutcome(const std::string& path, const std::string& job, const RunReport& report,
                   const std::vector<std::string>& parts = {});
/// Returns a recorded outcome; nullopt = there is none.
std::optional<Outcome> FindOutcome(const std::string& path);

/// Names of these files.
std::string NamePlan(const std::string& folder);
std::string NameOutcome(const std::string& part);  ///< of a chunk
std::string NameJoinOutcome(const std::string& folder);

/// Returns true if the parts with these labels were joined and the output is still there.
bool AreJoined(const std::string& folder, const std::vector<std::string>& labels);

/// Keeps joins in the same folder from running at the same time. Has no effect where the folder is
/// missing or the file system has no locks for folders.
class FolderLock {
 public:
  /// Waits until no other process has the lock, or an interruption is requested.
  explicit FolderLock(const std::string& folder);
  ~FolderLock();
  FolderLock(const FolderLock&) = delete;
  FolderLock& operator=(const FolderLock&) = delete;

 private:
  int folder_;  ///< descriptor; negative = none
};

/// Writes a file of text that appears under its name when it is complete, in place of another one.
/// @throws Failure
void WriteTextFile(const std::string& path, const std::string& text);

}  // namespace vixprores

#endif  // TOOL_FARM_JOBFILES_H
