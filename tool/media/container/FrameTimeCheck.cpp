// SPDX-License-Identifier: BSD-2-Clause
#include "media/container/FrameTimeCheck.h"

#include <algorithm>

#include "base/Limits.h"
#include "format/InputFormat.h"
#include "media/container/Libav.h"

extern "C" {
#include <libavutil/common.h>
#include <libavutil/mathematics.h>
}

namespace vixprores {
void FrameTimeCheck::Start(Rational rate, AVRational tick, std::int64_t first) {
  rate_ = rate;
  tick_ = tick;
  first_ = first;
}

void FrameTimeCheck::Skip(std::int64_t number, std::int64_t time) {
  first_ = av_sat_add64(first_, av_sat_sub64(time, Expect(number)));
}

std::int64_t FrameTimeCheck::Expect(std::int64_t number) const {
  return av_sat_add64(first_, av_rescale_q(number, Invert(rate_), tick_));
}

bool FrameTimeCheck::IsAbout(std::int64_t time, std::int64_t expected) const {
  const std::int64_t frame = av_rescale_q(1, Invert(rate_), tick_);
  return Distance(time, expected) <= std::max<std::int64_t>(1, frame / 10);
}

// Returns the whole frames between the expected time and `time`; 0 if `time` is not on a frame.
std::int64_t FrameTimeCheck::CountMissing(std::int64_t time, std::int64_t expected) const {
  const AVRational frame = Invert(rate_);
  const std::int64_t framesLate = av_rescale_q(av_sat_sub64(time, expected), tick_, frame);
  if (framesLate > kLongestStill * rate_.numerator / rate_.denominator) return 0;
  const std::int64_t lateness = av_rescale_q(framesLate, frame, tick_);
  return framesLate > 0 && IsAbout(time, av_sat_add64(expected, lateness)) ? framesLate : 0;
}

std::optional<FrameTimeCheck::Deviation> FrameTimeCheck::Compare(std::int64_t number,
                                                                 std::int64_t time) const {
  const std::int64_t expected = Expect(number);
  if (IsAbout(time, expected)) return std::nullopt;
  const std::int64_t missing = CountMissing(time, expected);
  const bool isAccepted =
      times_ == FrameTimes::Ignored || (times_ == FrameTimes::GapsOnly && missing == 0);
  return Deviation{number, time, expected, missing, isAccepted};
}

std::optional<FrameTimeCheck::Deviation> FrameTimeCheck::Take(std::int64_t number,
                                                              std::int64_t time) {
  const auto deviation = Compare(number, time);
  if (!deviation) return std::nullopt;
  // Count missing frames that are not accepted, so that the frame after them is on time.
  if (deviation->missing == 0 || deviation->isAccepted) {
    Skip(number, time);
  }
  if (deviation->isAccepted) ++uneven_;
  return deviation;
}

FrameTimeFailure FrameTimeCheck::MakeFailure(const Deviation& deviation,
                                             std::optional<std::int64_t> offset) const {
  const auto seconds = [this](std::int64_t time) {
    return std::to_string(static_cast<double>(time) * av_q2d(tick_)) + " s";
  };
  const std::string found = "comes at " + seconds(deviation.time) + " instead of " +
                            seconds(deviation.expected) + " at " + Describe(rate_) +
                            " frames per second";
  return {name_ + ": has a variable frame rate: frame " + std::to_string(deviation.number) + " " +
              found,
          deviation.number, deviation.missing > 0 ? "is missing: the one after " + found : found,
          deviation.missing, offset};
}

}  // namespace vixprores
