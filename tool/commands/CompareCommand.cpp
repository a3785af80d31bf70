// SPDX-License-Identifier: BSD-2-Clause
#include <cstdio>
#include <optional>
#include <string>

#include "commands/BindOptions.h"
#include "commands/Commands.h"
#include "commands/RunWithPlugin.h"
#include "element/CodecEnvironment.h"
#include "inspection/VideoComparison.h"
#include "report/ComparisonReport.h"

namespace vixprores {
namespace {

struct CompareOptions : HostOptions, MachineOptions {
  std::string reference;
  std::string distorted;
  std::optional<FrameRange> frames;
  bool json = false;
};

Command Describe(CompareOptions& options) {
  Command command;
  command.name = "compare";
  command.summary = "Measure how far a video is from its original (PSNR, SSIM)";
  command.usages = {"[OPTION]... REFERENCE DISTORTED"};
  command.arguments = {{"REFERENCE", "what the pictures should be: ProRes, V210, UYVY or Y4M"},
                       {"DISTORTED", "what they are: one of the same"}};
  command.takeArguments =
      TakeWords({"REFERENCE", "DISTORTED"}, {options.reference, options.distorted});
  command.groups = {{"Comparison",
                     {FramesOption(options.frames),
                      Flag("--json", options.json, "everything as one JSON object")}},
                    MachineGroup(options, options)};
  command.examples = {{"vixprores compare original.mov encoded.mov", "What encoding cost."}};
  return command;
}

int Compare(const CompareOptions& options) {
  VideoComparison videos(options.reference, options.distorted, options.frames, options.threads);
  const Comparison comparison = videos.Run();
  const std::string text = options.json ? ComparisonJson(comparison) : ComparisonText(comparison);
  std::fputs(text.c_str(), stdout);
  return kExitDone;
}

int Run(const CompareOptions& options) {
  SetUpMessages(options);
  if (options.cpu) SetCpuLevel(*options.cpu);
  return RunWithPlugin(options, [&options] { return Compare(options); });
}

}  // namespace

Command MakeCompareCommand() {
  return BindOptions(Describe, Run);
}

}  // namespace vixprores
