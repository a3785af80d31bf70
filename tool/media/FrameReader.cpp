// SPDX-License-Identifier: BSD-2-Clause
#include "media/FrameReader.h"

#include <string>
#include <utility>

#include "base/Errors.h"
#include "base/Interrupt.h"
#include "base/Text.h"

namespace vixprores {

void FailPastTheEnd(const std::string& name, const FrameRange& range, std::int64_t count) {
  throw Failure(name + ": has " + Count(count, "frame") + " (0-" + std::to_string(count - 1) +
                "), but --frames asks for " + std::to_string(range.first) + "-" +
                std::to_string(range.last));
}

RangeReader::RangeReader(FrameReader& reader, const std::optional<FrameRange>& range)
    : reader_(reader), range_(range) {
  const auto available = reader.GetDescription().frames;
  if (range && available && range->last >= *available) {
    FailPastTheEnd(reader.GetName(), *range, *available);
  }
  if (range) SkipTo(range->first);
}

void RangeReader::SkipTo(std::int64_t frame) {
  first_ = std::max(first_, frame);
  if (first_ > next_ && reader_.SkipTo(first_)) next_ = first_;
}

std::optional<NumberedFrame> RangeReader::Read() {
  while (!range_ || next_ <= range_->last) {
    CheckInterrupt();
    std::optional<NumberedFrame> frame;
    try {
      frame = reader_.Read();
    } catch (const FrameFailure& failure) {
      next_ += failure.GetCount();
      if (next_ > first_) throw;
      continue;
    }
    if (!frame && next_ == 0) throw Failure(reader_.GetName() + ": holds no frames");
    if (!frame && range_) FailPastTheEnd(reader_.GetName(), *range_, next_);
    if (!frame) return std::nullopt;
    next_ = frame->number + 1;
    if (frame->number >= first_) return frame;
  }
  return std::nullopt;
}

}  // namespace vixprores
