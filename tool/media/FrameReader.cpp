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
                "), but the range asks for " + Describe(range));
}

namespace {

// Replaces numbers of files by numbers of frames.
void CountFromFirst(const InputDescription& input, FrameRange& range) {
  if (input.firstNumber == 0) return;
  const std::int64_t first = input.firstNumber;
  const std::int64_t last = first + *input.frames - 1;
  const bool startsWithin =
      !range.firstTimecode.empty() || (range.first >= first && range.first <= last);
  const bool endsWithin = !range.lastTimecode.empty() || range.IsOpen() || range.last <= last;
  if (!startsWithin || !endsWithin) {
    throw Failure(input.name + ": has the numbers " + Describe(FrameRange{first, last}) +
                  ", but the range asks for " + Describe(range));
  }
  range.first -= first;
  if (!range.IsOpen()) range.last -= first;
}

}  // namespace

std::optional<FrameRange> ResolveRange(const std::optional<FrameRange>& range,
                                       const FrameReader& reader,
                                       const std::optional<Timecode>& start) {
  if (!range) return std::nullopt;
  const InputDescription& input = reader.GetDescription();
  FrameRange numbers = *range;
  CountFromFirst(input, numbers);
  const auto resolved = ResolveRange(numbers, start, reader.GetName());
  const bool hasTimecodes = !range->firstTimecode.empty() || !range->lastTimecode.empty();
  if (hasTimecodes && start && input.frames && resolved.Exceeds(*input.frames)) {
    throw Failure(input.name + ": has the timecodes " + start->ToText() + "-" +
                  (*start + (*input.frames - 1)).ToText() + ", but the range asks for " +
                  DescribeAsGiven(*range));
  }
  return resolved;
}

std::optional<FrameRange> ResolveRange(const std::optional<FrameRange>& range,
                                       const FrameReader& reader) {
  return ResolveRange(range, reader, reader.GetDescription().timecode);
}

RangeReader::RangeReader(FrameReader& reader, const std::optional<FrameRange>& range)
    : reader_(reader), range_(range) {
  const auto available = reader.GetDescription().frames;
  if (!range_) return;
  if (available && range_->Exceeds(*available)) {
    FailPastTheEnd(reader.GetName(), *range_, *available);
  }
  SkipTo(range_->first);
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
    if (!frame && range_ && range_->Exceeds(next_))
      FailPastTheEnd(reader_.GetName(), *range_, next_);
    if (!frame) return std::nullopt;
    next_ = frame->number + 1;
    if (frame->number >= first_) return frame;
  }
  return std::nullopt;
}

}  // namespace vixprores
