// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_FORMAT_VALUES_H
#define TOOL_FORMAT_VALUES_H

/// @file
/// Values as they are written on the command line. Every function refuses a text that it does not
/// understand whole with a UsageError that says what is expected.

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

/// Smallest and largest side of a picture that can be encoded: what the frame header holds, and
/// what the codec library takes.
inline constexpr std::uint32_t kSmallestSide = 2;
inline constexpr std::uint32_t kLargestSide = 65535;
/// Most pixels of a picture: with four bytes each, as planes of 10 bits take, the bytes of one can
/// still be counted in 32 bits.
inline constexpr std::int64_t kMostPixels = 1'000'000'000;

/// A number in plain digits, 0 to `largest`: no sign, no space, nothing behind it; else none.
std::optional<std::int64_t> ParseNumber(std::string_view text, std::int64_t largest);

/// "FIRST-LAST"
FrameRange ParseFrameRange(const std::string& text);
/// "N" or "N/D", reduced to lowest terms.
Rational ParseRate(const std::string& text);
/// "W:H", width to height of a pixel, reduced to lowest terms.
Rational ParseAspect(const std::string& text);
/// "WxH"
PictureSize ParsePictureSize(const std::string& text);
/// "UYVY" or "V210", in capitals or not.
vix::FourCC ParseFourCC(const std::string& text);

}  // namespace vixprores

#endif  // TOOL_FORMAT_VALUES_H
