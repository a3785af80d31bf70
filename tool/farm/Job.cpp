// SPDX-License-Identifier: BSD-2-Clause
#include "farm/Job.h"

#include <algorithm>
#include <filesystem>
#include <system_error>
#include <utility>

#include "base/Errors.h"
#include "base/Interrupt.h"
#include "base/Text.h"
#include "farm/Part.h"
#include "media/decode/FilterGraph.h"
#include "run/EncodePlan.h"
#include "run/FrameSource.h"
#include "vix/Version.h"

namespace vixprores {
namespace {

namespace fs = std::filesystem;
using Words = std::vector<std::string>;

void Append(Words& words, const std::vector<GivenOption>& options) {
  for (const auto& [name, value] : options) {
    // A word that begins with a dash would be taken for an option.
    if (value && value->starts_with("-")) {
      words.push_back(name + "=" + *value);
      continue;
    }
    words.push_back(name);
    if (value) words.push_back(*value);
  }
}

std::string AsArgument(const std::string& path) {
  return path.starts_with("-") ? "./" + path : path;
}

Words ChunkCommand(const JobOptions& options, const Job& job, const Chunk& chunk) {
  Words words{"vixprores", "encode"};
  Append(words, options.pictureOptions);
  Append(words, options.machineOptions);
  FrameRange frames = chunk.frames;
  frames.first += job.firstNumber;
  frames.last += job.firstNumber;
  const std::string place = std::to_string(chunk.number) + "/" + std::to_string(job.chunks.size());
  for (const std::string& word :
       {std::string("--no-audio"), std::string("--chunk"), job.id + ":" + place,
        std::string("--frames"), Describe(frames), AsArgument(job.input), AsArgument(chunk.part)}) {
    words.push_back(word);
  }
  return words;
}

Words JoinCommand(const JobOptions& options, const Job& job) {
  Words words{"vixprores", "join"};
  std::vector<GivenOption> pictures = options.pictureOptions;
  std::erase_if(pictures, [](const GivenOption& option) { return option.name == "--verify"; });
  Append(words, pictures);
  Append(words, options.soundOptions);
  Append(words, options.machineOptions);
  const auto& [chunks, chunkFrames] = options.layout;
  words.insert(words.end(), {"--job", JobName{job.id, job.frames}.ToText(),
                             chunks ? "--chunks" : "--chunk-frames",
                             std::to_string(chunks ? *chunks : *chunkFrames)});
  // Sound is cut at the end of a range, not at the end of all frames.
  if (options.frames) words.insert(words.end(), {"--frames", DescribeAsGiven(*options.frames)});
  if (options.jobDir) words.insert(words.end(), {"--job-dir", AsArgument(*options.jobDir)});
  if (options.overwrite) words.emplace_back("--overwrite");
  if (options.keepsParts) words.emplace_back("--keep-parts");
  words.insert(words.end(), {AsArgument(job.input), AsArgument(job.output)});
  return words;
}

std::string NamePart(const std::string& folder, int number) {
  constexpr std::size_t kDigits = 4;
  std::string digits = std::to_string(number);
  digits.insert(0, kDigits - std::min(kDigits, digits.size()), '0');
  return (fs::path(folder) / (digits + ".mov")).string();
}

// Rejects a filter that would give other frames in chunks than in one run.
void CheckFilter(const std::string& graph) {
  const auto untested = FilterGraph::FindUntested(graph);
  if (!untested) return;
  const std::string name = untested->substr(0, untested->find('='));
  const auto timeless = FilterGraph::TimelessFilters();
  const bool isArgument = std::ranges::find(timeless, name) != timeless.end();
  throw UsageError(
      "--filter " + QuoteForShell(graph) + ": " + (isArgument ? "the arguments of " : "") +
      QuoteForShell(name) +
      " may give other pictures in chunks than in one run; encode in one run, or use " +
      (isArgument ? "arguments without time, number, randomness and enable"
                  : "only " + JoinWords(timeless)));
}

// Rejects what would give other frames in chunks than in one run.
void CheckDivisible(const JobOptions& options) {
  if (options.onDamage != DamagePolicy::Stop) {
    throw UsageError(
        "--on-error skip and conceal need the frames around a damaged one, which another chunk may "
        "hold; encode such an input in one run");
  }
  if (options.output == "-") throw UsageError("a job needs an output with a name, not a pipe");
  if (options.input == "-") throw UsageError("a job needs an input with a name, not a pipe");
  if (options.footage.filter) CheckFilter(*options.footage.filter);
}

std::int64_t CountByReading(FrameReader& reader) {
  std::int64_t count = 0;
  while (const auto frame = reader.Read()) {
    CheckInterrupt();
    count = frame->number + 1;
  }
  return count;
}

FrameRange FindFrames(const JobOptions& options, FrameReader& reader,
                      const std::optional<Timecode>& timecode) {
  const auto given = ResolveRange(options.frames, reader, timecode);
  const FrameRange range = given.value_or(FrameRange());
  const auto known = CountFrames(reader, range);
  if (known) return {range.first, range.first + *known - 1};
  PrintNote(reader.GetName() + ": only reading shows how many frames there are; counting them");
  const std::int64_t count = CountByReading(reader);
  if (range.Exceeds(count)) FailPastTheEnd(reader.GetName(), range, count);
  return {range.first, std::min(range.last, count - 1)};
}

std::string MakeId(const JobOptions& options, const Job& job) {
  std::error_code none;
  const std::uintmax_t bytes = fs::file_size(job.input, none);
  std::string text = std::string(VIX_VERSION_TEXT) + "\n" + job.input + "\n" +
                     (none ? "" : std::to_string(bytes)) + "\n" + Describe(job.frames) + "\n" +
                     (options.frames ? DescribeAsGiven(*options.frames) : "") + "\n";
  Words words;
  Append(words, options.pictureOptions);
  Append(words, options.soundOptions);
  for (const Chunk& chunk : job.chunks) words.push_back(Describe(chunk.frames));
  return HexHash(text + Join(words, "\n"));
}

Job DivideJob(const JobOptions& options, const FrameRange& frames, const FrameReader& source) {
  Job job;
  job.input = options.input;
  job.output = options.output;
  job.folder = FolderOf(options);
  job.frames = frames;
  job.firstNumber = source.GetDescription().firstNumber;
  job.chunks = DivideFrames(frames, options.layout);
  return job;
}

Job Commanded(Job job, const JobOptions& options) {
  for (Chunk& chunk : job.chunks) {
    chunk.part = NamePart(job.folder, chunk.number);
    chunk.command = ChunkCommand(options, job, chunk);
  }
  job.join = JoinCommand(options, job);
  return job;
}

}  // namespace

std::string JobName::ToText() const {
  return id + ":" + Describe(frames);
}

JobName JobName::Parse(const std::string& text) {
  const std::size_t colon = text.find(':');
  if (colon != std::string::npos && colon > 0) {
    JobName name{text.substr(0, colon), ParseFrameRange(text.substr(colon + 1))};
    if (!name.frames.IsOpen() && name.frames.firstTimecode.empty()) return name;
  }
  throw UsageError("invalid job '" + text + "'; write JOB:FIRST-LAST, as in the plan");
}

std::vector<Chunk> DivideFrames(const FrameRange& frames, const ChunkLayout& layout) {
  const std::int64_t count = frames.last - frames.first + 1;
  const std::int64_t length = layout.chunkFrames.value_or(1);
  const std::int64_t chunks =
      layout.chunks ? std::min<std::int64_t>(*layout.chunks, count) : (count + length - 1) / length;
  if (chunks > kMostChunks) {
    throw UsageError("--chunk-frames: " + std::to_string(length) + " divides the frames into " +
                     std::to_string(chunks) + " chunks; a job has at most " +
                     std::to_string(kMostChunks));
  }
  const auto begin = [&](std::int64_t place) {
    // place * count / chunks, of any count
    const std::int64_t nearlyEqual = count / chunks * place + count % chunks * place / chunks;
    return frames.first + (layout.chunks ? nearlyEqual : std::min(place * length, count));
  };
  std::vector<Chunk> divided;
  for (std::int64_t place = 0; place < chunks; ++place) {
    divided.push_back({static_cast<int>(place + 1), {begin(place), begin(place + 1) - 1}, {}, {}});
  }
  return divided;
}

Job PlanJob(const JobOptions& options) {
  CheckDivisible(options);
  const TranscodePlan plan = PlanEncoding(options);
  if (InputState(options.input).Of({0, 0}).empty()) {
    throw Failure(options.input +
                  ": is no file or image sequence; chunks read their input one by one");
  }
  const FrameRange frames = FindFrames(options, *plan.reader, plan.content.timecode);
  Job job = DivideJob(options, frames, *plan.reader);
  job.id = MakeId(options, job);
  return Commanded(std::move(job), options);
}

Job DescribeJob(const JobOptions& options, const JobName& name, const FrameReader& source) {
  Job job = DivideJob(options, name.frames, source);
  job.id = name.id;
  return Commanded(std::move(job), options);
}

std::vector<std::string> LabelParts(const Job& job) {
  const InputState input(job.input);
  std::vector<std::string> labels;
  const auto count = static_cast<int>(job.chunks.size());
  for (const Chunk& chunk : job.chunks) {
    const PartLabel label{{job.id, chunk.number, count}, chunk.frames, input.Of(chunk.frames)};
    labels.push_back(label.ToText());
  }
  return labels;
}

std::string FolderOf(const JobOptions& options) {
  return options.jobDir.value_or(options.output + ".job");
}

std::string ShellLine(const std::vector<std::string>& command) {
  std::vector<std::string> words;
  words.reserve(command.size());
  for (const std::string& word : command) words.push_back(QuoteForShell(word));
  return Join(words, " ");
}

}  // namespace vixprores
