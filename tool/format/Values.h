// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_FORMAT_VALUES_H
#define TOOL_FORMAT_VALUES_H

/// @file
/// Values in the notation of the command line. Each function throws a UsageError that states the
/// expected notation unless it understands the whole text.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "format/StreamFormat.h"
#include "vix/Types.h"

namespace vixprores {

/// Frames `first` to `last`, both included, numbered from 0.
struct FrameRange {
  std::int64_t first = 0;
  std::int64_t last = 0;
};

/// Size of a picture in pixels.
struct PictureSize {
  std::uint32_t width = 0;
  std::uint32_t height = 0;
};

/// Smallest and largest side of a picture that the frame header and the codec library accept.
inline constexpr std::uint32_t kSmallestSide = 2;
inline constexpr std::uint32_t kLargestSide = 65535;
/// Most pixels of a picture: at 4 bytes each, as in planes of 10 bits, its bytes fit 32 bits.
inline constexpr std::int64_t kMostPixels = 1'000'000'000;

/// Parses decimal digits, 0 to `largest`; none if there is anything else, such as a sign or space.
std::optional<std::int64_t> ParseNumber(std::string_view text, std::int64_t largest);

/// Parses "FIRST-LAST".
FrameRange ParseFrameRange(const std::string& text);
/// Parses "N" or "N/D" and reduces it to lowest terms.
Rational ParseRate(const std::string& text);
/// Parses "W:H", width to height of a pixel, and reduces it to lowest terms.
Rational ParseAspect(const std::string& text);
/// Parses "WxH".
PictureSize ParsePictureSize(const std::string& text);
/// Parses "UYVY" or "V210", or either in small letters.
vix::FourCC ParseFourCC(const std::string& text);

}  // namespace vixprores

#endif  // TOOL_FORMAT_VALUES_H
