// SPDX-License-Identifier: BSD-2-Clause
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

#include "base/Errors.h"
#include "media/FrameReader.h"

namespace vixprores {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

class FakeReader : public FrameReader {
 public:
  FakeReader(std::int64_t frames, bool isCountKnown, std::int64_t damaged = -1)
      : frames_(frames), damaged_(damaged) {
    description_.name = "clip.mov";
    if (isCountKnown) description_.frames = frames;
  }

  std::optional<NumberedFrame> Read() override {
    if (read_ == frames_) return std::nullopt;
    const std::int64_t number = read_++;
    if (number == damaged_) throw FrameFailure(GetName(), number, "is damaged");
    return NumberedFrame{number, 100 * number};
  }

 private:
  std::int64_t frames_;
  std::int64_t damaged_;  // number of that frame
  std::int64_t read_ = 0;
};

std::vector<std::int64_t> ReadAll(FrameReader& reader, const std::optional<FrameRange>& range) {
  RangeReader frames(reader, range);
  std::vector<std::int64_t> numbers;
  while (const auto frame = frames.Read()) {
    EXPECT_EQ(frame->offset, 100 * frame->number);
    numbers.push_back(frame->number);
  }
  return numbers;
}

std::string Reject(std::int64_t frames, bool isCountKnown, const std::optional<FrameRange>& range) {
  FakeReader reader(frames, isCountKnown);
  try {
    ReadAll(reader, range);
  } catch (const Failure& failure) {
    return failure.what();
  }
  return "read";
}

TEST(RangeReader, ReturnsAllFramesOrThoseOfTheRange) {
  FakeReader all(3, true);
  EXPECT_THAT(ReadAll(all, std::nullopt), ElementsAre(0, 1, 2));
  FakeReader some(9, false);
  EXPECT_THAT(ReadAll(some, FrameRange{2, 4}), ElementsAre(2, 3, 4));
}

TEST(RangeReader, ReadsAnOpenRangeToTheEnd) {
  for (const bool isCountKnown : {true, false}) {
    FakeReader reader(5, isCountKnown);
    EXPECT_THAT(ReadAll(reader, FrameRange{3}), ElementsAre(3, 4));
    EXPECT_THAT(Reject(3, isCountKnown, FrameRange{3}), HasSubstr("but the range asks for 3-"));
  }
}

TEST(RangeReader, RejectsARangePastTheEnd) {
  for (const bool isCountKnown : {true, false}) {
    EXPECT_THAT(Reject(3, isCountKnown, FrameRange{1, 3}),
                HasSubstr("clip.mov: has 3 frames (0-2), but the range asks for 1-3"));
  }
}

TEST(RangeReader, ResumesAfterADamagedFrame) {
  FakeReader reader(4, true, 1);
  RangeReader frames(reader, std::nullopt);
  EXPECT_EQ(frames.Read()->number, 0);
  EXPECT_THROW(frames.Read(), FrameFailure);
  EXPECT_EQ(frames.Read()->number, 2);
}

TEST(RangeReader, IgnoresADamagedFrameBeforeTheRange) {
  FakeReader reader(4, true, 1);
  EXPECT_THAT(ReadAll(reader, FrameRange{2, 3}), ElementsAre(2, 3));
}

TEST(RangeReader, RejectsAnInputWithoutFrames) {
  EXPECT_THAT(Reject(0, false, std::nullopt), HasSubstr("clip.mov: holds no frames"));
}

}  // namespace
}  // namespace vixprores
