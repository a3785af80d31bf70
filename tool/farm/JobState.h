// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_FARM_JOBSTATE_H
#define TOOL_FARM_JOBSTATE_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "farm/Job.h"

namespace vixprores {

enum class ChunkStatus { Waiting, Running, Done, Failed, Interrupted };

struct ChunkState {
  ChunkStatus status = ChunkStatus::Waiting;
  std::int64_t frames = 0;   ///< in the part, or in the work file of the run
  std::string message = {};  ///< why it failed
  std::string host = {};     ///< on which it failed
};

/// How far a job is, as the files in its folder tell.
struct JobState {
  std::vector<ChunkState> chunks;  ///< of the job, in their order
  bool isJoined = false;
  std::string joinMessage;  ///< why the last join failed; empty = it did not
  double framesPerSecond =
      0;  ///< of all running chunks, as fast as those that are done; 0 = unknown
};

/// Looks into the folder of a job. Does not read frames.
/// @throws Interrupted if the user asked to stop
JobState FindJobState(const Job& job);

/// Returns the number of chunks in that state.
std::int64_t CountChunks(const JobState& state, ChunkStatus status);
/// Returns the number of frames that are encoded.
std::int64_t CountFrames(const JobState& state);

}  // namespace vixprores

#endif  // TOOL_FARM_JOBSTATE_H
