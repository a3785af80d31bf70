// SPDX-License-Identifier: BSD-2-Clause
#include <algorithm>
#include <map>
#include <memory>

#include "base/Errors.h"
#include "base/Text.h"
#include "cli/TranscodeOptions.h"
#include "format/OutputFormat.h"
#include "format/StreamFormat.h"

namespace vixprores {
namespace {

// Options of raw frames as given on the command line.
struct RawFrameOptions {
  std::optional<vix::FourCC> fourcc;
  std::optional<std::string> size;
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
  return RawFrameFormat{*options.fourcc, size.width, size.height, *overrides.rate,
                        options.interlaced};
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

// Parses "KEY=VALUE" and adds it. Other options set the texts that are more than texts.
void AddMetadata(Metadata& metadata, const std::string& text) {
  static const std::map<std::string, std::string> kOptions{
      {"timecode", "--timecode"}, {"reel_name", "--reel"}, {"encoder", "--compressor"}};
  const std::size_t sign = text.find('=');
  const std::string key = ToLower(text.substr(0, sign));
  if (sign == std::string::npos || key.empty()) {
    throw UsageError("--metadata: invalid text '" + text + "'; write KEY=VALUE");
  }
  const auto option = kOptions.find(key);
  if (option != kOptions.end()) {
    throw UsageError("--metadata: '" + key + "' has an option of its own; use " + option->second);
  }
  metadata[key] = text.substr(sign + 1);
}

Option TextOption(const std::string& name, Metadata& metadata, const std::string& key,
                  const std::string& brief) {
  return {name, "TEXT", brief, [&metadata, key](const std::string& text) { metadata[key] = text; }};
}

OptionGroup TextsGroup(EncodeOptions& options) {
  Option metadata{"--metadata", "KEY=VALUE", "set a text such as artist, comment or copyright",
                  [&options](const std::string& text) { AddMetadata(options.metadata, text); }};
  metadata.mayRepeat = true;
  metadata.details =
      "May be given several times. Without a VALUE, the text of the input is left out.";
  Option display = Parsed("--mastering-display", "VALUES", options.overrides.masteringDisplay,
                          ParseMasteringDisplay, "G(x,y)B(x,y)R(x,y)WP(x,y)L(max,min) of ST 2086");
  display.details =
      "x and y are in 0.00002, max and min in 0.0001 cd/m2: WP(15635,16450) is D65 and "
      "L(10000000,1) a display of 1000 cd/m2.";
  Option light = Parsed("--content-light", "CLL,FALL", options.overrides.contentLight,
                        ParseContentLight, "MaxCLL and MaxFALL in cd/m2: 1000,400");
  return {
      "Texts and HDR labels (replace those of the input)",
      {TextOption("--title", options.metadata, "title", "title of the movie"),
       TextOption("--reel", options.metadata, "reel_name", "reel name"), metadata, display, light}};
}

OptionGroup LabelsGroup(EncodeOptions& options) {
  StreamOverrides& overrides = options.overrides;
  Option fields = Choice<FieldOrder>("--fields", "ORDER", overrides.fields,
                                     {{"progressive", FieldOrder::Progressive},
                                      {"top", FieldOrder::TopFirst},
                                      {"bottom", FieldOrder::BottomFirst}},
                                     "progressive, top or bottom field first");
  fields.synonyms = FieldSynonyms();
  Option aspect =
      Parsed("--par", "W:H", overrides.sampleAspect, ParseAspect, "pixel aspect, width to height");
  Option rate = RateOption(overrides.rate, "frames per second");
  rate.details +=
      " All frames follow each other at that rate, even if the input has a variable frame rate. "
      "The "
      "sound keeps its length, which may then differ from that of the pictures.";
  Option timecode = Text("--timecode", "HH:MM:SS:FF", options.timecode,
                         "timecode of the first frame; ;FF for drop frame");
  timecode.details =
      "Of image sequences, 'frame' counts from the number of the file, which is 00:00:41:17 for "
      "1001 at 24 frames per second, and 'file' requires the timecode of the first file, which is "
      "also taken without the option.";
  Option compressor = Parsed("--compressor", "NAME", options.compressor, ParseCompressor,
                             "compressor name in the .mov, up to 31 bytes");
  Option vendor = Parsed("--vendor", "CODE", options.vendor, ParseVendor,
                         "vendor code in the .mov, four characters");
  OptionGroup group{"Labels (replace missing or wrong labels of the input)",
                    ColourLabelOptions(overrides)};
  for (Option& option : std::vector{fields, aspect, rate, timecode, compressor, vendor}) {
    group.options.push_back(std::move(option));
  }
  return group;
}

OptionGroup RawFrameGroup(RawFrameOptions& options) {
  return {
      "Raw frames as input (no container)",
      {FourCCOption([&options](vix::FourCC code) { options.fourcc = code; }, ""),
       Text("--size", "WxH", options.size, "size, or a name such as 1080p or uhd; needs --rate"),
       Flag("--interlaced", options.interlaced, "two fields per frame, top field first")}};
}

// Writes down the options of a group as they are given.
OptionGroup Recorded(OptionGroup group, std::vector<GivenOption>& given) {
  for (Option& option : group.options) {
    option.take = [take = std::move(option.take), name = option.name, isFlag = option.value.empty(),
                   &given](const std::string& text) {
      take(text);
      given.push_back({name, isFlag ? std::nullopt : std::optional(text)});
    };
  }
  return group;
}

// Returns the options that determine the frames and the sound of an output, as text.
std::optional<std::string> DescribeFrameOptions(const EncodeOptions& options) {
  // A filter may read files, which can change.
  if (options.footage.filter) return std::nullopt;
  std::string text;
  for (const auto* given : {&options.pictureOptions, &options.soundOptions}) {
    for (const GivenOption& option : *given) {
      text.append(option.name).append("=").append(option.value.value_or("")).append("\n");
    }
  }
  return text;
}

ChunkName ParseChunk(const std::string& text) {
  const std::size_t colon = text.find(':');
  const std::size_t slash = text.find('/');
  if (colon != std::string::npos && slash != std::string::npos && colon > 0 && colon < slash) {
    const auto number = ParseNumber(text.substr(colon + 1, slash - colon - 1), kMostChunks);
    const auto count = ParseNumber(text.substr(slash + 1), kMostChunks);
    if (number && count && *number >= 1 && *number <= *count) {
      return {text.substr(0, colon), static_cast<int>(*number), static_cast<int>(*count)};
    }
  }
  throw UsageError("--chunk: invalid chunk '" + text +
                   "'; write JOB:NUMBER/COUNT, as 'vixprores plan' does");
}

OptionGroup ChunkGroup(std::optional<ChunkName>& chunk) {
  Option option = Parsed("--chunk", "JOB:N/COUNT", chunk, ParseChunk,
                         "encode a part of a job; 'vixprores plan' makes the command");
  option.details =
      "Labels the output as that part, for 'vixprores join', and does nothing if the output is "
      "that part of the unchanged input already. Another file of that name is replaced. Writes "
      "the outcome as JSON beside the output, for 'vixprores status'. Needs --frames and "
      "--no-audio.";
  return {"Part of a job", {option}};
}

Option AlphaOption(std::optional<int>& bits) {
  using Bits = std::optional<int>;
  Option option =
      Choice<Bits>("--alpha", "BITS", bits, {{"none", 0}, {"8", 8}, {"16", 16}, {"auto", Bits()}},
                   "alpha channel of 4444: none, 8, 16 or auto [auto]");
  option.details =
      "auto codes an alpha channel if the input has one. Alpha is lossless with 16 bits; with 8 "
      "bits it is rounded. Only the variants 4444 and 4444xq have alpha.";
  return option;
}

// ProRes has straight colours.
Option PremultiplicationOption(std::string name, bool isPremultiplied,
                               std::optional<bool>& variable, std::string brief) {
  const auto take = [=, &variable](const std::string& /*none*/) {
    if (variable.value_or(isPremultiplied) != isPremultiplied) {
      throw UsageError("--premultiplied and --straight contradict each other; remove one of them");
    }
    variable = isPremultiplied;
  };
  return {std::move(name), {}, std::move(brief), take};
}

void CheckAlpha(const EncodeOptions& options) {
  if (options.alphaBits == 0 && options.premultiplied.value_or(false)) {
    throw UsageError(
        "--premultiplied divides by the alpha that --alpha none leaves out; remove one of them");
  }
}

void CheckVariant(const EncodeOptions& options) {
  if (options.variant->is4444) return;
  const std::string advice = " need --variant 4444 or 4444xq";
  if (options.alphaBits.value_or(0) > 0) throw UsageError("--alpha 8 and 16" + advice);
  if (options.premultiplied) throw UsageError("--premultiplied and --straight" + advice);
  if (options.rawFrames && IsOf4444(options.rawFrames->fourcc)) {
    throw UsageError("raw frames of " + DescribeCode(options.rawFrames->fourcc) + advice +
                     "; convert them to V210 for a 4:2:2 variant");
  }
}

void CheckLuminance(const FootageReading& footage) {
  if (footage.peakLuminance > 0 && !footage.convertColour) {
    throw UsageError("--peak-luminance needs --convert-color, whose white it sets");
  }
}

void CheckChunk(const EncodeOptions& options) {
  if (!options.chunk) return;
  const auto& frames = options.frames;
  const bool isComplete = frames && !frames->IsOpen() && options.noAudio && !options.outputDir;
  if (isComplete && options.onDamage == DamagePolicy::Stop) return;
  throw UsageError(
      "--chunk needs --frames FIRST-LAST, --no-audio and an OUTPUT, without --on-error; 'vixprores "
      "plan' makes the command");
}

}  // namespace

Command DescribeEncode(EncodeOptions& options) {
  // Owned by the command, whose options set its values.
  const auto rawFrames = std::make_shared<RawFrameOptions>();
  Command command;
  command.name = "encode";
  command.summary = "Encode any video to ProRes";
  command.description =
      "Reads any file or pipe of video that the installed libavformat and libavcodec read, and "
      "image sequences (exr, dpx, tif, png, jpg, tga, cin); converts pictures to 4:2:2 of 10 bits "
      "where they are something else, and writes ProRes. Video that is packed 4:2:2 already (V210 "
      "or UYVY) is taken as it is. The variants 4444 and 4444xq have 4:4:4 of 12 bits and may have "
      "an alpha channel; they also take packed Y416 and b64A, and Y4M of 4:4:4, as they are.";
  command.usages = {"[OPTION]... INPUT OUTPUT", "[OPTION]... --output-dir DIR INPUT..."};
  command.arguments = {{"INPUT",
                        "file of video, raw frames, or images as in shot.%04d.exr, shot.####.dpx, "
                        "'shot.*.png' or a folder of them; - for standard input"},
                       {"OUTPUT", ".mov, .mkv or .mxf; - for a .mov on standard output"}};
  command.takeArguments = [&options, rawFrames,
                           take = TakeFiles(options)](const std::vector<std::string>& words) {
    options.nameWords["variant"] = options.variant->option;
    take(words);
    CheckNames(options, [](const std::string& name) { FindProResOutput(name); });
    options.rawFrames = ToRawFrameFormat(*rawFrames, options.overrides);
    options.frameOptions = DescribeFrameOptions(options);
    CheckVariant(options);
    CheckAlpha(options);
    CheckLuminance(options.footage);
    CheckChunk(options);
  };
  const OptionGroup encoding{
      "Encoding",
      {VariantOption(options.variant, "422"), AlphaOption(options.alphaBits),
       PremultiplicationOption("--premultiplied", true, options.premultiplied,
                               "divide the input's colours by its alpha [.exr]"),
       PremultiplicationOption("--straight", false, options.premultiplied,
                               "take the input's colours as they are [others]"),
       Flag("--verify", options.verify, "decode every frame again and compare it"),
       OnErrorOption(options.onDamage)}};
  auto& pictures = options.pictureOptions;
  command.groups = {Recorded(encoding, pictures),
                    Recorded(FootageGroup(options.footage), pictures),
                    Recorded(LabelsGroup(options), pictures),
                    Recorded(TextsGroup(options), pictures),
                    Recorded(SoundGroup(options), options.soundOptions),
                    Recorded(RawFrameGroup(*rawFrames), pictures),
                    Recorded(SequenceInputGroup(options.missing, options.colours), pictures),
                    BatchGroup(options),
                    RunGroup(options),
                    Recorded(MachineGroup(options, options), options.machineOptions),
                    Recorded(LimitsWithOutputGroup(options.limits), options.machineOptions),
                    ChunkGroup(options.chunk)};
  command.examples = {
      {"vixprores encode --variant hq camera.mp4 output.mov", "Encode a file."},
      {"vixprores encode --fourcc UYVY --size 1920x1080 --rate 25 frames.uyvy out.mov",
       "Encode raw frames."},
      {"vixprores encode --rate 24 --timecode frame 'plates/shot.####.dpx' shot.mov",
       "Encode an image sequence."},
      {"vixprores encode --deinterlace frames --scale 1/2 tape.mxf proxy.mov",
       "Make a progressive proxy of half the size."}};
  return command;
}

}  // namespace vixprores
