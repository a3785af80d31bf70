// SPDX-License-Identifier: BSD-2-Clause
#include "format/Values.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <limits>
#include <optional>
#include <string_view>
#include <utility>

#include "base/Errors.h"
#include "base/Text.h"

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

// Names of broadcast rates; more digits would not make them exact.
constexpr std::array<std::pair<std::string_view, Rational>, 10> kNamedRates{
    {{"14.985", {15000, 1001}},
     {"23.976", {24000, 1001}},
     {"23.98", {24000, 1001}},
     {"29.97", {30000, 1001}},
     {"47.952", {48000, 1001}},
     {"47.95", {48000, 1001}},
     {"59.94", {60000, 1001}},
     {"71.928", {72000, 1001}},
     {"89.91", {90000, 1001}},
     {"119.88", {120000, 1001}}}};

constexpr std::array<std::pair<std::string_view, PictureSize>, 14> kNamedSizes{
    {{"480p", {720, 480}},
     {"ntsc", {720, 486}},
     {"576p", {720, 576}},
     {"pal", {720, 576}},
     {"720p", {1280, 720}},
     {"1080p", {1920, 1080}},
     {"2k-dci", {2048, 1080}},
     {"1440p", {2560, 1440}},
     {"2160p", {3840, 2160}},
     {"uhd", {3840, 2160}},
     {"4k-uhd", {3840, 2160}},
     {"4k-dci", {4096, 2160}},
     {"4320p", {7680, 4320}},
     {"8k-uhd", {7680, 4320}}}};

template <typename Names>
auto FindNamed(const Names& names, std::string_view name) {
  const auto found = std::ranges::find(names, name, &Names::value_type::first);
  return found == names.end() ? std::nullopt : std::optional(found->second);
}

// Returns the fraction that a rate with a decimal point probably means.
std::string ExampleRate(const std::string& text) {
  const auto meant = std::ranges::find_if(kNamedRates, [&text](const auto& rate) {
    constexpr std::size_t kFirstDecimal = 2;
    return text.starts_with(rate.first.substr(0, rate.first.find('.') + kFirstDecimal));
  });
  return meant == kNamedRates.end() ? "25 or 30000/1001" : Describe(meant->second);
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

namespace {

[[noreturn]] void RefuseRange(const std::string& text) {
  throw UsageError("'" + text +
                   "' is not a range of frames; write FIRST-LAST, FIRST- or FRAME with numbers "
                   "from 0 or timecodes, for example 0-99");
}

// Returns true if the text is a frame, which is stored in `number` or `timecode`.
bool ParseFrame(const std::string& text, std::int64_t& number, std::string& timecode) {
  if (Timecode::IsNotation(text)) {
    timecode = text;
    return true;
  }
  const auto parsed = ParseNumber(text, kOpenEnd - 1);
  if (parsed) number = *parsed;
  return parsed.has_value();
}

}  // namespace

FrameRange ParseFrameRange(const std::string& text) {
  const std::size_t dash = text.find('-');
  FrameRange range;
  if (!ParseFrame(text.substr(0, dash), range.first, range.firstTimecode)) RefuseRange(text);
  if (dash == std::string::npos) {
    range.last = range.first;
    range.lastTimecode = range.firstTimecode;
    return range;
  }
  const std::string last = text.substr(dash + 1);
  const bool isOpen = last.empty();
  if (!isOpen && !ParseFrame(last, range.last, range.lastTimecode)) RefuseRange(text);
  if (range.lastTimecode.empty() && range.first > range.last) RefuseRange(text);
  return range;
}

std::string Describe(const FrameRange& range) {
  const std::string first = std::to_string(range.first);
  if (range.IsOpen()) return first + "-";
  return range.first == range.last ? first : first + "-" + std::to_string(range.last);
}

std::string DescribeAsGiven(const FrameRange& range) {
  const auto text = [](const std::string& timecode, std::int64_t number) {
    return timecode.empty() ? std::to_string(number) : timecode;
  };
  const bool isOpen = range.lastTimecode.empty() && range.IsOpen();
  return text(range.firstTimecode, range.first) + "-" +
         (isOpen ? std::string() : text(range.lastTimecode, range.last));
}

FrameRange ResolveRange(FrameRange range, const std::optional<Timecode>& start,
                        const std::string& name) {
  const std::string texts = range.firstTimecode + range.lastTimecode;
  if (texts.empty()) return range;
  if (!start) throw Failure(name + ": has no timecode; select --frames by numbers from 0");
  if (!range.firstTimecode.empty()) range.first = start->CountFramesTo(range.firstTimecode);
  if (!range.lastTimecode.empty()) range.last = start->CountFramesTo(range.lastTimecode);
  if (range.first > range.last) {
    throw Failure(name + ": starts at " + start->ToText() +
                  ", so the range asks for a first frame after the last one");
  }
  range.firstTimecode.clear();
  range.lastTimecode.clear();
  return range;
}

Rational ParseRate(const std::string& text) {
  if (const auto named = FindNamed(kNamedRates, text)) return *named;
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
  if (const auto named = FindNamed(kNamedSizes, ToLower(text))) return *named;
  const auto size = ParsePair(text, 'x', kLargestSide);
  if (!size || size->first < kSmallestSide || size->second < kSmallestSide) {
    throw UsageError("'" + text + "' is not a picture size; write WIDTHxHEIGHT, for example " +
                     "1920x1080, or a name such as 1080p or uhd; each side is from " +
                     std::to_string(kSmallestSide) + " to " + std::to_string(kLargestSide));
  }
  if (size->first * size->second > kMostPixels) {
    throw UsageError("--size " + text + ": pictures of " +
                     std::to_string(size->first * size->second) +
                     " pixels are too large; the limit is " + std::to_string(kMostPixels));
  }
  return {static_cast<std::uint32_t>(size->first), static_cast<std::uint32_t>(size->second)};
}

PictureSize ParseSizeLimit(const std::string& text) {
  constexpr std::int64_t kLargest = 1'000'000;
  const auto size = ParsePair(text, 'x', kLargest);
  if (!size || size->first == 0 || size->second == 0) {
    throw UsageError("'" + text + "' is not a limit of the picture size; write WIDTHxHEIGHT, for " +
                     "example 32768x32768; each side is from 1 to " + std::to_string(kLargest));
  }
  return {static_cast<std::uint32_t>(size->first), static_cast<std::uint32_t>(size->second)};
}

std::uint64_t ParseByteCount(const std::string& text) {
  constexpr std::string_view kUnits = "KMGT";
  constexpr std::int64_t kMost = std::int64_t{1} << 50;
  std::string_view digits = text;
  unsigned shift = 0;
  if (!digits.empty()) {
    const std::size_t unit =
        kUnits.find(static_cast<char>(std::toupper(static_cast<unsigned char>(digits.back()))));
    if (unit != std::string_view::npos) {
      shift = 10 * (static_cast<unsigned>(unit) + 1);
      digits.remove_suffix(1);
    }
  }
  const auto number = ParseNumber(digits, kMost >> shift);
  if (!number || *number == 0) {
    throw UsageError("'" + text +
                     "' is not a number of bytes; write for example 512M or 8G, up to 1024T");
  }
  return static_cast<std::uint64_t>(*number) << shift;
}

vix::FourCC ParseFourCC(const std::string& text) {
  for (const RawFormat& format : RawFormats()) {
    if (text == format.option || text == format.name) return format.code;
  }
  throw UsageError("'" + text + "' is not a pixel format; write " + kRawFormatNames);
}

}  // namespace vixprores
