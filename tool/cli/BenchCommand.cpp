// SPDX-License-Identifier: BSD-2-Clause
#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <functional>
#include <memory>
#include <nlohmann/json.hpp>
#include <vector>

#include "base/Errors.h"
#include "base/FramePool.h"
#include "base/Interrupt.h"
#include "base/Text.h"
#include "cli/Commands.h"
#include "cli/Options.h"
#include "format/InputFormat.h"
#include "format/PlanarPicture.h"
#include "format/TestPicture.h"
#include "run/Elements.h"
#include "run/Host.h"
#include "run/OrderedRun.h"

namespace vixprores {
namespace {

constexpr int kMostFrames = 10000;

// The test pictures are drawn as planes, which not every format has.
void ChoosePictures(BenchOptions& options) {
  const bool is4444 = options.variant->is4444;
  if (options.fourcc == 0) options.fourcc = is4444 ? vix::kFourCC_Y416 : vix::kFourCC_V210;
  const RawFormat& pictures = *FindRawFormat(options.fourcc);
  if (pictures.is4444 == is4444 && pictures.planarBits > 0) return;
  throw UsageError("bench has no test pictures of " + std::string(pictures.name) + " for " +
                   options.variant->name + "; leave out --fourcc");
}

}  // namespace

Command DescribeBench(BenchOptions& options) {
  Command command;
  command.name = "bench";
  command.summary = "Measure the speed of encoding and decoding in memory";
  command.description =
      "Draws moving test pictures, encodes and decodes them several times without files, and "
      "prints "
      "the median times with one thread and with all of them.";
  command.usages = {"[OPTION]..."};
  command.takeArguments = [&options](const std::vector<std::string>& words) {
    TakeWords({}, {})(words);
    ChoosePictures(options);
  };
  const Option fourcc =
      FourCCOption([&options](vix::FourCC code) { options.fourcc = code; }, "V210 or Y416");
  Option size = Parsed("--size", "WxH", options.size, ParsePictureSize,
                       "picture size, or a name such as uhd [1920x1080]");
  Option frames = Number("--frames", options.frames, 1, kMostFrames, "frames per pass [24]");
  frames.details = "The pictures take at most 512 MiB; longer clips repeat them.";
  command.groups = {{"Pictures",
                     {VariantOption(options.variant, "hq"), fourcc, size,
                      Flag("--interlaced", options.interlaced, "two fields per frame"), frames}},
                    {"Report", {Flag("--json", options.json, "print the figures as JSON")}},
                    MachineGroup(options, options)};
  command.groups.back().options.push_back(MemoryLimitOption(options.limits));
  command.examples = {
      {"vixprores bench --size 3840x2160 --threads 2", "Measure UHD with two threads."}};
  return command;
}

namespace {

using std::chrono::steady_clock;
using Picture = std::shared_ptr<const vix::IBuffer>;

// Timed passes over the clip; their median is reported. One more pass warms up.
constexpr int kPasses = 5;

// The frames of a pass: the pictures in order, repeated.
struct Clip {
  std::vector<Picture> pictures;
  std::size_t frames;

