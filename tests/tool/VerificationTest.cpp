// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>

#include <exception>
#include <memory>
#include <new>
#include <utility>

#include "SyntheticFrame.h"
#include "check/Verification.h"

namespace vixprores {
namespace {

/// Returns the same frame several times, then throws `end` if it is set.
class RepeatingReader : public FrameReader {
 public:
  RepeatingReader(Bytes frame, std::int64_t frames, std::exception_ptr end = nullptr)
      : bytes_(std::move(frame)),
        frame_(
            vix::CreateBuffer(nullptr, vix::CreateMemoryBlock(bytes_.data(), bytes_.size(), {}))),
        frames_(frames),
        end_(std::move(end)) {
    description_.name = "a.mov";
  }

  std::optional<NumberedFrame> Read() override {
    if (next_ == frames_ && end_) std::rethrow_exception(end_);
    if (next_ == frames_) return std::nullopt;
    NumberedFrame frame;
    frame.number = next_++;
    frame.data = frame_;
    frame.header = ParseHeader(bytes_);
    return frame;
  }

 private:
  Bytes bytes_;
  std::shared_ptr<vix::IBuffer> frame_;
  std::int64_t frames_;
  std::exception_ptr end_;
  std::int64_t next_ = 0;
};

TEST(VerifyFrames, CountsDamagedSlicesBeyondThoseItKeeps) {
  RepeatingReader reader(MakeFrameOfManySlices(), 4);
  Verification result;
  VerificationEvents events;
  events.damaged = [](const DamagedFrame&) {};
  events.progress = [](std::int64_t, std::uint64_t) {};
  VerifyFrames(reader, 1, events, result);
  ASSERT_EQ(result.damage.size(), 4u);
  EXPECT_EQ(result.damage[2].check.slices.size(), kManySlices);
  EXPECT_EQ(result.damage[3].check.slices.size(), 0u);
  EXPECT_EQ(result.damage[3].check.Describe(), "327680 damaged slices, not listed");
}

TEST(InspectFrames, ListsSlicesUpToALimit) {
  RepeatingReader reader(MakeFrameOfManySlices(), 4);
  StreamStatistics stream;
  NotableFrames notable;
  InspectFrames(reader, std::nullopt, true, stream, notable);
  ASSERT_EQ(stream.frames.size(), 4u);
  EXPECT_EQ(stream.frames[2].sliceList.size(), kManySlices);
  EXPECT_EQ(stream.frames[3].sliceList.size(), 0u);
  EXPECT_EQ(stream.frames[3].slices, kManySlices);
  EXPECT_EQ(stream.firstUnlisted, 3);
}

TEST(InspectFrames, KeepsTheFramesBeforeAFailure) {
  RepeatingReader reader(MakeFrame({2, 4, 6, 12}), 2, std::make_exception_ptr(std::bad_alloc()));
  StreamStatistics stream = DescribeInput(reader);
  NotableFrames notable;
  EXPECT_THROW(InspectFrames(reader, std::nullopt, false, stream, notable), std::bad_alloc);
  EXPECT_EQ(stream.frames.size(), 2u);
}

}  // namespace
}  // namespace vixprores
