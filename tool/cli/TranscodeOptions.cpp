// SPDX-License-Identifier: BSD-2-Clause
#include <algorithm>
#include <memory>
#include <sstream>

#include "base/Errors.h"
#include "base/Text.h"
#include "cli/Options.h"
#include "format/OutputFormat.h"
#include "format/StreamFormat.h"
#include "run/Batch.h"

namespace vixprores {
namespace {

constexpr std::int64_t kMostTracks = 1000;
constexpr int kMostJobs = 64;

// Options of raw frames as given on the command line.
struct RawFrameOptions {
  std::optional<std::string> fourcc, size;
  bool interlaced = false;
};

std::optional<RawFrameFormat> ToRawFrameFormat(const RawFrameOptions& options,
                                               const StreamOverrides& overrides) {
  if (!options.fourcc && !options.size && !options.interlaced) return std::nullopt;
  if (!options.fourcc || !options.size || !overrides.rate) {
    throw UsageError(
        "--fourcc, --size and --interlaced are for raw frames, which need --fourcc, --size and "
        "--rate");
  }
  if (options.interlaced && overrides.fields == FieldOrder::Progressive) {
    throw UsageError(
        "--interlaced and --fields progressive contradict each other; remove one of them");
  }
  const PictureSize size = ParsePictureSize(*options.size);
  return RawFrameFormat{ParseFourCC(*options.fourcc), size.width, size.height, *overrides.rate,
                        options.interlaced};
}

Option ColourCodeOption(const std::string& name, ColourProperty property,
                        std::optional<int>& code) {
  Option option{
      name, "NAME", "set this one; names in 'vixprores manual encode'",
      [&code, property](const std::string& text) { code = FindColourCode(property, text); }};
  option.choices = ColourCodeNames(property);
  return option;
}

vix::FourCC ParseVendor(const std::string& text) {
  const bool isPrintable = std::ranges::all_of(text, [](char c) { return c >= ' ' && c <= '~'; });
  if (text.size() != 4 || !isPrintable) {
    throw UsageError("--vendor: invalid code '" + text + "'; write four characters");
  }
  return vix::MakeFourCC({text[0], text[1], text[2], text[3], 0});
}

std::string ParseCompressor(const std::string& text) {
  constexpr std::size_t kMostBytes = 31;  // a Pascal string in 32
  if (text.size() <= kMostBytes) return text;
  throw UsageError("--compressor: '" + text + "' has " + std::to_string(text.size()) +
                   " bytes; the container has room for " + std::to_string(kMostBytes));
}

OptionGroup LabelsGroup(EncodeOptions& options) {
  StreamOverrides& overrides = options.overrides;
  Option colour =
      Parsed("--color", "NAME", overrides.colour, FindColourPreset, JoinWords(ColourPresets()));
  colour.choices = ColourPresets();
  colour.details =
      "Primaries, transfer and matrix are written into the container and into the header of every "
      "frame. What neither the input nor an option states stays unspecified.";
  Option fields = Choice<FieldOrder>("--fields", "ORDER", overrides.fields,
                                     {{"progressive", FieldOrder::Progressive},
                                      {"top", FieldOrder::TopFirst},
                                      {"bottom", FieldOrder::BottomFirst}},
                                     "progressive, top or bottom field first");
  Option aspect =
      Parsed("--par", "W:H", overrides.sampleAspect, ParseAspect, "pixel aspect, width to height");
  Option rate = Parsed("--rate", "N[/D]", overrides.rate, ParseRate, "frames per second");
  rate.details =
      "All frames follow each other at that rate, even if the input has a variable frame rate. The "
      "sound keeps its length, which may then differ from that of the pictures.";
  Option timecode = Text("--timecode", "HH:MM:SS:FF", options.timecode,
                         "timecode of the first input frame; ;FF for drop frame");
  Option compressor = Parsed("--compressor", "NAME", options.compressor, ParseCompressor,
                             "compressor name in the .mov, up to 31 bytes");
  Option vendor = Parsed("--vendor", "CODE", options.vendor, ParseVendor,
                         "vendor code in the .mov, four characters");
  return {"Labels (replace missing or wrong labels of the input)",
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
      throw UsageError("--audio-tracks: invalid list '" + text +
                       "'; write numbers from 1, as in 1,3");
    }
    places.push_back(static_cast<std::size_t>(*number - 1));
  }
  return places;
}

OptionGroup BatchGroup(TranscodeOptions& options) {
  Option folder = Text("--output-dir", "DIR", options.outputDir,
                       "folder of the outputs; existing ones are skipped");
  folder.completion = Completion::Folder;
  folder.details =
      "An output gets its name only when it is complete: run the command again to resume. An "
      "existing output that differs from what would be written (variant, picture size, number of "
      "frames, sound tracks or labels) is an error. --overwrite writes every output again.";
  Option name =
      Text("--name", "PATTERN", options.namePattern, "pattern of the output names [{name}.mov]");
  name.details =
      "{name} stands for the input's name without its extension, {number} for its place, from 1.";
  Option jobs =
      Number("--jobs", options.jobs, 1, kMostJobs, "number of inputs processed in parallel [1]");
  jobs.details =
      "They share the processors, unless --threads sets the threads of each. Frames of one input "
      "are coded in parallel anyway, so this helps if inputs are short or slow to read.";
  return {"Several inputs", {folder, name, jobs}};
}

void CheckTogether(const TranscodeOptions& options) {
  if (options.noAudio && options.audioTracks) {
    throw UsageError("--audio-tracks and --no-audio contradict each other; remove one of them");
  }
  if (options.outputDir) return;
  if (options.namePattern) throw UsageError("--name needs --output-dir");
  if (options.jobs > 1) throw UsageError("--jobs needs --output-dir");
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
  Option tracks = Parsed("--audio-tracks", "LIST", options.audioTracks, ParseTrackList,
                         "copy only these, in this order: 2,1");
  return {"Sound (copied without change)",
          {tracks, Flag("--no-audio", options.noAudio, "write no sound")}};
}

OptionGroup RunGroup(TranscodeOptions& options) {
  using Kind = ProgressKind;
  Option progress = Choice<Kind>("--progress", "KIND", options.progress,
                                 {{"line", Kind::Line}, {"json", Kind::Json}, {"none", Kind::None}},
                                 "print progress as line, json or none [line]");
  return {"Run",
          {FramesOption(options.frames), progress,
           Flag("--overwrite", options.overwrite, "replace an existing output"),
           Flag("--json", options.json, "print the summary as JSON"),
           Flag("--quiet", options.quiet, "print no progress, notes or summary")}};
}

OptionGroup RawFrameGroup(RawFrameOptions& options) {
  Option fourcc = Text("--fourcc", "CODE", options.fourcc, "UYVY (8 bits) or V210 (10 bits)");
  fourcc.choices = {"uyvy", "v210"};
  return {"Raw frames as input (no container)",
          {fourcc, Text("--size", "WxH", options.size, "picture size; needs --rate"),
           Flag("--interlaced", options.interlaced, "two fields per frame, top field first")}};
}

Option OnErrorOption(DamagePolicy& policy) {
  using Policy = DamagePolicy;
  Option option =
      Choice<Policy>("--on-error", "WHAT", policy,
                     {{"stop", Policy::Stop}, {"skip", Policy::Skip}, {"conceal", Policy::Conceal}},
                     "at a damaged frame: stop, skip or conceal [stop]");
  option.details =
      "stop ends the run with exit code 1 and keeps the frames before. skip drops damaged frames; "
      "later frames keep their times if the output has times. conceal fills damaged parts from "
      "their surroundings, and repeats the previous frame (grey, if there is none) for one that "
      "cannot be decoded or is missing. skip and conceal list the damaged frames on standard error "
      "and end with exit code 0.";
  return option;
}

// Rejects names that the format cannot be written to, before any input is read.
template <typename Check>
void CheckNames(const TranscodeOptions& options, const Check& check) {
  if (!options.outputDir) return check(options.output);
  for (const BatchItem& item : NameOutputs(options)) check(item.output);
}

}  // namespace

