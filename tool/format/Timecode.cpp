// SPDX-License-Identifier: BSD-2-Clause
#include "format/Timecode.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <utility>

#include "base/Errors.h"

extern "C" {
#include <libavutil/timecode.h>
}

namespace vixprores {
namespace {

constexpr int kLabelRates[] = {24, 25, 30, 48, 50, 60, 100, 120};

constexpr std::size_t kLastSeparator = 8;  // place in "HH:MM:SS:FF"

struct Fields {
  int hours = 0, minutes = 0, seconds = 0, frames = 0;
  bool dropFrame = false;
};

// Splits "HH:MM:SS:FF"; the last separator decides on drop frame, the frames may have three digits.
std::optional<Fields> Split(const std::string& text) {
  constexpr std::size_t kSeparators[] = {2, 5, kLastSeparator};
  if (text.size() != 11 && text.size() != 12) return std::nullopt;
  for (std::size_t place = 0; place < text.size(); ++place) {
    const bool isSeparator = std::ranges::find(kSeparators, place) != std::end(kSeparators);
    const bool isDigit = text[place] >= '0' && text[place] <= '9';
    if (isDigit == isSeparator) return std::nullopt;
  }
  const char separator = text[kLastSeparator];
  if (text[2] != ':' || text[5] != ':') return std::nullopt;
  if (separator != ':' && separator != ';' && separator != '.') return std::nullopt;
  Fields fields;
  fields.hours = std::stoi(text.substr(0, 2));
  fields.minutes = std::stoi(text.substr(3, 2));
  fields.seconds = std::stoi(text.substr(6, 2));
  fields.frames = std::stoi(text.substr(9));
  fields.dropFrame = separator != ':';
  return fields;
}

// Returns the frames per second of the labels, or 0.
int LabelRate(Rational rate) {
  if (rate.denominator <= 0) return 0;
  const std::int64_t whole =
      (std::int64_t{rate.numerator} + rate.denominator - 1) / rate.denominator;
  const bool isExact = whole * rate.denominator == rate.numerator;
  const bool isSlower = rate.denominator == 1001 && whole * 1000 == rate.numerator;
  const bool isKnown = std::ranges::find(kLabelRates, whole) != std::end(kLabelRates);
  return isKnown && (isExact || isSlower) ? static_cast<int>(whole) : 0;
}

// Number of labels dropped at the start of a minute.
int DroppedPerMinute(int labelRate) {
  return labelRate / 15;
}

std::string ReasonAgainst(const std::optional<Fields>& fields, Rational rate) {
  const int labels = LabelRate(rate);
  if (!fields) return "write HH:MM:SS:FF, or HH:MM:SS;FF with drop frame";
  if (labels == 0) return "there is none at " + Describe(rate) + " frames per second";
  const bool mayDrop = rate.denominator == 1001 && labels % 30 == 0;
  if (fields->dropFrame && !mayDrop) {
    return "drop frame is for 30000/1001 frames per second and multiples of it, not for " +
           Describe(rate) + "; write HH:MM:SS:FF";
  }
  if (fields->hours > 23 || fields->minutes > 59 || fields->seconds > 59) {
    return "it goes from 00:00:00 to 23:59:59";
  }
  if (fields->frames >= labels) {
    return "at " + Describe(rate) + " frames per second the frames go from 00 to " +
           std::to_string(labels - 1);
  }
  if (fields->dropFrame && fields->minutes % 10 != 0 && fields->seconds == 0 &&
      fields->frames < DroppedPerMinute(labels)) {
    return "drop frame leaves that label out; the next one ends in ;" +
           std::string(DroppedPerMinute(labels) < 10 ? "0" : "") +
           std::to_string(DroppedPerMinute(labels));
  }
  return {};
}

// Returns the frames from midnight to a label.
std::int64_t CountFrames(const Fields& fields, int labelRate) {
  AVTimecode timecode{};
  av_timecode_init_from_components(&timecode, {labelRate, 1},
                                   fields.dropFrame ? AV_TIMECODE_FLAG_DROPFRAME : 0, fields.hours,
                                   fields.minutes, fields.seconds, fields.frames, nullptr);
  return timecode.start;
}

}  // namespace

Timecode Timecode::Parse(const std::string& text, Rational rate) {
  const auto fields = Split(text);
  const std::string reason = ReasonAgainst(fields, rate);
  if (!reason.empty()) throw UsageError("'" + text + "' is no timecode of this video: " + reason);
  Timecode timecode(LabelRate(rate), fields->dropFrame, 0);
  timecode.frame_ = CountFrames(*fields, timecode.framesPerSecond_);
  return timecode;
}

std::optional<Timecode> Timecode::Find(const std::string& text, Rational rate) {
  if (!ReasonAgainst(Split(text), rate).empty()) return std::nullopt;
  return Parse(text, rate);
}

bool Timecode::IsNotation(const std::string& text) {
  return Split(text).has_value();
}

std::int64_t Timecode::FramesPerDay() const {
  return CountFrames({24, 0, 0, 0, dropFrame_}, framesPerSecond_);
}

std::int64_t Timecode::CountFramesTo(std::string text) const {
  if (IsNotation(text)) text[kLastSeparator] = dropFrame_ ? ';' : ':';
  const Rational rate =
      dropFrame_ ? Rational{framesPerSecond_ * 1000, 1001} : Rational{framesPerSecond_, 1};
  const std::int64_t day = FramesPerDay();
  return (Parse(text, rate).frame_ - frame_ + day) % day;
}

Timecode Timecode::operator+(std::int64_t frames) const {
  const std::int64_t day = FramesPerDay();
  const std::int64_t sum = (frame_ + frames % day + day) % day;
  return {framesPerSecond_, dropFrame_, sum};
}

std::string Timecode::ToText() const {
  const int frame = static_cast<int>(frame_);
  const int label = dropFrame_ ? av_timecode_adjust_ntsc_framenum2(frame, framesPerSecond_) : frame;
  const int second = label / framesPerSecond_;
  std::array<char, 48> text{};
  std::snprintf(text.data(), text.size(), "%02d:%02d:%02d%c%02d", second / 3600, second / 60 % 60,
                second % 60, dropFrame_ ? ';' : ':', label % framesPerSecond_);
  return text.data();
}

}  // namespace vixprores
