// SPDX-License-Identifier: BSD-2-Clause
#include "cli/BenchOptions.h"

namespace vixprores {
namespace {

constexpr int kMostFrames = 10000;

}  // namespace

Command DescribeBench(BenchOptions& options) {
  Command command;
  command.name = "bench";
  command.summary = "Measure how fast frames are encoded and decoded in memory";
  command.usages = {"[OPTION]..."};
  command.takeArguments = TakeWords({}, {});
  Option fourcc = FourCCOption(options.fourcc);
  fourcc.brief += "; V210 when not given";
  Option size{"--size", "WxH", "size of the pictures; 1920x1080 when not given",
              [&options](const std::string& text) { options.size = ParsePictureSize(text); }};
  Option frames =
      Number("--frames", options.frames, 1, kMostFrames, "frames of a pass; 24 when not given");
  frames.details = "Of many frames only some are different pictures, 512 MiB at most.";
  command.groups = {{"Pictures",
                     {VariantOption(options.variant, "hq"), fourcc, size,
                      Flag("--interlaced", options.interlaced, "two fields a frame"), frames}},
                    {"Report", {Flag("--json", options.json, "the figures as JSON")}},
                    MachineGroup(options, options)};
  command.examples = {{"vixprores bench --size 3840x2160 --threads 2", "Two threads."}};
  return command;
}

}  // namespace vixprores
