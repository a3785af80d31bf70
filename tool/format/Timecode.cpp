// SPDX-License-Identifier: BSD-2-Clause
#include "format/Timecode.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <utility>

#include "base/Errors.h"

namespace vixprores {
namespace {

constexpr int kMinutesPerDay = 24 * 60;
constexpr int kLabelRates[] = {24, 25, 30, 48, 50, 60, 100, 120};

struct Fields {
  int hours = 0, minutes = 0, seconds = 0, frames = 0;
  bool dropFrame = false;
};

// "HH:MM:SS:FF", the last separator tells; the frames may have three digits.
std::optional<Fields> Split(const std::string& text) {
  constexpr std::size_t kSeparators[] = {2, 5, 8};
  if (text.size() != 11 && text.size() != 12) return std::nullopt;
  for (std::size_t place = 0; place < text.size(); ++place) {
    const bool isSeparator = std::ranges::find(kSeparators, place) != std::end(kSeparators);
    const bool isDigit = text[place] >= '0' && text[place] <= '9';
    if (isDigit == isSeparator) return std::nullopt;
  }
  const char separator = text[8];
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

// Frames a second of the labels, or 0.
int LabelRate(Rational rate) {
  if (rate.denominator <= 0) return 0;
  const std::int64_t whole =
      (std::int64_t{rate.numerator} + rate.denominator - 1) / rate.denominator;
  const bool isExact = whole * rate.denominator == rate.numerator;
  const bool isSlower = rate.denominator == 1001 && whole * 1000 == rate.numerator;
  const bool isKnown = std::ranges::find(kLabelRates, whole) != std::end(kLabelRates);
  return isKnown && (isExact || isSlower) ? static_cast<int>(whole) : 0;
}

// Labels left out at the start of a minute.
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

}  // namespace

std::int64_t Timecode::LabelsDroppedBefore(std::int64_t minute) const {
  return dropFrame_ ? DroppedPerMinute(framesPerSecond_) * (minute - (minute + 9) / 10) : 0;
}

std::int64_t Timecode::FramesPerDay() const {
  return std::int64_t{kMinutesPerDay} * 60 * framesPerSecond_ - LabelsDroppedBefore(kMinutesPerDay);
}

Timecode Timecode::Parse(const std::string& text, Rational rate) {
  const auto fields = Split(text);
  const std::string reason = ReasonAgainst(fields, rate);
  if (!reason.empty()) throw UsageError("'" + text + "' is no timecode of this video: " + reason);
  Timecode timecode(LabelRate(rate), fields->dropFrame, 0);
  const std::int64_t minute = fields->hours * 60 + fields->minutes;
  // Minutes that drop labels have dropped theirs at their very start.
  const std::int64_t dropped = timecode.LabelsDroppedBefore(minute + 1);
  timecode.frame_ =
      (minute * 60 + fields->seconds) * timecode.framesPerSecond_ + fields->frames - dropped;
  return timecode;
}

std::optional<Timecode> Timecode::Find(const std::string& text, Rational rate) {
  if (!ReasonAgainst(Split(text), rate).empty()) return std::nullopt;
  return Parse(text, rate);
}

Timecode Timecode::operator+(std::int64_t frames) const {
  const std::int64_t day = FramesPerDay();
  const std::int64_t sum = (frame_ + frames % day + day) % day;
  return {framesPerSecond_, dropFrame_, sum};
}

std::string Timecode::ToText() const {
  std::int64_t label = frame_;
  if (dropFrame_) {
    // Ten minutes have the labels of all of theirs but nine minutes' dropped ones.
    const std::int64_t dropped = DroppedPerMinute(framesPerSecond_);
    const std::int64_t perMinute = std::int64_t{60} * framesPerSecond_ - dropped;
    const std::int64_t perTen = 10 * perMinute + dropped;
    const std::int64_t rest = frame_ % perTen;
    label += frame_ / perTen * 9 * dropped;
    if (rest >= perMinute + dropped) label += (rest - dropped) / perMinute * dropped;
  }
  const std::int64_t second = label / framesPerSecond_;
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), "%02d:%02d:%02d%c%02d", static_cast<int>(second / 3600),
                static_cast<int>(second / 60 % 60), static_cast<int>(second % 60),
                dropFrame_ ? ';' : ':', static_cast<int>(label % framesPerSecond_));
  return text.data();
}

}  // namespace vixprores
