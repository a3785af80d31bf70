// SPDX-License-Identifier: BSD-2-Clause
#include <utility>

#include "base/Errors.h"
#include "base/Text.h"
#include "cli/Commands.h"
#include "cli/TranscodeOptions.h"
#include "format/OutputFormat.h"
#include "report/Report.h"
#include "run/Batch.h"
#include "run/Copy.h"
#include "run/Host.h"
#include "run/Relabel.h"

namespace vixprores {
namespace {

void CheckRange(const CopyOptions& options) {
  const bool hasTimecodes = options.from || options.to;
  if (hasTimecodes && options.frames) {
    throw UsageError("--frames and --from or --to contradict each other; remove one of them");
  }
  if ((hasTimecodes || options.frames) && options.sources.size() > 1) {
    throw UsageError("--frames, --from and --to are for one input; cut the inputs first");
  }
}

void CheckInPlace(const CopyOptions& options, const std::vector<std::string>& words) {
  if (words.size() != 1 || !options.output.empty())
    throw UsageError("--in-place changes one FILE and takes no OUTPUT");
  const std::pair<const char*, bool> others[] = {
      {"--frames", options.frames.has_value()},
      {"--from", options.from.has_value()},
      {"--to", options.to.has_value()},
      {"--fields", options.labels.fields.has_value()},
      {"--audio-tracks", options.audioTracks.has_value()},
      {"--no-audio", options.noAudio},
      {"--audio-file", options.audioFile.has_value()},
      {"--add-audio-file", !options.addedAudioFiles.empty()},
      {"--on-error", options.onDamage != DamagePolicy::Stop},
  };
  for (const auto& [name, isGiven] : others) {
    if (isGiven) {
      throw UsageError(std::string(name) + " needs an OUTPUT; leave out --in-place");
    }
  }
}

void TakeNames(CopyOptions& options, const std::vector<std::string>& words) {
  if (options.inPlace) {
    CheckInPlace(options, words);
    options.input = options.output = words.front();
    return;
  }
  const bool isNamed = !options.output.empty();
  if (words.empty()) throw UsageError("INPUT is missing");
  if (words.size() == 1 && !isNamed) throw UsageError("OUTPUT is missing");
  RefuseEmptyNames("INPUT", words);
  if (!isNamed) options.output = words.back();
  options.sources.assign(words.begin(), words.end() - (isNamed ? 0 : 1));
  options.input = options.sources.front();
  FindProResOutput(options.output);
  CheckSoundOptions(options);
  CheckRange(options);
}

OptionGroup PartGroup(CopyOptions& options) {
  Option from = Text("--from", "TIMECODE", options.from, "from the frame with this timecode on");
  Option to = Text("--to", "TIMECODE", options.to, "to the frame with this timecode");
  to.details = "The frames at both ends are copied. Timecodes are those of the input.";
  return {"Part of one input", {FramesOption(options.frames), from, to}};
}

OptionGroup CopyLabelsGroup(CopyOptions& options) {
  StreamOverrides& labels = options.labels;
  Option fields =
      Choice<FieldOrder>("--fields", "ORDER", labels.fields,
                         {{"top", FieldOrder::TopFirst}, {"bottom", FieldOrder::BottomFirst}},
                         "top or bottom field first, for interlaced frames");
  fields.synonyms = FieldSynonyms();
  fields.details =
      "Exchanges the two fields in each frame, so that every line stays in its place and the other "
      "field is shown first. Progressive frames cannot become interlaced, nor the other way round.";
  Option timecode = Text("--timecode", "HH:MM:SS:FF", options.timecode,
                         "timecode of the first frame; ;FF for drop frame");
  Option inPlace = Flag("--in-place", options.inPlace, "correct labels in the file itself, a .mov");
  inPlace.details =
      "Writes only the bytes of labels and the movie header; all frames are read if their headers "
      "change, to renew checksums. Until everything is on the disk, 'FILE.undo' holds what was "
      "overwritten: run the command again after an interruption, and it restores the file first.";
  OptionGroup group{"Labels (in the container and in the header of every frame)", {inPlace}};
  std::ranges::move(ColourLabelOptions(labels), std::back_inserter(group.options));
  std::ranges::move(std::vector<Option>{fields,
                                        Parsed("--par", "W:H", labels.sampleAspect, ParseAspect,
                                               "pixel aspect, width to height"),
                                        timecode, Text("--reel", "NAME", options.reel, "reel name"),
                                        Text("--title", "TEXT", options.title, "title")},
                    std::back_inserter(group.options));
  return group;
}

OptionGroup CopyRunGroup(CopyOptions& options) {
  using Policy = DamagePolicy;
  Option onError = Choice<Policy>("--on-error", "WHAT", options.onDamage,
                                  {{"stop", Policy::Stop}, {"skip", Policy::Skip}},
                                  "at a damaged frame: stop or skip [stop]");
  onError.details =
      "stop ends the run with exit code 1 and keeps the frames before. skip leaves damaged frames "
      "out, lists them on standard error and ends with exit code 0; later frames keep their times.";
  OptionGroup group = RunGroup(options);
  // The range has a group of its own.
  std::erase_if(group.options, [](const Option& option) { return option.name == "--frames"; });
  group.options.insert(group.options.begin(), onError);
  return group;
}

Command DescribeCopy(CopyOptions& options) {
  Command command;
  command.name = "copy";
  command.summary = "Cut, join, rewrap or relabel ProRes without encoding it again";
  command.description =
      "Copy ProRes frames bit for bit, from one input or from several, which are joined in their "
      "order. All inputs must have the same size, variant, frame rate, field order, colour and "
      "sound tracks.\n\n"
      "The timecode of the output follows the first frame that is copied; notes list the inputs "
      "whose timecode does not follow on. PCM sound is cut and joined to the sample. Compressed "
      "sound is cut and joined at packets: a .mov hides the part of a packet outside of the range, "
      "for other outputs a note states the difference. Sound that is shorter than its pictures is "
      "filled up with silence where another input follows.\n\n"
      "Label options correct wrong labels. They change bytes of frame headers, never the coded "
      "picture.";
  command.usages = {"[OPTION]... INPUT... OUTPUT", "--in-place [LABEL]... FILE"};
  command.arguments = {{"INPUT", "container with a ProRes track; - for standard input"},
                       {"OUTPUT", ".mov, .mkv or .mxf; - for a .mov on standard output"}};
  command.takeArguments = [&options](const std::vector<std::string>& words) {
    TakeNames(options, words);
  };
  command.groups = {PartGroup(options), CopyLabelsGroup(options), CopiedSoundGroup(options),
                    CopyRunGroup(options), LimitsWithOutputGroup(options.limits)};
  command.examples = {
      {"vixprores copy --from 10:00:10:00 --to 10:00:19:24 input.mov part.mov", "Cut ten seconds."},
      {"vixprores copy reel1.mov reel2.mov reel3.mov joined.mov", "Join three files."},
      {"vixprores copy --fields top input.mov output.mov", "Correct the field order."},
      {"vixprores copy --in-place --color bt709 input.mov", "Correct labels without a copy."}};
  return command;
}

int RunCopy(const CopyOptions& options) {
  SetUpMessages(options);
  RunReporter reporter(options);
  const RunReport report = RunReporting(
      "copy", {options.input, options.output}, 0, [&](const BatchItem& /*item*/, RunReport& copy) {
        options.inPlace ? RelabelInPlace(options, copy, reporter) : Copy(options, copy, reporter);
      });
  reporter.ReportEnd(report);
  return report.status == RunReport::Status::Done ? kExitDone : kExitFailed;
}

}  // namespace

Command MakeCopyCommand() {
  return BindOptions(DescribeCopy, RunCopy);
}

}  // namespace vixprores
