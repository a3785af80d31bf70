// SPDX-License-Identifier: BSD-2-Clause
#include <cstdio>
#include <exception>
#include <optional>
#include <span>
#include <string>
#include <utility>

#include "commands/BindOptions.h"
#include "commands/Commands.h"
#include "commands/Options.h"
#include "inspection/StreamStatistics.h"
#include "io/RangeReader.h"
#include "report/InspectionReport.h"
#include "run/Errors.h"

namespace vixprores {
namespace {

struct InspectOptions : HostOptions {
  std::string input;
  std::optional<FrameRange> frames;
  bool slices = false;
  bool json = false;
};

Command Describe(InspectOptions& options) {
  Command command;
  command.name = "inspect";
  command.summary = "Show what a ProRes file is made of";
  command.usages = {"[OPTION]... FILE"};
  command.arguments = {{"FILE", "container with a ProRes track; - for standard input"}};
  command.takeArguments = TakeWords({"FILE"}, {options.input});
  command.groups = {{"Inspection",
                     {FramesOption(options.frames),
                      Flag("--slices", options.slices, "a row for each slice of these frames"),
                      Flag("--json", options.json, "everything as one JSON object")}},
                    HostGroup(options)};
  command.examples = {{"vixprores inspect input.mov", "A file."}};
  return command;
}

void Inspect(const InspectOptions& options, FrameReader& reader, StreamStatistics& stream) {
  RangeReader frames(reader, options.frames);
  while (const auto frame = frames.Read()) {
    const std::span<const std::uint8_t> bytes(frame->data->GetData(), frame->data->GetSize());
    const FrameStructure structure = ReadFrameStructure(bytes);
    FrameStatistics statistics = MeasureFrame(structure, bytes);
    statistics.number = frame->number;
    statistics.offset = frame->offset;
    if (options.slices) statistics.sliceList = ListSlices(structure);
    AddFrame(stream, structure, std::move(statistics));
  }
}

int Run(const InspectOptions& options) {
  SetUpMessages(options);
  const auto reader = OpenProRes(options.input, false);
  StreamStatistics stream = DescribeInput(*reader);
  try {
    Inspect(options, *reader, stream);
  } catch (const std::exception& error) {
    // What was found up to there is told all the same.
    stream.failure = error.what();
  }
  const std::string text = options.json ? InspectionJson(stream) : InspectionText(stream);
  std::fputs(text.c_str(), stdout);
  if (!stream.failure.empty()) PrintError(stream.failure);
  return stream.failure.empty() && stream.faulty == 0 ? kExitDone : kExitFailed;
}

}  // namespace

Command MakeInspectCommand() {
  return BindOptions(Describe, Run);
}

}  // namespace vixprores
