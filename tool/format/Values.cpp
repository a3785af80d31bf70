// SPDX-License-Identifier: BSD-2-Clause
#include "format/Values.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <limits>
#include <optional>
#include <string_view>
#include <utility>

#include "base/Errors.h"

namespace vixprores {
namespace {

struct Pair {
  std::int64_t first;
  std::int64_t second;
};

std::optional<Pair> ParsePair(std::string_view text, char separator, std::int64_t largest) {
  const std::size_t middle = text.find(separator);
  if (middle == std::string_view::npos) return std::nullopt;
  const auto first = ParseNumber(text.substr(0, middle), largest);
  const auto second = ParseNumber(text.substr(middle + 1), largest);
  if (!first || !second) return std::nullopt;
  return Pair{*first, *second};
}

// Returns the fraction for a rate given with a decimal point.
std::string ExampleRate(const std::string& text) {
  static constexpr std::array<std::pair<std::string_view, const char*>, 6> kNames{
      {{"23.9", "24000/1001"},
       {"29.9", "30000/1001"},
       {"47.9", "48000/1001"},
       {"59.9", "60000/1001"},
       {"119.8", "120000/1001"},
       {"", "25 or 30000/1001"}}};
  return std::ranges::find_if(kNames,
                              [&text](const auto& name) { return text.starts_with(name.first); })
      ->second;
}

}  // namespace

std::optional<std::int64_t> ParseNumber(std::string_view text, std::int64_t largest) {
  std::uint64_t value = 0;
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, value);
  if (error != std::errc() || stop != end || value > static_cast<std::uint64_t>(largest)) {
    return std::nullopt;
  }
  return static_cast<std::int64_t>(value);
}

FrameRange ParseFrameRange(const std::string& text) {
  const auto range = ParsePair(text, '-', std::numeric_limits<std::int64_t>::max() - 1);
  if (!range || range->first > range->second) {
    throw UsageError("'" + text + "' is not a range of frames; write FIRST-LAST, for example 0-99");
  }
  return {range->first, range->second};
}

Rational ParseRate(const std::string& text) {
  constexpr std::int64_t kLargest = std::numeric_limits<std::int32_t>::max();
  auto rate = ParsePair(text, '/', kLargest);
  if (const auto whole = ParseNumber(text, kLargest)) rate = Pair{*whole, 1};
  if (!rate || rate->first == 0 || rate->second == 0) {
    throw UsageError("'" + text + "' is not a frame rate; write N or N/D, for example " +
                     ExampleRate(text));
  }
  return Reduce({static_cast<std::int32_t>(rate->first), static_cast<std::int32_t>(rate->second)});
}

Rational ParseAspect(const std::string& text) {
  const auto aspect = ParsePair(text, ':', std::numeric_limits<std::int32_t>::max());
  if (!aspect || aspect->first == 0 || aspect->second == 0) {
    throw UsageError("'" + text + "' is not a pixel aspect; write W:H, for example 1:1 or 64:45");
  }
  return Reduce(
      {static_cast<std::int32_t>(aspect->first), static_cast<std::int32_t>(aspect->second)});
}

PictureSize ParsePictureSize(const std::string& text) {
  const auto size = ParsePair(text, 'x', kLargestSide);
  if (!size || size->first < kSmallestSide || size->second < kSmallestSide) {
    throw UsageError("'" + text + "' is not a picture size; write WIDTHxHEIGHT, for example " +
                     "1920x1080, each from " + std::to_string(kSmallestSide) + " to " +
                     std::to_string(kLargestSide));
  }
  if (size->first * size->second > kMostPixels) {
    throw UsageError("--size " + text + ": pictures of " +
                     std::to_string(size->first * size->second) +
                     " pixels are too large; the limit is " + std::to_string(kMostPixels));
  }
  return {static_cast<std::uint32_t>(size->first), static_cast<std::uint32_t>(size->second)};
}

vix::FourCC ParseFourCC(const std::string& text) {
  using NamedCode = std::pair<std::string_view, vix::FourCC>;
  static constexpr NamedCode kCodes[] = {{"UYVY", vix::kFourCC_UYVY},
                                         {"uyvy", vix::kFourCC_UYVY},
                                         {"V210", vix::kFourCC_V210},
                                         {"v210", vix::kFourCC_V210}};
  for (const auto& [name, code] : kCodes) {
    if (name == text) return code;
  }
  throw UsageError("'" + text + "' is not a pixel format; write UYVY (8 bits) or V210 (10 bits)");
}

}  // namespace vixprores