Command DescribeEncode(EncodeOptions& options) {
  // Owned by the command, whose options set its values.
  const auto rawFrames = std::make_shared<RawFrameOptions>();
  Command command;
  command.name = "encode";
  command.summary = "Encode uncompressed 4:2:2 video to ProRes";
  command.description =
      "Reads a container (mov, avi, mxf, mkv, nut) with V210 or UYVY video, Y4M (4:2:2, 8 or 10 "
      "bits), or raw frames, and writes ProRes.";
  command.usages = {"[OPTION]... INPUT OUTPUT", "[OPTION]... --output-dir DIR INPUT..."};
  command.arguments = {
      {"INPUT", "mov, avi, mxf, mkv, nut, y4m or raw frames; - for standard input"},
      {"OUTPUT", ".mov, .mkv or .mxf; - for a .mov on standard output"}};
  command.takeArguments = [&options, rawFrames,
                           take = TakeFiles(options)](const std::vector<std::string>& words) {
    take(words);
    CheckNames(options, [](const std::string& name) { FindProResOutput(name); });
    options.rawFrames = ToRawFrameFormat(*rawFrames, options.overrides);
  };
  command.groups = {{"Encoding",
                     {VariantOption(options.variant, "422"),
                      Flag("--verify", options.verify, "decode every frame again and compare it")}},
                    LabelsGroup(options),
                    SoundGroup(options),
                    RawFrameGroup(*rawFrames),
                    BatchGroup(options),
                    RunGroup(options),
                    MachineGroup(options, options)};
  command.examples = {
      {"vixprores encode --variant hq input.mov output.mov", "Encode a file."},
      {"vixprores encode --fourcc UYVY --size 1920x1080 --rate 25 frames.uyvy out.mov",
       "Encode raw frames."},
      {"ffmpeg -i in.mp4 -f yuv4mpegpipe -pix_fmt yuv422p10le -strict -1 - | \\\n"
       "      vixprores encode - out.mov",
       "Encode anything that ffmpeg reads."}};
  return command;
}

