// SPDX-License-Identifier: BSD-2-Clause
#include <algorithm>
#include <memory>
#include <sstream>

#include "base/Errors.h"
#include "base/Text.h"
#include "cli/Options.h"
#include "format/ColourNames.h"
#include "format/OutputFormat.h"
#include "run/Batch.h"

namespace vixprores {
namespace {

constexpr std::int64_t kMostTracks = 1000;
constexpr int kMostJobs = 64;

// Options of raw frames as given on the command line.
struct HeadlessOptions {
  std::optional<std::string> fourcc, size;
  bool interlaced = false;
};

std::optional<HeadlessFormat> ToHeadlessFormat(const HeadlessOptions& options,
                                               const StreamOverrides& overrides) {
  if (!options.fourcc && !options.size && !options.interlaced) return std::nullopt;
  if (!options.fourcc || !options.size || !overrides.rate) {
    throw UsageError(
        "headless frames need all three of --fourcc, --size and --rate; other inputs "
        "neither of the first two, nor --interlaced");
  }
  const PictureSize size = ParsePictureSize(*options.size);
  return HeadlessFormat{ParseFourCC(*options.fourcc), size.width, size.height, *overrides.rate,
                        options.interlaced};
}

Option ColourCodeOption(const std::string& name, ColourProperty property,
                        std::optional<int>& code) {
  Option option{
      name, "NAME", "this alone; 'vixprores manual encode' lists them",
      [&code, property](const std::string& text) { code = FindColourCode(property, text); }};
  option.choices = ColourCodeNames(property);
  return option;
}

FieldOrder ParseFieldOrder(const std::string& text) {
  if (text == "progressive") return FieldOrder::Progressive;
  return text == "top" ? FieldOrder::TopFirst : FieldOrder::BottomFirst;
}

vix::FourCC ParseVendor(const std::string& text) {
  const bool isPrintable = std::ranges::all_of(text, [](char c) { return c >= ' ' && c <= '~'; });
  if (text.size() != 4 || !isPrintable) {
    throw UsageError("'" + text + "' is no vendor code; write four characters");
  }
  return vix::MakeFourCC({text[0], text[1], text[2], text[3], 0});
}

std::string ParseCompressor(const std::string& text) {
  constexpr std::size_t kMostBytes = 31;  // a Pascal string in 32
  if (text.size() <= kMostBytes) return text;
  throw UsageError("--compressor '" + text + "' has " + std::to_string(text.size()) +
                   " bytes; the description has room for " + std::to_string(kMostBytes));
}

OptionGroup LabelsGroup(EncodeOptions& options) {
  StreamOverrides& overrides = options.overrides;
  Option colour{
      "--color", "NAME", JoinWords(ColourPresets()),
      [&overrides](const std::string& name) { overrides.colour = FindColourPreset(name); }};
  colour.choices = ColourPresets();
  colour.details =
      "Primaries, transfer and matrix are written into the container and into the header of every "
      "frame. What neither the input nor an option tells stays unspecified.";
  Option fields{
      "--fields", "ORDER", "progressive, top or bottom (first)",
      [&overrides](const std::string& text) { overrides.fields = ParseFieldOrder(text); }};
  fields.choices = {"progressive", "top", "bottom"};
  Option aspect{
      "--par", "W:H", "width to height of a pixel",
      [&overrides](const std::string& text) { overrides.sampleAspect = ParseAspect(text); }};
  Option rate{"--rate", "N[/D]", "frames per second",
              [&overrides](const std::string& text) { overrides.rate = ParseRate(text); }};
  rate.details =
      "All frames follow each other at that rate, also those of an input with a variable frame "
      "rate. "
      "The sound stays as it is: its length may no longer fit theirs.";
  Option timecode = Text("--timecode", "HH:MM:SS:FF", options.timecode,
                         "of the input's first frame; ;FF for drop frame");
  Option compressor{
      "--compressor", "NAME", "in the .mov's description, up to 31 characters",
      [&options](const std::string& text) { options.compressor = ParseCompressor(text); }};
  Option vendor{"--vendor", "CODE", "four characters, as well",
                [&options](const std::string& text) { options.vendor = ParseVendor(text); }};
  return {"Labels (where the input tells none, or wrong ones)",
          {colour, ColourCodeOption("--primaries", ColourProperty::Primaries, overrides.primaries),
           ColourCodeOption("--transfer", ColourProperty::Transfer, overrides.transfer),
           ColourCodeOption("--matrix", ColourProperty::Matrix, overrides.matrix), fields, aspect,
           rate, timecode, compressor, vendor}};
}

// Parses a list like "1,3": numbers from 1, each once.
std::vector<std::size_t> ParseTrackList(const std::string& text) {
  std::vector<std::size_t> places;
  std::istringstream words(text + ",");
  for (std::string word; std::getline(words, word, ',');) {
    const auto number = ParseNumber(word, kMostTracks);
    const bool isNew = number && std::ranges::find(places, *number - 1) == places.end();
    if (!number || *number == 0 || !isNew) {
      throw UsageError("'" + text +
                       "' is no list of sound tracks; write numbers from 1, as in 1,3");
    }
    places.push_back(static_cast<std::size_t>(*number - 1));
  }
  return places;
}

OptionGroup BatchGroup(TranscodeOptions& options) {
  Option folder =
      Text("--output-dir", "DIR", options.outputDir, "where they go; what is there is not redone");
  folder.completion = Completion::Folder;
  folder.details =
      "An output has its name only once it is complete, so that a run that was stopped is gone on "
      "with by giving it again. What is there and is something else (another variant, picture "
      "size, "
      "number of frames, sound tracks or labels) is a failure. --overwrite makes all anew.";
  Option name =
      Text("--name", "PATTERN", options.namePattern, "of their names; {name}.mov when not given");
  name.details =
      "{name} stands for the input's name without its extension, {number} for its place, from 1.";
  Option jobs = Number("--jobs", options.jobs, 1, kMostJobs, "inputs side by side");
  jobs.details =
      "They share the processors, unless --threads gives the threads of each. As frames of one "
      "input "
      "are worked on side by side already, this pays where inputs are short or slow to read.";
  return {"Several inputs", {folder, name, jobs}};
}

void CheckTogether(const TranscodeOptions& options) {
  if (options.noAudio && options.audioTracks) {
    throw UsageError("--audio-tracks and --no-audio contradict each other; leave out one of them");
  }
  if (options.outputDir) return;
  if (options.namePattern) throw UsageError("--name is for --output-dir, which is missing");
  if (options.jobs > 1) throw UsageError("--jobs is for --output-dir, which is missing");
}

// Returns a function that takes two names, or any number of inputs if there is an output folder.
std::function<void(const std::vector<std::string>&)> TakeFiles(TranscodeOptions& options) {
  return [&options, take = TakeWords({"INPUT", "OUTPUT"}, {options.input, options.output})](
             const std::vector<std::string>& words) {
    CheckTogether(options);
    if (!options.outputDir) return take(words);
    RefuseEmptyNames("INPUT", words);
    options.inputs = words;
    options.isOfMany = true;
  };
}

OptionGroup SoundGroup(TranscodeOptions& options) {
  Option tracks{
      "--audio-tracks", "LIST", "only these, in this order: 2,1",
      [&options](const std::string& text) { options.audioTracks = ParseTrackList(text); }};
  return {"Sound (copied as it is)",
          {tracks, Flag("--no-audio", options.noAudio, "without sound")}};
}

ProgressKind ParseProgressKind(const std::string& text) {
  if (text == "json") return ProgressKind::Json;
  return text == "line" ? ProgressKind::Line : ProgressKind::None;
}

OptionGroup RunGroup(TranscodeOptions& options) {
  Option progress{
      "--progress", "KIND", "line, json (lines on standard error) or none",
      [&options](const std::string& text) { options.progress = ParseProgressKind(text); }};
  progress.choices = {"line", "json", "none"};
  return {"Run",
          {FramesOption(options.frames), progress,
           Flag("--overwrite", options.overwrite, "replace an existing output"),
           Flag("--json", options.json, "the summary as JSON"),
           Flag("--quiet", options.quiet, "no progress, notes or summary")}};
}

OptionGroup HeadlessGroup(HeadlessOptions& options) {
  Option fourcc = Text("--fourcc", "CODE", options.fourcc, "UYVY (8 bits) or V210 (10 bits)");
  fourcc.choices = {"uyvy", "v210"};
  return {
      "Headless input (frames and nothing else)",
      {fourcc, Text("--size", "WxH", options.size, "size of the pictures; --rate is needed too"),
       Flag("--interlaced", options.interlaced, "two fields a frame, top field first")}};
}

DamagePolicy ParseDamagePolicy(const std::string& text) {
  if (text == "skip") return DamagePolicy::Skip;
  return text == "conceal" ? DamagePolicy::Conceal : DamagePolicy::Stop;
}

Option OnErrorOption(DamagePolicy& policy) {
  Option option{"--on-error", "WHAT", "at a damaged frame: stop (the standard), skip or conceal",
                [&policy](const std::string& text) { policy = ParseDamagePolicy(text); }};
  option.choices = {"stop", "skip", "conceal"};
  option.details =
      "stop ends the run with exit code 1 and keeps the frames before. skip leaves damaged frames "
      "out; the ones behind keep their times, where the output has times. conceal fills damaged "
      "parts from their surroundings, and writes the frame before (grey, where there is none) in "
      "place of one that cannot be decoded or is missing. The last two list the damaged frames on "
      "standard error and end with exit code 0.";
  return option;
}

// Rejects names that ProRes cannot be written to, before any input is read.
void CheckNames(const EncodeOptions& options) {
  if (!options.outputDir) return;
  for (const BatchItem& item : NameOutputs(options)) FindProResOutput(item.output);
}

}  // namespace

Command DescribeEncode(EncodeOptions& options) {
  // Owned by the command, whose options set its values.
  const auto headless = std::make_shared<HeadlessOptions>();
  Command command;
  command.name = "encode";
  command.summary = "Encode uncompressed 4:2:2 video to ProRes";
  command.description =
      "Reads a container (mov, avi, mxf, mkv, nut) with V210 or UYVY video, Y4M (4:2:2, 8 or 10 "
      "bits), or headless frames, and writes ProRes.";
  command.usages = {"[OPTION]... INPUT OUTPUT", "[OPTION]... --output-dir DIR INPUT..."};
  command.arguments = {
      {"INPUT", "mov, avi, mxf, mkv, nut, y4m or frames; - for standard input"},
      {"OUTPUT", "name that ends in .mov, .mkv or .mxf; - for a .mov on standard output"}};
  command.takeArguments = [&options, headless,
                           take = TakeFiles(options)](const std::vector<std::string>& words) {
    take(words);
    CheckNames(options);
    options.headless = ToHeadlessFormat(*headless, options.overrides);
  };
  command.groups = {{"Encoding",
                     {VariantOption(options.variant, "422"),
                      Flag("--verify", options.verify, "decode each frame again and compare")}},
                    LabelsGroup(options),
                    SoundGroup(options),
                    HeadlessGroup(*headless),
                    BatchGroup(options),
                    RunGroup(options),
                    MachineGroup(options, options)};
  command.examples = {
      {"vixprores encode --variant hq input.mov output.mov", "A file."},
      {"vixprores encode --fourcc UYVY --size 1920x1080 --rate 25 frames.uyvy out.mov",
       "Headless frames."},
      {"ffmpeg -i in.mp4 -f yuv4mpegpipe -pix_fmt yuv422p10le -strict -1 - | \\\n"
       "      vixprores encode - out.mov",
       "Anything that ffmpeg reads."}};
  return command;
}

Command DescribeDecode(DecodeOptions& options) {
  Command command;
  command.name = "decode";
  command.summary = "Decode ProRes to uncompressed 4:2:2 video";
  command.description =
      "Reads a container with a ProRes track and writes a container, Y4M, or headless frames.";
  command.usages = {"[OPTION]... INPUT OUTPUT", "[OPTION]... --output-dir DIR INPUT..."};
  command.arguments = {
      {"INPUT", "container with a ProRes track; - for standard input"},
      {"OUTPUT", "name that ends in .mov, .avi, .nut or .y4m; else headless frames"}};
  command.takeArguments = TakeFiles(options);
  Option fourcc = FourCCOption(options.fourcc);
  fourcc.brief += "; V210 when not given";
  command.groups = {
      {"Decoding",
       {fourcc,
        Flag("--skip-field", options.skipField, "only the first field of interlaced frames"),
        OnErrorOption(options.onDamage)}},
      ScanGroup(options),
      SoundGroup(options),
      BatchGroup(options),
      RunGroup(options),
      MachineGroup(options, options)};
  command.examples = {
      {"vixprores decode input.mov output.y4m", "A file."},
      {"vixprores decode --fourcc UYVY --frames 0-99 input.mov - | consumer", "A pipe."}};
  return command;
}

}  // namespace vixprores
