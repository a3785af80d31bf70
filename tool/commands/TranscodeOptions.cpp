// SPDX-License-Identifier: BSD-2-Clause
#include "commands/TranscodeOptions.h"

#include <memory>

#include "run/Errors.h"

namespace vixprores {
namespace {

// The options of a headless input as they stand on the command line.
struct HeadlessOptions {
  std::optional<std::string> fourcc, size, rate;
  bool interlaced = false;
};

std::optional<HeadlessFormat> ToHeadlessFormat(const HeadlessOptions& options) {
  if (!options.fourcc && !options.size && !options.rate && !options.interlaced) return std::nullopt;
  if (!options.fourcc || !options.size || !options.rate) {
    throw UsageError(
        "headless frames need all three of --fourcc, --size and --rate; other inputs "
        "none of them, nor --interlaced");
  }
  const PictureSize size = ParsePictureSize(*options.size);
  return HeadlessFormat{ParseFourCC(*options.fourcc), size.width, size.height,
                        ParseRate(*options.rate), options.interlaced};
}

OptionGroup RunGroup(TranscodeOptions& options) {
  Option frames{"--frames", "FIRST-LAST", "only these frames, from 0 on, both included",
                [&options](const std::string& text) { options.frames = ParseFrameRange(text); }};
  return {"Run",
          {frames, Flag("--overwrite", options.overwrite, "replace an existing output"),
           Flag("--json", options.json, "the summary as JSON"),
           Flag("--quiet", options.quiet, "no progress, notes or summary")}};
}

OptionGroup HeadlessGroup(HeadlessOptions& options) {
  Option fourcc = Text("--fourcc", "CODE", options.fourcc, "UYVY (8 bits) or V210 (10 bits)");
  fourcc.choices = {"uyvy", "v210"};
  return {"Headless input (frames and nothing else)",
          {fourcc, Text("--size", "WxH", options.size, "size of the pictures"),
           Text("--rate", "N[/D]", options.rate, "frames per second"),
           Flag("--interlaced", options.interlaced, "two fields a frame, top field first")}};
}

}  // namespace

Command DescribeEncode(EncodeOptions& options) {
  // Kept by the command, whose options fill it.
  const auto headless = std::make_shared<HeadlessOptions>();
  Command command;
  command.name = "encode";
  command.summary = "Encode uncompressed 4:2:2 video to ProRes";
  command.description =
      "Reads a container (mov, avi, mxf, mkv, nut) with V210 or UYVY video, Y4M (4:2:2, 8 or 10 "
      "bits), or headless frames, and writes ProRes.";
  command.usages = {"[OPTION]... INPUT OUTPUT"};
  command.arguments = {{"INPUT", "mov, avi, mxf, mkv, nut, y4m or frames; - for standard input"},
                       {"OUTPUT", "name that ends in .mov, .mkv or .mxf"}};
  command.takeArguments = [&options, headless,
                           take = TakeWords({"INPUT", "OUTPUT"}, {options.input, options.output})](
                              const std::vector<std::string>& words) {
    take(words);
    options.headless = ToHeadlessFormat(*headless);
  };
  command.groups = {{"Encoding", {VariantOption(options.variant, "422")}},
                    HeadlessGroup(*headless),
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
  command.usages = {"[OPTION]... INPUT OUTPUT"};
  command.arguments = {
      {"INPUT", "container with a ProRes track; - for standard input"},
      {"OUTPUT", "name that ends in .mov, .avi, .nut or .y4m; else headless frames"}};
  command.takeArguments = TakeWords({"INPUT", "OUTPUT"}, {options.input, options.output});
  Option fourcc = FourCCOption(options.fourcc);
  fourcc.brief += "; V210 when not given";
  command.groups = {{"Decoding",
                     {fourcc, Flag("--skip-field", options.skipField,
                                   "only the first field of interlaced frames")}},
                    RunGroup(options),
                    MachineGroup(options, options)};
  command.examples = {
      {"vixprores decode input.mov output.y4m", "A file."},
      {"vixprores decode --fourcc UYVY --frames 0-99 input.mov - | consumer", "A pipe."}};
  return command;
}

}  // namespace vixprores
