// SPDX-License-Identifier: BSD-2-Clause
#include "farm/JobState.h"

#include <sys/file.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <map>
#include <memory>
#include <system_error>

#include "base/Errors.h"
#include "base/Interrupt.h"
#include "farm/JobFiles.h"
#include "farm/Part.h"
#include "media/container/PacketTag.h"
#include "run/OpenInput.h"

namespace vixprores {
namespace {

namespace fs = std::filesystem;

// Work files by the names of their outputs.
using WorkFiles = std::multimap<std::string, std::string>;

WorkFiles FindWorkFiles(const std::string& folder) {
  WorkFiles found;
  std::error_code error;
  fs::directory_iterator entry(folder, error);
  for (; !error && entry != fs::directory_iterator(); entry.increment(error)) {
    const std::string name = entry->path().filename().string();
    const std::size_t mark = name.rfind(".part-");
    if (mark != std::string::npos) found.emplace(name.substr(0, mark), entry->path().string());
  }
  return found;
}

// Returns true if a process writes the file. One without a byte may be about to be locked.
bool IsLocked(const std::string& path) {
  std::error_code none;
  if (fs::file_size(path, none) == 0) return true;
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "r+e"),
                                                             std::fclose);
  return file && flock(fileno(file.get()), LOCK_EX | LOCK_NB) != 0;
}

std::int64_t CountWrittenFrames(const std::string& path) {
  std::int64_t frames = 0;
  try {
    const InputFile file(path);
    TagScanner tags(file);
    while (const auto found = tags.Next()) {
      if (found->tag.track == PacketTag::kVideo) ++frames;
    }
  } catch (const Failure&) {
    // It was renamed meanwhile.
  }
  return frames;
}

// Returns the state of the input; nullopt if it is not there.
std::optional<InputState> FindInput(const Job& job) {
  try {
    InputState input(job.input);
    if (!input.Of(job.frames).empty()) return input;
  } catch (const Failure&) {
    // A plan may be read where its input is not.
  }
  return std::nullopt;
}

bool IsPartOf(const Job& job, const Chunk& chunk, const std::optional<InputState>& input) {
  std::error_code none;
  if (!fs::exists(chunk.part, none)) return false;
  try {
    const auto label = FindPartLabel(*OpenProRes(chunk.part));
    return label && label->chunk.job == job.id && label->chunk.number == chunk.number &&
           (!input || label->state == input->Of(chunk.frames));
  } catch (const Failure&) {
    return false;
  }
}

ChunkState FindChunkState(const Job& job, const Chunk& chunk,
                          const std::optional<InputState>& input, const WorkFiles& workFiles) {
  const std::int64_t frames = chunk.frames.last - chunk.frames.first + 1;
  const auto outcome = FindOutcome(NameOutcome(chunk.part));
  const bool hasFailed = outcome && !outcome->isDone && outcome->job == job.id;
  // A join may have found that the part is damaged.
  if (!hasFailed && IsPartOf(job, chunk, input)) return {ChunkStatus::Done, frames};
  bool isInterrupted = false;
  const auto [begin, end] = workFiles.equal_range(fs::path(chunk.part).filename().string());
  for (auto file = begin; file != end; ++file) {
    if (IsLocked(file->second)) return {ChunkStatus::Running, CountWrittenFrames(file->second)};
    isInterrupted = true;
  }
  if (hasFailed) return {ChunkStatus::Failed, 0, outcome->message, outcome->host};
  return {isInterrupted ? ChunkStatus::Interrupted : ChunkStatus::Waiting};
}

// Returns the mean speed of the chunks that are done; 0 = none is.
double FindSpeed(const Job& job) {
  double frames = 0;
  double seconds = 0;
  for (const Chunk& chunk : job.chunks) {
    const auto outcome = FindOutcome(NameOutcome(chunk.part));
    if (!outcome || !outcome->isDone || outcome->job != job.id) continue;
    frames += static_cast<double>(outcome->frames);
    seconds += outcome->seconds;
  }
  return seconds > 0 ? frames / seconds : 0;
}

// Returns true if a chunk ended after the last join.
bool IsJoinOutdated(const Job& job) {
  std::error_code none;
  const auto joined = fs::last_write_time(NameJoinOutcome(job.folder), none);
  return std::ranges::any_of(job.chunks, [&](const Chunk& chunk) {
    std::error_code missing;
    const auto ended = fs::last_write_time(NameOutcome(chunk.part), missing);
    return !missing && ended > joined;
  });
}

}  // namespace

JobState FindJobState(const Job& job) {
  JobState state;
  const auto join = FindOutcome(NameJoinOutcome(job.folder));
  std::error_code none;
  if (join && join->job == job.id) {
    state.isJoined = join->isDone && fs::exists(join->output, none);
    if (!IsJoinOutdated(job)) state.joinMessage = join->message;
  }
  const WorkFiles workFiles = FindWorkFiles(job.folder);
  const auto input = FindInput(job);
  for (const Chunk& chunk : job.chunks) {
    CheckInterrupt();
    state.chunks.push_back(
        state.isJoined ? ChunkState{ChunkStatus::Done, chunk.frames.last - chunk.frames.first + 1}
                       : FindChunkState(job, chunk, input, workFiles));
  }
  const auto running = static_cast<double>(CountChunks(state, ChunkStatus::Running));
  state.framesPerSecond = running > 0 ? running * FindSpeed(job) : 0;
  return state;
}

std::int64_t CountChunks(const JobState& state, ChunkStatus status) {
  return std::ranges::count(state.chunks, status, &ChunkState::status);
}

std::int64_t CountFrames(const JobState& state) {
  std::int64_t frames = 0;
  for (const ChunkState& chunk : state.chunks) frames += chunk.frames;
  return frames;
}

}  // namespace vixprores
