// SPDX-License-Identifier: BSD-2-Clause
#include "format/HdrLabels.h"

#include <array>
#include <cstddef>
#include <limits>
#include <optional>
#include <string_view>

#include "base/Errors.h"
#include "format/Values.h"

namespace vixprores {
namespace {

constexpr std::int64_t kLargest16 = std::numeric_limits<std::uint16_t>::max();
constexpr std::int64_t kLargest32 = std::numeric_limits<std::uint32_t>::max();

// Takes "NAME(A,B)" from the start of the text.
std::optional<std::array<std::int64_t, 2>> TakePair(std::string_view& text, std::string_view name,
                                                    std::int64_t largest) {
  const std::size_t begin = name.size() + 1;
  const std::size_t comma = text.find(',');
  const std::size_t end = text.find(')');
  if (!text.starts_with(name) || text.substr(name.size(), 1) != "(") return std::nullopt;
  if (comma >= end || end == std::string_view::npos) return std::nullopt;
  const auto first = ParseNumber(text.substr(begin, comma - begin), largest);
  const auto second = ParseNumber(text.substr(comma + 1, end - comma - 1), largest);
  text.remove_prefix(end + 1);
  if (!first || !second) return std::nullopt;
  return std::array{*first, *second};
}

bool TakeChromaticity(std::string_view& text, std::string_view name, Chromaticity& place) {
  const auto pair = TakePair(text, name, kLargest16);
  if (!pair) return false;
  place = {static_cast<std::uint16_t>(pair->front()), static_cast<std::uint16_t>(pair->back())};
  return true;
}

std::string DescribePair(std::uint32_t first, std::uint32_t second) {
  return "(" + std::to_string(first) + "," + std::to_string(second) + ")";
}

std::string Describe(const Chromaticity& place) {
  return DescribePair(place.x, place.y);
}

}  // namespace

MasteringDisplay ParseMasteringDisplay(const std::string& text) {
  std::string_view rest = text;
  MasteringDisplay display;
  const bool hasPlaces =
      TakeChromaticity(rest, "G", display.green) && TakeChromaticity(rest, "B", display.blue) &&
      TakeChromaticity(rest, "R", display.red) && TakeChromaticity(rest, "WP", display.white);
  const auto luminance = hasPlaces ? TakePair(rest, "L", kLargest32) : std::nullopt;
  if (!luminance || !rest.empty() || luminance->front() <= luminance->back()) {
    throw UsageError("'" + text +
                     "' is not a mastering display; write G(x,y)B(x,y)R(x,y)WP(x,y)L(max,min) with "
                     "x and y in 0.00002 and max and min in 0.0001 cd/m2, for example "
                     "G(8500,39850)B(6550,2300)R(35400,14600)WP(15635,16450)L(10000000,1)");
  }
  display.maxLuminance = static_cast<std::uint32_t>(luminance->front());
  display.minLuminance = static_cast<std::uint32_t>(luminance->back());
  return display;
}

ContentLight ParseContentLight(const std::string& text) {
  const std::size_t comma = text.find(',');
  const auto pixel = ParseNumber(text.substr(0, comma), kLargest16);
  const auto average = comma == std::string::npos
                           ? std::nullopt
                           : ParseNumber(std::string_view(text).substr(comma + 1), kLargest16);
  if (!pixel || !average) {
    throw UsageError("'" + text +
                     "' is not a content light level; write MAXCLL,MAXFALL in cd/m2, for example "
                     "1000,400");
  }
  return {static_cast<std::uint16_t>(*pixel), static_cast<std::uint16_t>(*average)};
}

std::string Describe(const MasteringDisplay& display) {
  return "G" + Describe(display.green) + "B" + Describe(display.blue) + "R" +
         Describe(display.red) + "WP" + Describe(display.white) + "L" +
         DescribePair(display.maxLuminance, display.minLuminance);
}

std::string Describe(const ContentLight& light) {
  return std::to_string(light.maxPixel) + "," + std::to_string(light.maxFrameAverage);
}

}  // namespace vixprores
