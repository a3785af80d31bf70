// SPDX-License-Identifier: BSD-2-Clause
#include "run/InputOptions.h"

#include <array>
#include <cstddef>
#include <string>

#include "base/Errors.h"
#include "media/InputFile.h"

namespace vixprores {
namespace {

constexpr const char* kTakesAll = nullptr;
constexpr const char* kForImages = "leave it out: it is for image sequences";
constexpr const char* kOneTrack = "leave it out: there are no other tracks";
constexpr const char* kWrap =
    "put the frames into a .mov, .avi or .y4m first, for which the option works";

struct Rule {
  const char* option;
  bool (*isGiven)(const EncodeOptions&);
  /// What to do instead for each InputKind; kTakesAll = nothing, the option works.
  std::array<const char*, 3> advice;
};

constexpr std::array<Rule, 9> kRules{
    {{"--scale",
      [](const EncodeOptions& options) { return options.footage.scale.has_value(); },
      {kTakesAll, kTakesAll, kWrap}},
     {"--deinterlace",
      [](const EncodeOptions& options) {
        return options.footage.deinterlacing != Deinterlacing::None;
      },
      {kTakesAll, "leave it out: images are progressive", kWrap}},
     {"--filter",
      [](const EncodeOptions& options) { return options.footage.filter.has_value(); },
      {kTakesAll, "encode the images with --variant 4444xq, then that movie with --filter", kWrap}},
     {"--convert-rate",
      [](const EncodeOptions& options) { return options.footage.convertRate.has_value(); },
      {kTakesAll,
       "state the rate of the images with --rate, then encode that movie with --convert-rate",
       kWrap}},
     {"--convert-color",
      [](const EncodeOptions& options) { return options.footage.convertColour.has_value(); },
      {kTakesAll, "name the colour spaces with --input-color and --output-color", kWrap}},
     {"--video-track",
      [](const EncodeOptions& options) { return options.footage.videoTrack.value_or(0) > 0; },
      {kTakesAll, kOneTrack, kOneTrack}},
     {"--premultiplied",
      [](const EncodeOptions& options) { return options.premultiplied.value_or(false); },
      {kTakesAll, kTakesAll,
       "divide the colours by alpha first, or put the frames as b64A into a .mov"}},
     {"--input-color, --output-color or --ocio",
      [](const EncodeOptions& options) { return options.colours.IsGiven(); },
      {kForImages, kTakesAll, kForImages}},
     {"--missing",
      [](const EncodeOptions& options) { return options.missing != MissingFiles::Fail; },
      {kForImages, kTakesAll, kForImages}}}};

constexpr std::array<const char*, 3> kNames{"video files", "image sequences", "raw frames"};

// Raw frames and images need --rate, and the rules refuse --convert-rate for them.
void CheckRates(const EncodeOptions& options) {
  if (!options.overrides.rate || !options.footage.convertRate) return;
  throw UsageError(NameOfInput(options.input) +
                   ": --rate and --convert-rate contradict each other: --rate takes all frames, "
                   "one after the other, --convert-rate keeps their times, and repeats and drops "
                   "frames; remove one of them");
}

}  // namespace

void CheckInputOptions(const EncodeOptions& options, InputKind kind) {
  const auto place = static_cast<std::size_t>(kind);
  for (const Rule& rule : kRules) {
    const char* const advice = rule.advice[place];
    if (advice == kTakesAll || !rule.isGiven(options)) continue;
    throw UsageError(NameOfInput(options.input) + ": " + rule.option + " has no effect on " +
                     kNames[place] + "; " + advice);
  }
  if (kind == InputKind::Footage) CheckRates(options);
}

}  // namespace vixprores
