// SPDX-License-Identifier: BSD-2-Clause
#include <cstdio>
#include <optional>
#include <string>
#include <vector>

#include "base/Text.h"
#include "check/OffsetSearch.h"
#include "check/VideoComparison.h"
#include "cli/Commands.h"
#include "cli/Options.h"
#include "media/OutputFile.h"
#include "report/ComparisonReport.h"
#include "report/Pages.h"
#include "run/Host.h"

namespace vixprores {
namespace {

struct CompareOptions : HostOptions, MachineOptions, PageOptions, ImageOptions {
  std::string reference;
  std::string distorted;
  std::optional<FrameRange> frames;
  std::int64_t offset = 0;
  bool json = false;
};

std::int64_t ParseOffset(const std::string& text) {
  constexpr std::int64_t kMost = 1'000'000'000;
  const bool isNegative = text.starts_with("-");
  const auto frames = ParseNumber(text.substr(isNegative ? 1 : 0), kMost);
  if (!frames) {
    throw UsageError("--offset: invalid number '" + text + "'; write frames such as 3 or -3");
  }
  return isNegative ? -*frames : *frames;
}

Option OffsetOption(std::int64_t& offset) {
  Option option = Parsed("--offset", "N", offset, ParseOffset,
                         "frames that DISTORTED is later; may be negative [0]");
  option.details =
      "Compares frame 0 of REFERENCE with frame N of DISTORTED, up to the end of either. --frames "
      "counts the frames of REFERENCE. If no picture matches, a note suggests the offset, up to 50 "
      "frames, that does.";
  return option;
}

Command DescribeCompare(CompareOptions& options) {
  Command command;
  command.name = "compare";
  command.summary = "Measure the quality of a video against its original (PSNR, SSIM)";
  command.description =
      "Decodes both videos frame by frame and prints PSNR and SSIM of each plane and the worst "
      "frames. Compares 4:2:2 in the depth of the samples; if one video has 4:4:4, more than 10 "
      "bits or alpha, both as 4:4:4 in 12 bits, with the alpha that both have. Lists frames with "
      "concealed slices, which do not change the exit code; a frame that "
      "cannot be decoded ends the command with exit code 1.";
  command.usages = {"[OPTION]... REFERENCE DISTORTED"};
  command.arguments = {{"REFERENCE", "original: any video, or an image sequence"},
                       {"DISTORTED", "video to measure: one of the same"}};
  command.takeArguments =
      TakeWords({"REFERENCE", "DISTORTED"}, {options.reference, options.distorted});
  command.groups = {{"Comparison",
                     {FramesOption(options.frames), OffsetOption(options.offset),
                      Flag("--json", options.json, "print everything as one JSON object")}},
                    SequenceInputGroup(options.missing, options.colours),
                    {"Page", PageOptionList(options)},
                    MachineGroup(options, options),
                    LimitsGroup(options.limits)};
  command.examples = {{"vixprores compare original.mov encoded.mov", "Measure what encoding cost."},
                      {"vixprores compare --html quality.html original.mov encoded.mov",
                       "Write a page to pass on."}};
  return command;
}

std::string MakePage(VideoComparison& videos, const Comparison& comparison) {
  std::optional<WorstPictures> worst;
  std::vector<MappedFrame> mapped;
  PictureSource& distorted = videos.GetDistorted();
  if (const auto& pair = videos.GetWorst()) {
    worst = DrawWorst(videos.GetReference(), distorted, *pair);
    if (distorted.IsProRes()) {
      mapped.push_back(MapFrame(distorted, pair->distorted, "Worst frame"));
    }
  }
  return ComparisonPage(comparison, worst, mapped, FindTargetBytes(distorted.GetStreamFormat()));
}

ComparedInputs InputsOf(const CompareOptions& options) {
  return {options.reference, options.distorted, ToSequenceReading(options)};
}

void SuggestOffset(const CompareOptions& options, const Comparison& comparison) {
  const std::int64_t first =
      comparison.frames.front().number - comparison.firstNumber - comparison.offset;
  const auto offset = FindOffset(InputsOf(options), first, options.threads);
  if (!offset || *offset == options.offset) return;
  PrintNote(options.distorted + ": hardly matches " + options.reference +
            "; most similar with --offset " + std::to_string(*offset));
}

void NoteAlphaLeftOut(const Comparison& comparison) {
  const ComparedVideo* const video = comparison.FindAlphaLeftOut();
  if (!video) return;
  const bool isReference = video == &comparison.reference;
  const ComparedVideo& other = isReference ? comparison.distorted : comparison.reference;
  PrintNote(video->name + ": its alpha channel is not compared, because " + other.name +
            " has none");
}

int Compare(const CompareOptions& options) {
  VideoComparison videos(InputsOf(options), options.frames, options.offset, options.threads);
  std::optional<OutputFile> page;
  if (options.page) RefuseInputAsOutput(*options.page, {options.reference, options.distorted});
  if (options.page) page.emplace(*options.page, options.overwrite);
  const Comparison comparison = videos.Run();
  if (page) {
    page->Write(AsBytes(MakePage(videos, comparison)));
    page->Commit();
  }
  if (options.json) {
    WriteComparisonJson(comparison, StandardOutput());
  } else {
    StandardOutput()(ComparisonText(comparison));
  }
  NoteAlphaLeftOut(comparison);
  if (comparison.IsUnrelated()) SuggestOffset(options, comparison);
  return kExitDone;
}

int RunCompare(const CompareOptions& options) {
  SetUpMessages(options);
  if (options.cpu) SetCpuLevel(*options.cpu);
  return RunWithPlugin(options, options.reference + " and " + options.distorted,
                       [&options] { return Compare(options); });
}

}  // namespace

Command MakeCompareCommand() {
  return BindOptions(DescribeCompare, RunCompare);
}

}  // namespace vixprores
