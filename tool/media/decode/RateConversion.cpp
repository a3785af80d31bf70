// SPDX-License-Identifier: BSD-2-Clause
#include "media/decode/RateConversion.h"

#include <algorithm>
#include <utility>

#include "base/Errors.h"
#include "base/Limits.h"
#include "base/Text.h"
#include "media/container/Libav.h"

extern "C" {
#include <libavutil/mathematics.h>
}

namespace vixprores {
std::int64_t RateConversion::FrameAt(std::int64_t time) const {
  return av_rescale_q(av_sat_sub64(time, start_), tick_, Invert(rate_));
}

void RateConversion::Push(Picture picture) {
  if (!picture) {
    if (!current_) return;
    const std::int64_t duration = current_->pkt_duration;
    const std::int64_t end =
        FrameAt(av_sat_add64(current_->pts, std::max<std::int64_t>(duration, 0)));
    until_ = std::max(end, next_ + (isShown_ ? 0 : 1));
    return;
  }
  const std::int64_t first = FrameAt(picture->pts);
  if (first - next_ > kLongestStill * rate_.numerator / rate_.denominator) {
    throw Failure(name_ + ": a picture comes " +
                  std::to_string((first - next_) * rate_.denominator / rate_.numerator) +
                  " s after the one before it; the times are damaged: --rate takes all frames, one "
                  "after the other");
  }
  if (!current_ && std::exchange(isAfterJump_, false)) next_ = first;
  until_ = first;
  if (current_ && next_ < until_) {
    // Shown until then; Pull() changes to the next picture.
    pending_ = std::move(picture);
    return;
  }
  if (current_ && !isShown_) ++dropped_;
  current_ = std::move(picture);
  isShown_ = false;
}

std::optional<NumberedPicture> RateConversion::Pull() {
  if (!current_ || next_ >= until_) return std::nullopt;
  if (isShown_) ++repeated_;
  isShown_ = true;
  NumberedPicture shown{next_++, ShareMemory(*current_)};
  if (next_ >= until_ && pending_) {
    current_ = std::move(pending_);
    isShown_ = false;
  }
  return shown;
}

void RateConversion::Jump() {
  current_ = nullptr;
  pending_ = nullptr;
  until_ = next_;
  isAfterJump_ = true;
}

std::string RateConversion::DescribeChanges() const {
  if (repeated_ + dropped_ == 0) return {};
  return Count(repeated_, "frame") + " repeated and " + Count(dropped_, "frame") +
         " dropped to keep " + Describe(rate_) + " frames per second";
}

}  // namespace vixprores
