// SPDX-License-Identifier: BSD-2-Clause
#include "cli/BenchOptions.h"

namespace vixprores {
namespace {

constexpr int kMostFrames = 10000;

}  // namespace

Command DescribeBench(BenchOptions& options) {
  Command command;
  command.name = "bench";
  command.summary = "Measure the speed of encoding and decoding in memory";
  command.usages = {"[OPTION]..."};
  command.takeArguments = TakeWords({}, {});
  Option fourcc = FourCCOption(options.fourcc);
  fourcc.brief += " [V210]";
  Option size{"--size", "WxH", "picture size [1920x1080]",
              [&options](const std::string& text) { options.size = ParsePictureSize(text); }};
  Option frames = Number("--frames", options.frames, 1, kMostFrames, "frames per pass [24]");
  frames.details = "The pictures take at most 512 MiB; longer clips repeat them.";
  command.groups = {{"Pictures",
                     {VariantOption(options.variant, "hq"), fourcc, size,
                      Flag("--interlaced", options.interlaced, "two fields per frame"), frames}},
                    {"Report", {Flag("--json", options.json, "print the figures as JSON")}},
                    MachineGroup(options, options)};
  command.examples = {
      {"vixprores bench --size 3840x2160 --threads 2", "Measure UHD with two threads."}};
  return command;
}

}  // namespace vixprores
