// SPDX-License-Identifier: BSD-2-Clause
#include "base/Errors.h"
#include "cli/TranscodeOptions.h"

namespace vixprores {
namespace {

constexpr const char* kSpaces =
    "Names of the colour spaces of an OpenColorIO configuration: that of --ocio, or else of the "
    "environment variable OCIO, or else a small one of this program with ACES2065-1, ACEScg, "
    "ACEScct, ACEScc, ADX10, ARRI LogC3, Canon Log 2, Canon Log 3, Panasonic V-Log, RED Log3G10, "
    "Sony S-Log3 S-Gamut3, Sony S-Log3 S-Gamut3.Cine, Linear Rec.709, sRGB, Rec.709, Rec.2020, "
    "Rec.2100-PQ, Rec.2100-HLG, and with the ACES picture rendering ACES SDR Rec.709 and ACES HDR "
    "Rec.2100-PQ.";

std::vector<Option> ColourSpaceOptions(ColourOptions& colours) {
  Option input = Text("--input-color", "SPACE", colours.input, "colour space of the input");
  input.details = kSpaces;
  Option config = Text("--ocio", "CONFIG", colours.config,
                       "OpenColorIO configuration that names the colour spaces");
  config.completion = Completion::File;
  return {
      input,
      Text("--output-color", "SPACE", colours.output, "colour space to convert the pictures to"),
      config};
}

std::int64_t ParseFileNumber(const std::string& text) {
  if (const auto number = ParseNumber(text, kLargestFileNumber)) return *number;
  throw UsageError("'" + text + "' is not a number of a file; write 0 to " +
                   std::to_string(kLargestFileNumber));
}

}  // namespace

OptionGroup SequenceInputGroup(MissingFiles& what, ColourOptions& colours) {
  using Missing = MissingFiles;
  Option missing =
      Choice<Missing>("--missing", "WHAT", what,
                      {{"fail", Missing::Fail}, {"hold", Missing::Hold}, {"black", Missing::Black}},
                      "for numbers without a file: fail, hold or black [fail]");
  missing.details =
      "fail lists them and ends with an error, hold repeats the picture before, black makes black "
      "pictures, which are transparent in 4444 if the files have alpha. --frames selects files by "
      "their numbers.";
  OptionGroup group{"Image sequences as input", ColourSpaceOptions(colours)};
  group.options.insert(group.options.begin(), missing);
  return group;
}

SequenceReading ToSequenceReading(const ImageOptions& options) {
  SequenceReading reading;
  reading.needsRate = false;
  reading.missing = options.missing;
  reading.colours = ChooseSpaces(options.colours, std::nullopt);
  return reading;
}

OptionGroup SequenceOutputGroup(DecodeOptions& options) {
  Option start = Parsed("--start-number", "N", options.startNumber, ParseFileNumber,
                        "number of the first file [that of its frame in the input]");
  start.details =
      "A name such as out.%04d.png or out.####.dpx writes one image for each frame: .exr (half "
      "floats), .tif and .png (16 bits), .dpx (10 bits), .jpg and .tga (8 bits). An .exr needs "
      "--output-color.";
  OptionGroup group{"Image sequences as output", ColourSpaceOptions(options.colours)};
  group.options.insert(group.options.begin(), start);
  return group;
}

}  // namespace vixprores
