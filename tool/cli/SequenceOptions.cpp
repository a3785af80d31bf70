// SPDX-License-Identifier: BSD-2-Clause
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

}  // namespace

OptionGroup SequenceInputGroup(EncodeOptions& options) {
  using Missing = MissingFiles;
  Option missing =
      Choice<Missing>("--missing", "WHAT", options.missing,
                      {{"fail", Missing::Fail}, {"hold", Missing::Hold}, {"black", Missing::Black}},
                      "for numbers without a file: fail, hold or black [fail]");
  missing.details =
      "fail lists them and ends with an error, hold repeats the picture before, black makes black "
      "pictures. --frames selects files by their numbers.";
  OptionGroup group{"Image sequences as input", ColourSpaceOptions(options.colours)};
  group.options.insert(group.options.begin(), missing);
  return group;
}

}  // namespace vixprores