Command DescribeDecode(DecodeOptions& options) {
  Command command;
  command.name = "decode";
  command.summary = "Decode ProRes to uncompressed 4:2:2 video";
  command.description =
      "Reads a container with a ProRes track and writes a container, Y4M, or raw frames.";
  command.usages = {"[OPTION]... INPUT OUTPUT", "[OPTION]... --output-dir DIR INPUT..."};
  command.arguments = {
      {"INPUT", "container with a ProRes track; - for standard input"},
      {"OUTPUT", ".mov, .avi, .nut, .y4m, or raw frames as .uyvy, .v210, .raw or -"}};
  command.takeArguments = [&options,
                           take = TakeFiles(options)](const std::vector<std::string>& words) {
    take(words);
    CheckNames(options,
               [&options](const std::string& name) { ChooseFourCC(name, options.fourcc); });
  };
  Option fourcc = FourCCOption([&options](vix::FourCC code) { options.fourcc = code; }, "V210");
  fourcc.details = "Without the option, a name that ends in .uyvy selects UYVY.";
  command.groups = {
      {"Decoding",
       {fourcc,
        Flag("--skip-field", options.skipField, "decode only the first field of interlaced frames"),
        OnErrorOption(options.onDamage)}},
      ScanGroup(options),
      SoundGroup(options),
      BatchGroup(options),
      RunGroup(options),
      MachineGroup(options, options)};
  command.examples = {
      {"vixprores decode input.mov output.y4m", "Decode a file."},
      {"vixprores decode --fourcc UYVY --frames 0-99 input.mov - | consumer", "Decode to a pipe."}};
  return command;
}

}  // namespace vixprores
