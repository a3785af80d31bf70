// SPDX-License-Identifier: BSD-2-Clause
#include "report/JobReport.h"

#include <algorithm>
#include <utility>

#include "base/Text.h"
#include "report/Json.h"
#include "run/RunReport.h"

namespace vixprores {
namespace {

constexpr std::pair<ChunkStatus, const char*> kWords[] = {
    {ChunkStatus::Done, "done"},
    {ChunkStatus::Running, "running"},
    {ChunkStatus::Waiting, "waiting"},
    {ChunkStatus::Failed, "failed"},
    {ChunkStatus::Interrupted, "interrupted"}};

std::int64_t FramesOf(const Job& job) {
  return job.frames.last - job.frames.first + 1;
}

double SecondsLeft(const Job& job, const JobState& state) {
  return RunReport::Ratio(static_cast<double>(FramesOf(job) - CountFrames(state)),
                          state.framesPerSecond);
}

std::string ChunkText(const Chunk& chunk, const ChunkState& state) {
  const std::string name =
      "  chunk " + std::to_string(chunk.number) + " (frames " + Describe(chunk.frames) + ") ";
  if (state.status == ChunkStatus::Interrupted) return name + "was interrupted\n";
  if (state.status != ChunkStatus::Failed) return {};
  return name + "failed on " + state.host + ": " + state.message + "\n";
}

}  // namespace

std::string JobText(const Job& job, const JobState& state) {
  const std::int64_t frames = CountFrames(state);
  std::string text =
      job.output + ": " + std::to_string(frames) + " of " + Count(FramesOf(job), "frame") + " (" +
      Percentage(static_cast<double>(frames), static_cast<double>(FramesOf(job))) + "); chunks: ";
  std::vector<std::string> counts;
  for (const auto& [status, word] : kWords) {
    const std::int64_t count = CountChunks(state, status);
    if (count > 0) counts.push_back(std::to_string(count) + " " + word);
  }
  text += Join(counts, ", ");
  if (state.framesPerSecond > 0) {
    text += "; " + Fixed(state.framesPerSecond, 1) + " fps, " + ClockText(SecondsLeft(job, state)) +
            " left";
  }
  text += state.isJoined ? "; joined\n" : "\n";
  for (std::size_t i = 0; i < job.chunks.size(); ++i) {
    text += ChunkText(job.chunks[i], state.chunks[i]);
  }
  if (!state.joinMessage.empty()) text += "  the last join failed: " + state.joinMessage + "\n";
  return text;
}

std::string JobsJson(const std::vector<Job>& jobs, const std::vector<JobState>& states) {
  auto json = JsonValue::array();
  for (std::size_t i = 0; i < jobs.size(); ++i) {
    const Job& job = jobs[i];
    const JobState& state = states[i];
    JsonValue one{{"output", job.output},     {"job", job.id},
                  {"frames", FramesOf(job)},  {"framesDone", CountFrames(state)},
                  {"joined", state.isJoined}, {"chunks", {{"all", job.chunks.size()}}}};
    for (const auto& [status, word] : kWords) one["chunks"][word] = CountChunks(state, status);
    const bool isRunning = state.framesPerSecond > 0;
    one["framesPerSecond"] = isRunning ? JsonValue(state.framesPerSecond) : JsonValue();
    one["secondsLeft"] = isRunning ? JsonValue(SecondsLeft(job, state)) : JsonValue();
    one["failures"] = JsonValue::array();
    for (std::size_t place = 0; place < job.chunks.size(); ++place) {
      const ChunkState& chunk = state.chunks[place];
      if (chunk.status != ChunkStatus::Failed && chunk.status != ChunkStatus::Interrupted) continue;
      one["failures"].push_back({{"chunk", job.chunks[place].number},
                                 {"message", chunk.message.empty() ? "interrupted" : chunk.message},
                                 {"host", chunk.host}});
    }
    if (!state.joinMessage.empty()) one["joinFailure"] = state.joinMessage;
    json.push_back(std::move(one));
  }
  return Dump(json);
}

std::string SubmissionText(const Submission& submission) {
  std::string text;
  for (const auto& [path, content] : submission.files) {
    text.append("# ").append(path).append("\n").append(content).append("\n");
  }
  std::vector<std::string> join = submission.join;
  if (!submission.array.empty()) {
    text += ShellLine(submission.array) + "\n";
    const auto dependency = DependOn("ARRAY");
    join.insert(join.begin() + 1, dependency.begin(), dependency.end());
  }
  return text + ShellLine(join) + "\n";
}

}  // namespace vixprores
