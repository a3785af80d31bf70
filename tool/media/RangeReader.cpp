// SPDX-License-Identifier: BSD-2-Clause
#include "media/RangeReader.h"

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
  const auto available = reader.GetFrameCount();
  if (range && available && range->last >= *available)
    FailPastTheEnd(reader.GetName(), *range, *available);
  if (range) SkipTo(range->first);
}

void RangeReader::SkipTo(std::int64_t frame) {
  first_ = std::max(first_, frame);
  if (first_ > next_ && reader_.SkipTo(first_)) next_ = first_;
}

std::optional<NumberedFrame> RangeReader::Read() {
  while (!range_ || next_ <= range_->last) {
    if (InterruptRequested()) throw Interrupted();
    std::shared_ptr<vix::IBuffer> data;
    try {
      data = reader_.Read();
    } catch (const FrameFailure& failure) {
      next_ += failure.GetCount();
      if (IsInRange(next_ - 1)) throw;
      continue;
    }
    if (!data && next_ == 0) throw Failure(reader_.GetName() + ": holds no frames");
    if (!data && range_) FailPastTheEnd(reader_.GetName(), *range_, next_);
    if (!data) return std::nullopt;
    const std::int64_t number = next_++;
    if (IsInRange(number)) {
      return NumberedFrame{number, reader_.GetFrameOffset(), std::move(data),
                           reader_.GetFrameFault()};
    }
  }
  return std::nullopt;
}

std::optional<std::int64_t> RangeReader::Count() const {
  return range_ ? range_->last - range_->first + 1 : reader_.GetFrameCount();
}

}  // namespace vixprores
