// SPDX-License-Identifier: BSD-2-Clause
#include <algorithm>
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
  colour.aliases = {"--colour"};
  colour.synonyms = {{"rec709", "bt709"},         {"rec601-525", "bt601-525"},
                     {"rec601-625", "bt601-625"}, {"rec2020", "bt2020"},
                     {"rec2100-pq", "bt2020-pq"}, {"rec2100-hlg", "bt2020-hlg"},
                     {"rec2020-pq", "bt2020-pq"}, {"rec2020-hlg", "bt2020-hlg"}};
  colour.details =
      "Primaries, transfer and matrix are written into the container and into the header of every "
      "frame. What neither the input nor an option states stays unspecified.";
  Option fields = Choice<FieldOrder>("--fields", "ORDER", overrides.fields,
                                     {{"progressive", FieldOrder::Progressive},
                                      {"top", FieldOrder::TopFirst},
                                      {"bottom", FieldOrder::BottomFirst}},
                                     "progressive, top or bottom field first");
  fields.synonyms = {{"tff", "top"}, {"bff", "bottom"}};
  Option aspect =
      Parsed("--par", "W:H", overrides.sampleAspect, ParseAspect, "pixel aspect, width to height");
  Option rate = RateOption(overrides.rate, "frames per second");
  rate.details +=
      " All frames follow each other at that rate, even if the input has a variable frame rate. "
      "The "
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

OptionGroup RawFrameGroup(RawFrameOptions& options) {
  Option fourcc = Text("--fourcc", "CODE", options.fourcc, "UYVY (8 bits) or V210 (10 bits)");
  fourcc.choices = {"uyvy", "v210"};
  return {"Raw frames as input (no container)",
          {fourcc,
           Text("--size", "WxH", options.size,
                "picture size, or a name such as 1080p or uhd; needs --rate"),
           Flag("--interlaced", options.interlaced, "two fields per frame, top field first")}};
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

}  // namespace vixprores