  const Picture& At(std::size_t frame) const { return pictures[frame % pictures.size()]; }
};

struct PassTimes {
  double wallSeconds;
  double cpuSeconds;
};

struct Speed {
  double cpuMillisecondsPerFrame;
  double framesPerSecond;
};

// Result of encoding or decoding.
struct Direction {
  const char* name;
  Speed alone;     // one thread
  Speed together;  // all threads
};

StreamFormat RawFormat(const BenchOptions& options) {
  StreamFormat format;
  format.code = options.fourcc;
  format.width = options.size.width;
  format.height = options.size.height;
  format.is444 = IsOf4444(options.fourcc);
  format.rate = {25, 1};
  format.fieldOrder = options.interlaced ? FieldOrder::TopFirst : FieldOrder::Progressive;
  return format;
}

Clip DrawClip(const StreamFormat& format, std::uint32_t frames) {
  const std::uint32_t pictures = CountTestPictures(frames, format.FrameBytes());
  const TestPicture picture;
  const FramePool pool;
  const auto planar = pool.MakeFrame(PlanarBytes(format));
  const std::span planes(planar->GetData(), planar->GetSize());
  Clip clip{{}, frames};
  for (std::uint32_t number = 0; number < pictures; ++number) {
    auto packed = pool.MakeFrame(format.FrameBytes());
    picture.Draw(format, number, planes);
    PackPicture(format, planes, std::span(packed->GetData(), packed->GetSize()));
    clip.pictures.push_back(std::move(packed));
  }
  return clip;
}

double CpuSeconds() {
  timespec time{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

double SecondsSince(steady_clock::time_point start) {
  return std::chrono::duration<double>(steady_clock::now() - start).count();
}

struct CodedFrame {
  std::size_t number;
  Picture result;
};

// A pool of elements that codes the frames of a clip.
class ClipCoder {
 public:
  ClipCoder(const ProResElement& element, const StreamFormat& format, const Clip& clip,
            unsigned threads)
      : clip_(clip), threads_(threads), samples_(format, element.GetCode()) {
    auto options = PoolOptions({threads, 1});
    options.prepare = [this](vix::PoolFrame& job, unsigned /*element*/) {
      const std::size_t number = FrameOf(job).number;
      job.input = samples_.Make(clip_.At(number), static_cast<std::int64_t>(number));
    };
    options.finish = [](vix::PoolFrame& job, unsigned /*element*/) {
      if (job.error) return;
      FrameOf(job).result = job.output->GetVideoSamples(nullptr, nullptr).front()->GetBuffer();
    };
    pool_ = element.MakePool(format, std::move(options));
  }

  // Codes the clip once. Calls `result` with every coded frame in order.
  PassTimes RunPass(const std::function<void(const Picture&)>& result) {
    std::size_t next = 0;
    RunEnds<CodedFrame> ends;
    ends.read = [&]() -> std::optional<CodedFrame> {
      CheckInterrupt();
      if (next == clip_.frames) return std::nullopt;
      return CodedFrame{next++, nullptr};
    };
    ends.write = [&](const CodedFrame& frame, const std::exception_ptr& failure) {
      if (failure) std::rethrow_exception(failure);
      result(frame.result);
    };
    const auto start = steady_clock::now();
    const double cpuStart = CpuSeconds();
    RunThrough(*pool_, threads_, ends);
    return {SecondsSince(start), CpuSeconds() - cpuStart};
  }

 private:
  static CodedFrame& FrameOf(const vix::PoolFrame& job) {
    return *static_cast<CodedFrame*>(job.context.get());
  }

  const Clip& clip_;
  unsigned threads_;
  SampleMaker samples_;
  std::unique_ptr<vix::ElementPool> pool_;  // the last member: its threads use the others
};

double Median(std::vector<PassTimes> passes, double PassTimes::*time) {
  const auto middle = passes.begin() + kPasses / 2;
  std::ranges::nth_element(passes, middle, {}, time);
  return (*middle).*time;
}

Speed ToSpeed(const std::vector<PassTimes>& passes, std::size_t frames) {
  const auto count = static_cast<double>(frames);
  return {1e3 * Median(passes, &PassTimes::cpuSeconds) / count,
          count / Median(passes, &PassTimes::wallSeconds)};
}

// Times the clip with one thread and with all of them in alternation, so that other load on the
// machine affects both. Calls `warmResult` with every frame of the first pass.
Direction Measure(const char* name, const ProResElement& element, const StreamFormat& format,
                  const Clip& clip, unsigned threads,
                  const std::function<void(const Picture&)>& warmResult) {
  std::vector<std::unique_ptr<ClipCoder>> coders;
  coders.push_back(std::make_unique<ClipCoder>(element, format, clip, 1));
  if (threads > 1) coders.push_back(std::make_unique<ClipCoder>(element, format, clip, threads));
  const auto drop = [](const Picture& /*frame*/) {};
  coders.front()->RunPass(warmResult);
  if (threads > 1) coders.back()->RunPass(drop);
  std::vector<std::vector<PassTimes>> times(coders.size());
  for (int pass = 0; pass < kPasses; ++pass) {
    for (std::size_t coder = 0; coder < coders.size(); ++coder) {
      times[coder].push_back(coders[coder]->RunPass(drop));
    }
  }
  return {name, ToSpeed(times.front(), clip.frames), ToSpeed(times.back(), clip.frames)};
}

struct BenchReport {
  const BenchOptions& options;
  unsigned threads;
  std::size_t pictures;
  double megabytesPerFrame;  // compressed
  std::array<Direction, 2> directions;

  double MegapixelsPerFrame() const { return 1e-6 * options.size.width * options.size.height; }
};

double SpeedUp(const Direction& direction) {
  return direction.together.framesPerSecond / direction.alone.framesPerSecond;
}

std::string DescribeFrames(const BenchReport& report) {
  const auto frames = static_cast<std::size_t>(report.options.frames);
  std::string text = Count(report.options.frames, "frame");
  if (report.pictures < frames)
    text += " (" + std::to_string(report.pictures) + " different pictures)";
  return text;
}

std::string ToText(const BenchReport& report) {
  const BenchOptions& options = report.options;
  std::string text =
      DescribeSize(options.size.width, options.size.height) + " " + DescribeCode(options.fourcc) +
      ", " + (options.interlaced ? "interlaced" : "progressive") + ", " + options.variant->name +
      ", CPU level " + CpuLevelInUse() + ", " + std::to_string(report.threads) +
      (report.threads == 1 ? " thread" : " threads") + ", median of " + std::to_string(kPasses) +
      " passes over " + DescribeFrames(report) +
      "\n        CPU ms/frame       fps  Mpixel/s  MB/frame  fps of 1 thread  speed-up\n";
  for (const Direction& direction : report.directions) {
    std::array<char, 128> line{};
    const double fps = direction.together.framesPerSecond;
    std::snprintf(line.data(), line.size(), "%s  %12.2f %9.1f %9.1f %9.3f %16.1f %8.2fx\n",
                  direction.name, direction.together.cpuMillisecondsPerFrame, fps,
                  fps * report.MegapixelsPerFrame(), report.megabytesPerFrame,
                  direction.alone.framesPerSecond, SpeedUp(direction));
    text += line.data();
  }
  return text;
}

std::string ToJson(const BenchReport& report) {
  const BenchOptions& options = report.options;
  nlohmann::ordered_json json;
  json["command"] = "bench";
  json["width"] = options.size.width;
  json["height"] = options.size.height;
  json["rawFormat"] = DescribeCode(options.fourcc);
  json["variant"] = options.variant->name;
  json["interlaced"] = options.interlaced;
  json["cpu"] = CpuLevelInUse();
  json["threads"] = report.threads;
  json["frames"] = options.frames;
  json["pictures"] = report.pictures;
  json["passes"] = kPasses;
  for (const Direction& direction : report.directions) {
    const double fps = direction.together.framesPerSecond;
    json[direction.name] = {{"cpuMillisecondsPerFrame", direction.together.cpuMillisecondsPerFrame},
                            {"framesPerSecond", fps},
                            {"megapixelsPerSecond", fps * report.MegapixelsPerFrame()},
                            {"megabytesPerFrame", report.megabytesPerFrame},
                            {"singleThread",
                             {{"cpuMillisecondsPerFrame", direction.alone.cpuMillisecondsPerFrame},
                              {"framesPerSecond", direction.alone.framesPerSecond}}},
                            {"speedUp", SpeedUp(direction)}};
  }
  return json.dump() + "\n";
}

std::string Bench(const BenchOptions& options) {
  const StreamFormat raw = RawFormat(options);
  CheckEncodable(raw, "bench");
  StreamFormat compressed = raw;
  compressed.code = options.variant->code;
  const unsigned threads = ShareThreads(options.threads, std::nullopt).elements;
  const Clip clip = DrawClip(raw, static_cast<std::uint32_t>(options.frames));
  Clip coded{{}, clip.frames};
  double bytes = 0;
  const Direction encoding = Measure("encode", ProResElement::Encoder(*options.variant), raw, clip,
                                     threads, [&](const Picture& frame) {
                                       if (coded.pictures.size() < clip.pictures.size())
                                         coded.pictures.push_back(frame);
                                       bytes += frame->GetSize();
                                     });
  const Direction decoding = Measure("decode", ProResElement::Decoder(options.fourcc, false),
                                     compressed, coded, threads, [](const Picture& /*frame*/) {});
  const BenchReport report{
      options, threads, clip.pictures.size(), bytes / 1e6 / options.frames, {encoding, decoding}};
  return options.json ? ToJson(report) : ToText(report);
}

int RunBench(const BenchOptions& options) {
  SetUpMessages(options);
  if (options.cpu) SetCpuLevel(*options.cpu);
  const auto plugins = LoadProResPlugins(options.plugin);
  for (const std::string& note : FindIgnoredVariables()) PrintNote(note);
  std::fputs(Bench(options).c_str(), stdout);
  return kExitDone;
}

}  // namespace

Command MakeBenchCommand() {
  return BindOptions(DescribeBench, RunBench);
}

}  // namespace vixprores
