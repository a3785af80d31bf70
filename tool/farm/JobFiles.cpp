// SPDX-License-Identifier: BSD-2-Clause
#include "farm/JobFiles.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <system_error>
#include <thread>

#include "base/Errors.h"
#include "base/Interrupt.h"
#include "media/OutputFile.h"

namespace vixprores {
namespace {

namespace fs = std::filesystem;
using Json = nlohmann::ordered_json;

constexpr int kPlanVersion = 1;

Json ToJson(const Chunk& chunk) {
  return {{"number", chunk.number},
          {"first", chunk.frames.first},
          {"frames", chunk.frames.last - chunk.frames.first + 1},
          {"part", chunk.part},
          {"command", chunk.command}};
}

Json ToJson(const Job& job) {
  Json json{{"job", job.id},
            {"input", job.input},
            {"output", job.output},
            {"folder", job.folder},
            {"first", job.frames.first},
            {"frames", job.frames.last - job.frames.first + 1}};
  for (const Chunk& chunk : job.chunks) json["chunks"].push_back(ToJson(chunk));
  json["join"] = job.join;
  return json;
}

Chunk ReadChunk(const Json& json) {
  const auto first = json.at("first").get<std::int64_t>();
  return {json.at("number").get<int>(),
          {first, first + json.at("frames").get<std::int64_t>() - 1},
          json.at("part").get<std::string>(),
          {}};
}

Job ReadJob(const Json& json) {
  Job job;
  job.id = json.at("job").get<std::string>();
  job.input = json.at("input").get<std::string>();
  job.output = json.at("output").get<std::string>();
  job.folder = json.at("folder").get<std::string>();
  job.frames.first = json.at("first").get<std::int64_t>();
  job.frames.last = job.frames.first + json.at("frames").get<std::int64_t>() - 1;
  for (const Json& chunk : json.at("chunks")) job.chunks.push_back(ReadChunk(chunk));
  return job;
}

std::string HostName() {
  std::array<char, 256> name{};
  return gethostname(name.data(), name.size() - 1) == 0 ? name.data() : "";
}

}  // namespace

std::string PlanJson(const std::vector<Job>& jobs) {
  Json json{{"version", kPlanVersion}, {"jobs", Json::array()}};
  try {
    for (const Job& job : jobs) json["jobs"].push_back(ToJson(job));
    return json.dump(1);
  } catch (const Json::type_error&) {
    throw Failure(
        "a plan is JSON, which holds only names in UTF-8; rename the input or the output");
  }
}

std::vector<Job> ReadPlan(const std::string& path) {
  std::ifstream file(path);
  if (!file) {
    throw Failure(path +
                  ": there is no such plan; 'vixprores submit' writes one, and so does "
                  "'vixprores plan OPTIONS > PLAN'");
  }
  try {
    const Json json = Json::parse(file);
    std::vector<Job> jobs;
    for (const Json& job : json.at("jobs")) jobs.push_back(ReadJob(job));
    return jobs;
  } catch (const Json::exception& error) {
    throw Failure(path + ": is not a plan of 'vixprores plan' (" + error.what() + ")");
  }
}

bool RecordOutcome(const std::string& path, const std::string& job, const RunReport& report,
                   const std::vector<std::string>& parts) {
  Json json{{"done", report.HasOutput()}, {"message", report.message},        {"host", HostName()},
            {"frames", report.frames},    {"seconds", report.seconds},        {"job", job},
            {"output", report.output},    {"outputBytes", report.outputBytes}};
  if (!parts.empty()) json["parts"] = parts;
  try {
    WriteTextFile(path, json.dump(1, ' ', false, Json::error_handler_t::replace) + "\n");
    return true;
  } catch (const Failure&) {
    return false;
  }
}

std::optional<Outcome> FindOutcome(const std::string& path) {
  std::ifstream file(path);
  if (!file) return std::nullopt;
  try {
    const Json json = Json::parse(file);
    return Outcome{json.at("done").get<bool>(),
                   json.at("message").get<std::string>(),
                   json.at("host").get<std::string>(),
                   json.at("frames").get<std::int64_t>(),
                   json.at("seconds").get<double>(),
                   json.at("job").get<std::string>(),
                   json.at("output").get<std::string>(),
                   json.at("outputBytes").get<std::int64_t>(),
                   json.value("parts", std::vector<std::string>())};
  } catch (const Json::exception&) {
    return std::nullopt;
  }
}

std::string NamePlan(const std::string& folder) {
  return (fs::path(folder) / "plan.json").string();
}

std::string NameOutcome(const std::string& part) {
  return fs::path(part).replace_extension(".json").string();
}

std::string NameJoinOutcome(const std::string& folder) {
  return (fs::path(folder) / "join.json").string();
}

bool AreJoined(const std::string& folder, const std::vector<std::string>& labels) {
  const auto outcome = FindOutcome(NameJoinOutcome(folder));
  std::error_code none;
  if (!outcome || !outcome->isDone || !fs::exists(outcome->output, none)) return false;
  return std::ranges::all_of(labels, [&](const std::string& label) {
    return std::ranges::find(outcome->parts, label) != outcome->parts.end();
  });
}

FolderLock::FolderLock(const std::string& folder)
    : folder_(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
  constexpr auto kPause = std::chrono::milliseconds(20);
  while (folder_ >= 0 && flock(folder_, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK) {
    if (InterruptRequested()) break;  // the run will end at once
    std::this_thread::sleep_for(kPause);
  }
}

FolderLock::~FolderLock() {
  if (folder_ >= 0) close(folder_);
}

void WriteTextFile(const std::string& path, const std::string& text) {
  OutputFile file(path, true);
  file.Write({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
  file.Commit();
}

}  // namespace vixprores
