// SPDX-License-Identifier: BSD-2-Clause
#include "media/sequence/VideoSpaces.h"

#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <stdexcept>
#include <string_view>

#include "base/Errors.h"

namespace vixprores {
namespace {

// Spaces of our own configuration that a video can have, with their code points. The first one of
// each transfer is that of a video with these labels.
struct VideoSpace {
  std::string_view name;
  Colour colour;
};
constexpr VideoSpace kVideoSpaces[] = {
    {"Rec.709", {1, 1, 1, ColourRange::Unknown}},
    {"sRGB", {1, 13, 1, ColourRange::Unknown}},
    {"Rec.2020", {9, 14, 9, ColourRange::Unknown}},
    {"Rec.2100-PQ", {9, 16, 9, ColourRange::Unknown}},
    {"Rec.2100-HLG", {9, 18, 9, ColourRange::Unknown}},
    {"ACES SDR Rec.709", {1, 1, 1, ColourRange::Unknown}},
    {"ACES HDR Rec.2100-PQ", {9, 16, 9, ColourRange::Unknown}},
};

// Returns the configuration of the options or of the environment; empty = our own.
std::string ChooseConfig(const ColourOptions& options) {
  if (options.config) return *options.config;
  const char* const variable = std::getenv("OCIO");
  return variable ? variable : "";
}

// Returns the space of our own configuration for a video with these labels.
std::string SpaceOf(const Colour& colour) {
  const auto* const found = std::ranges::find(
      kVideoSpaces, colour.transfer, [](const VideoSpace& space) { return space.colour.transfer; });
  return std::string(found != std::end(kVideoSpaces) ? found->name : kVideoSpaces[0].name);
}

}  // namespace

std::optional<ColourSpaces> ChooseSpaces(const ColourOptions& options,
                                         const std::optional<Colour>& videoInput) {
  if (!options.IsGiven()) return std::nullopt;
  ColourSpaces spaces{ChooseConfig(options), options.input.value_or(""),
                      options.output.value_or("")};
  if (!options.input && videoInput && spaces.config.empty()) spaces.from = SpaceOf(*videoInput);
  if (!spaces.from.empty() && !spaces.to.empty()) return spaces;
  throw UsageError("converting colours needs --input-color and --output-color");
}

std::shared_ptr<const ColourTransform> MakeColourTransform(const ColourSpaces& spaces) {
  const ImageModule& module = LoadImageModule();
  try {
    return module.MakeTransform(spaces);
  } catch (const std::runtime_error& error) {
    throw Failure((spaces.config.empty() ? "the colour configuration" : spaces.config) + ": " +
                  error.what());
  }
}

Colour LabelsOf(const ColourSpaces& spaces, const ColourTransform& transform) {
  const auto* const found =
      std::ranges::find(kVideoSpaces, transform.GetTarget(), &VideoSpace::name);
  return spaces.config.empty() && found != std::end(kVideoSpaces) ? found->colour : Colour();
}

}  // namespace vixprores
