// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_FORMAT_VALUES_H
#define TOOL_FORMAT_VALUES_H

/// @file
/// Values in the notation of the command line. Each function throws a UsageError that states the
/// expected notation unless it understands the whole text.

#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <string_view>

#include "format/StreamFormat.h"
#include "format/Timecode.h"
#include "vix/Types.h"

namespace vixprores {

/// Last frame of a range without an end.
inline constexpr std::int64_t kOpenEnd = std::numeric_limits<std::int64_t>::max() - 1;

/// Frames `first` to `last`, both included, numbered from 0. Timecodes stand for numbers until
/// ResolveRange() has replaced them.
struct FrameRange {
  std::int64_t first = 0;
  std::int64_t last = kOpenEnd;
  std::string firstTimecode = {};  ///< empty = the number counts
  std::string lastTimecode = {};

  bool IsOpen() const { return last == kOpenEnd; }
  /// Returns true if an input of `count` frames lacks frames of the range.
  bool Exceeds(std::int64_t count) const { return first >= count || (!IsOpen() && last >= count); }
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

/// Parses "FIRST-LAST", "FIRST-" (to the end) or "FRAME". Each is a number from 0 or a timecode.
FrameRange ParseFrameRange(const std::string& text);
/// Returns a range as ParseFrameRange() reads it, in numbers.
std::string Describe(const FrameRange& range);
/// Returns the text that ParseFrameRange() read.
std::string DescribeAsGiven(const FrameRange& range);
/// Replaces the timecodes of a range by numbers.
/// @param start timecode of frame 0; nullopt = the input `name` has none
/// @throws UsageError for an invalid timecode, Failure if the input has none
FrameRange ResolveRange(FrameRange range, const std::optional<Timecode>& start,
                        const std::string& name);
/// Parses "N", "N/D" or the decimal name of a broadcast rate such as "29.97", which stands for
/// 30000/1001. Reduces it to lowest terms.
Rational ParseRate(const std::string& text);
/// Parses "W:H", width to height of a pixel, and reduces it to lowest terms.
Rational ParseAspect(const std::string& text);
/// Parses "WxH", or a name such as "1080p", in any case.
PictureSize ParsePictureSize(const std::string& text);
/// Parses "WxH" of a limit: each side 1 to 1000000.
PictureSize ParseSizeLimit(const std::string& text);
/// Parses bytes, or a number of K, M, G or T (powers of 1024).
std::uint64_t ParseByteCount(const std::string& text);
/// Parses the code of a packed format such as "UYVY", or its name as an option.
vix::FourCC ParseFourCC(const std::string& text);

}  // namespace vixprores

#endif  // TOOL_FORMAT_VALUES_H
