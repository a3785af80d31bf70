// SPDX-License-Identifier: BSD-2-Clause
#include "media/container/HdrMetadata.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>

extern "C" {
#include <libavutil/rational.h>
}

namespace vixprores {
namespace {

// Returns the value in units of 1 / `unitsPerOne`, limited to the type.
template <typename Units>
Units ToUnits(AVRational value, int unitsPerOne) {
  const double units = value.den == 0 ? 0 : std::round(av_q2d(value) * unitsPerOne);
  return static_cast<Units>(std::clamp<double>(units, 0, std::numeric_limits<Units>::max()));
}

Chromaticity ToChromaticity(const AVRational (&place)[2]) {
  return {ToUnits<std::uint16_t>(place[0], kChromaticityUnits),
          ToUnits<std::uint16_t>(place[1], kChromaticityUnits)};
}

void SetPlace(const Chromaticity& from, AVRational (&to)[2]) {
  to[0] = {from.x, kChromaticityUnits};
  to[1] = {from.y, kChromaticityUnits};
}

AVRational ToLuminance(std::uint32_t units) {
  AVRational luminance{};
  av_reduce(&luminance.num, &luminance.den, units, kLuminanceUnits, INT32_MAX);
  return luminance;
}

}  // namespace

std::optional<MasteringDisplay> FromAvDisplay(const AVMasteringDisplayMetadata& metadata) {
  if (!metadata.has_primaries || !metadata.has_luminance) return std::nullopt;
  const auto& [red, green, blue] = metadata.display_primaries;
  return MasteringDisplay{ToChromaticity(green),
                          ToChromaticity(blue),
                          ToChromaticity(red),
                          ToChromaticity(metadata.white_point),
                          ToUnits<std::uint32_t>(metadata.max_luminance, kLuminanceUnits),
                          ToUnits<std::uint32_t>(metadata.min_luminance, kLuminanceUnits)};
}

AVMasteringDisplayMetadata ToAvDisplay(const MasteringDisplay& display) {
  AVMasteringDisplayMetadata metadata{};
  SetPlace(display.red, metadata.display_primaries[0]);
  SetPlace(display.green, metadata.display_primaries[1]);
  SetPlace(display.blue, metadata.display_primaries[2]);
  SetPlace(display.white, metadata.white_point);
  metadata.max_luminance = ToLuminance(display.maxLuminance);
  metadata.min_luminance = ToLuminance(display.minLuminance);
  metadata.has_primaries = metadata.has_luminance = 1;
  return metadata;
}

ContentLight FromAvLight(const AVContentLightMetadata& metadata) {
  constexpr unsigned kLargest = std::numeric_limits<std::uint16_t>::max();
  return {static_cast<std::uint16_t>(std::min(metadata.MaxCLL, kLargest)),
          static_cast<std::uint16_t>(std::min(metadata.MaxFALL, kLargest))};
}

AVContentLightMetadata ToAvLight(const ContentLight& light) {
  return {light.maxPixel, light.maxFrameAverage};
}

}  // namespace vixprores
