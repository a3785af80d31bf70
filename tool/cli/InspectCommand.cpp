// SPDX-License-Identifier: BSD-2-Clause
#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "base/Text.h"
#include "check/Verification.h"
#include "cli/Commands.h"
#include "cli/Options.h"
#include "media/OutputFile.h"
#include "report/InspectionReport.h"
#include "report/Pages.h"
#include "report/Report.h"
#include "run/Host.h"
#include "run/OpenInput.h"

namespace vixprores {
namespace {

struct InspectOptions : HostOptions, PageOptions, ScanOptions {
  std::string input;
  std::optional<FrameRange> frames;
  bool slices = false;
  bool json = false;
};

Command DescribeInspect(InspectOptions& options) {
  Command command;
  command.name = "inspect";
  command.summary = "Show what a video states: headers, sizes and slices of ProRes";
  command.description =
      "Prints what the container and the frame headers state, side by side, and the sizes, "
      "quantisers and faults of the frames. Reads the structure of every frame and decodes no "
      "codewords; 'vixprores verify' does. For other videos and image sequences, prints their "
      "format and labels.";
  command.usages = {"[OPTION]... FILE"};
  command.arguments = {{"FILE", "any video, or an image sequence; - for standard input"}};
  command.takeArguments = TakeWords({"FILE"}, {options.input});
  command.groups = {
      {"Inspection",
       {FramesOption(options.frames),
        Flag("--slices", options.slices, "print a row for each slice of these frames"),
        Flag("--json", options.json, "print everything as one JSON object")}},
      ScanGroup(options),
      {"Page", PageOptionList(options)},
      HostGroup(options),
      LimitsGroup(options.limits)};
  command.examples = {
      {"vixprores inspect input.mov", "Inspect a file."},
      {"vixprores inspect --html report.html input.mov", "Write a page to pass on."}};
  return command;
}

void WritePage(std::unique_ptr<FrameReader> reader, const StreamStatistics& stream,
               const NotableFrames& notable, OutputFile& file) {
  const bool hasAlpha = reader->GetFormat().HasAlpha();
  PictureSource source(std::move(reader), ShareThreads(0, 1), hasAlpha);
  file.Write(AsBytes(InspectionPage(stream, MapFrames(source, notable))));
  file.Commit();
}

std::unique_ptr<FrameReader> Open(const InspectOptions& options) {
  ProResOptions opening = ToProResOptions(options);
  opening.damagedStart = true;
  opening.times = FrameTimes::Evident;
  SequenceReading images;
  images.needsRate = false;
  images.takesLinear = true;
  try {
    if (!options.scan) return OpenVideo(options.input, images, opening);
  } catch (const UnreadableContainer&) {
    // Damaged ProRes has messages of its own.
  }
  return OpenProRes(options.input, opening);
}

void Write(const StreamStatistics& stream, bool asJson) {
  asJson ? WriteInspectionJson(stream, StandardOutput())
         : WriteInspectionText(stream, StandardOutput());
}

// Prints the labels of a video that is not ProRes.
int InspectFootage(const InspectOptions& options, FrameReader& reader) {
  if (options.frames || options.slices || options.page) {
    throw Failure(reader.GetName() +
                  ": is not ProRes; --frames, --slices and --html inspect ProRes frames");
  }
  Write(DescribeInput(reader), options.json);
  return kExitDone;
}

int Inspect(const InspectOptions& options) {
  auto reader = Open(options);
  if (reader->GetFormat().IsRaw()) return InspectFootage(options, *reader);
  std::optional<OutputFile> page;
  if (options.page) RefuseInputAsOutput(*options.page, {options.input});
  if (options.page) page.emplace(*options.page, options.overwrite);
  StreamStatistics stream = DescribeInput(*reader);
  NotableFrames notable;
  try {
    InspectFrames(*reader, options.frames, options.slices, stream, notable);
  } catch (...) {
    // Report what was found so far.
    stream.failure = DescribeException(stream.name);
  }
  stream.note = reader->GetEndNote();
  if (page) WritePage(std::move(reader), stream, notable, *page);
  Write(stream, options.json);
  if (!stream.failure.empty()) PrintError(stream.failure);
  if (!stream.note.empty()) PrintNote(stream.name + ": " + stream.note);
  if (stream.firstUnlisted) {
    PrintNote(stream.name + ": at most " + std::to_string(kMostListedSlices) +
              " slices are listed; those of frame " + std::to_string(*stream.firstUnlisted) +
              " and others are left out. Choose fewer frames with --frames");
  }
  return stream.failure.empty() && stream.faulty == 0 ? kExitDone : kExitFailed;
}

int RunInspect(const InspectOptions& options) {
  SetUpMessages(options);
  // Only the pictures of a page need the plug-in.
  if (!options.page) return Inspect(options);
  return RunWithPlugin(options, options.input, [&options] { return Inspect(options); });
}

}  // namespace

Command MakeInspectCommand() {
  return BindOptions(DescribeInspect, RunInspect);
}

}  // namespace vixprores
