// SPDX-License-Identifier: BSD-2-Clause
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

#include "base/Errors.h"
#include "media/RangeReader.h"

namespace vixprores {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

class FakeReader : public FrameReader {
 public:
  FakeReader(std::int64_t frames, bool tellsCount, std::int64_t damaged = -1)
      : frames_(frames), tellsCount_(tellsCount), damaged_(damaged) {}

  const StreamFormat& GetFormat() const override { return format_; }
  const std::string& GetName() const override { return name_; }
  std::optional<std::int64_t> GetFrameCount() const override {
    return tellsCount_ ? std::optional(frames_) : std::nullopt;
  }
  bool ReadsFrom(const std::string& /*path*/) const override { return false; }
  std::optional<std::int64_t> GetFrameOffset() const override { return 100 * read_; }
  std::shared_ptr<vix::IBuffer> Read() override {
    if (read_ == frames_) return nullptr;
    if (++read_ == damaged_ + 1) throw FrameFailure(name_, damaged_, "is damaged");
    return vix::CreateBuffer(nullptr, vix::CreateMemoryBlock(nullptr, 0, {}));
  }

 private:
  std::int64_t frames_;
  bool tellsCount_;
  std::int64_t damaged_;  // number of that frame
  std::int64_t read_ = 0;
  StreamFormat format_;
  std::string name_ = "clip.mov";
};

std::vector<std::int64_t> ReadAll(FrameReader& reader, const std::optional<FrameRange>& range) {
  RangeReader frames(reader, range);
  std::vector<std::int64_t> numbers;
  while (const auto frame = frames.Read()) {
    EXPECT_EQ(frame->offset, 100 * (frame->number + 1));
    numbers.push_back(frame->number);
  }
  return numbers;
}

std::string Refuse(std::int64_t frames, bool tellsCount, const std::optional<FrameRange>& range) {
  FakeReader reader(frames, tellsCount);
  try {
    ReadAll(reader, range);
  } catch (const Failure& failure) {
    return failure.what();
  }
  return "read";
}

TEST(RangeReader, GivesAllFramesOrThoseOfTheRange) {
  FakeReader all(3, true);
  EXPECT_THAT(ReadAll(all, std::nullopt), ElementsAre(0, 1, 2));
  FakeReader some(9, false);
  EXPECT_THAT(ReadAll(some, FrameRange{2, 4}), ElementsAre(2, 3, 4));
}

TEST(RangeReader, RefusesARangePastTheEnd) {
  for (const bool tellsCount : {true, false}) {
    EXPECT_THAT(Refuse(3, tellsCount, FrameRange{1, 3}),
                HasSubstr("clip.mov: has 3 frames (0-2), but --frames asks for 1-3"));
  }
}

TEST(RangeReader, GoesOnBehindADamagedFrame) {
  FakeReader reader(4, true, 1);
  RangeReader frames(reader, std::nullopt);
  EXPECT_EQ(frames.Read()->number, 0);
  EXPECT_THROW(frames.Read(), FrameFailure);
  EXPECT_EQ(frames.Read()->number, 2);
}

TEST(RangeReader, PassesOverADamagedFrameBeforeTheRange) {
  FakeReader reader(4, true, 1);
  EXPECT_THAT(ReadAll(reader, FrameRange{2, 3}), ElementsAre(2, 3));
}

TEST(RangeReader, RefusesAnInputWithoutFrames) {
  EXPECT_THAT(Refuse(0, false, std::nullopt), HasSubstr("clip.mov: holds no frames"));
}

}  // namespace
}  // namespace vixprores
