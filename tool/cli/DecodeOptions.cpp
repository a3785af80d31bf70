// SPDX-License-Identifier: BSD-2-Clause
#include "base/Errors.h"
#include "cli/TranscodeOptions.h"
#include "format/OutputFormat.h"
#include "media/sequence/SequenceWriter.h"

namespace vixprores {
namespace {

void CheckName(const std::string& name, const DecodeOptions& options) {
  const vix::FourCC code = ChooseFourCC(name, options.fourcc);
  if (options.skipField && IsOf4444(code)) {
    throw UsageError("--skip-field cannot decode to " + DescribeCode(code) +
                     "; choose UYVY or V210");
  }
  if (FindRawVideoOutput(name).kind == OutputKind::Images) {
    RequireSequenceName(name);
    if (name.ends_with(".exr") && !options.colours.output) {
      throw UsageError("'" + name +
                       "': an .exr holds scene-linear pictures; name their colour space, for "
                       "example with --output-color ACEScg");
    }
  } else if (options.startNumber || options.colours.IsGiven()) {
    throw UsageError("'" + name +
                     "': --start-number, --input-color, --output-color and --ocio are for images, "
                     "as in out.%04d.png");
  }
}

}  // namespace

Command DescribeDecode(DecodeOptions& options) {
  Command command;
  command.name = "decode";
  command.summary = "Decode ProRes to uncompressed video";
  command.description =
      "Reads a container with a ProRes track and writes a container, Y4M, raw frames, or "
      "images.";
  command.usages = {"[OPTION]... INPUT OUTPUT", "[OPTION]... --output-dir DIR INPUT..."};
  command.arguments = {
      {"INPUT", "container with a ProRes track; - for standard input"},
      {"OUTPUT",
       ".mov, .avi, .nut, .y4m, raw frames as .uyvy, .v210, .y416, .b64a, .raw or -, or images as "
       "out.%04d.png (also dpx, tif, exr, jpg, tga)"}};
  command.takeArguments = [&options,
                           take = TakeFiles(options)](const std::vector<std::string>& words) {
    take(words);
    if (!options.pipeFormat.empty() && options.output != "-") {
      throw UsageError("--format is for '-'; otherwise the name of the output states the format");
    }
    CheckNames(options, [&options](const std::string& name) { CheckName(name, options); });
  };
  Option fourcc = FourCCOption([&options](vix::FourCC code) { options.fourcc = code; }, "V210");
  fourcc.details =
      "Without the option, names that end in .uyvy, .y416 or .b64a select that format. Y416 is "
      "4:4:4 with 16 bits and alpha (A Y Cb Cr, little-endian, video range), b64A is RGB with 16 "
      "bits and alpha (A R G B, big-endian, full range). Alpha is opaque where the input has none.";
  Option format = Parsed(
      "--format", "NAME", options.pipeFormat, [](const std::string& name) { return name; },
      "format on standard output: nut, mov or y4m [raw frames]");
  format.choices = PipeFormats();
  format.details =
      "nut, and mov in fragments, carry sound and timecode through a pipe, y4m the pictures only. "
      "A "
      "note names what is left out.";
  command.groups = {
      {"Decoding",
       {fourcc, format,
        Flag("--skip-field", options.skipField, "decode only the first field of interlaced frames"),
        OnErrorOption(options.onDamage)}},
      SequenceOutputGroup(options),
      ScanGroup(options),
      SoundGroup(options),
      BatchGroup(options),
      RunGroup(options),
      MachineGroup(options, options),
      LimitsWithOutputGroup(options.limits)};
  command.examples = {
      {"vixprores decode input.mov output.y4m", "Decode a file."},
      {"vixprores decode --start-number 1001 input.mov shot.%04d.dpx", "Decode to images."},
      {"vixprores decode --fourcc UYVY --frames 0-99 input.mov - | consumer", "Decode to a pipe."},
      {"vixprores decode --format nut input.mov - | ffplay -", "Play with sound and timecode."}};
  return command;
}

}  // namespace vixprores
