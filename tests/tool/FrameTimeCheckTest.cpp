// SPDX-License-Identifier: BSD-2-Clause
#include <gmock/gmock.h>

#include "media/container/FrameTimeCheck.h"

namespace vixprores {
namespace {

using testing::HasSubstr;

constexpr Rational kRate{25, 1};
constexpr AVRational kMilliseconds{1, 1000};

struct FrameTimeCheckTest : testing::Test {
  FrameTimeCheck Make(FrameTimes times, std::int64_t first = 0) {
    FrameTimeCheck check(name, times);
    check.Start(kRate, kMilliseconds, first);
    return check;
  }

  std::string name = "clip.mov";
};

TEST_F(FrameTimeCheckTest, AcceptsTimesWithinATick) {
  auto check = Make(FrameTimes::Checked, 1000);
  EXPECT_FALSE(check.Take(0, 1000));
  EXPECT_FALSE(check.Take(1, 1041));
  EXPECT_EQ(check.CountUneven(), 0);
}

TEST_F(FrameTimeCheckTest, CountsMissingFrames) {
  auto check = Make(FrameTimes::GapsOnly);
  const auto gap = check.Take(1, 120);
  ASSERT_TRUE(gap);
  EXPECT_FALSE(gap->isAccepted);
  EXPECT_EQ(gap->missing, 2);
  EXPECT_THAT(check.MakeFailure(*gap, 5).what(), HasSubstr("clip.mov: has a variable frame rate"));
  EXPECT_EQ(check.MakeFailure(*gap, 5).GetCount(), 2);
  EXPECT_EQ(check.MakeFailure(*gap, 5).GetOffset(), 5);
  // The frame after the missing ones is on time.
  EXPECT_FALSE(check.Take(3, 120));
}

TEST_F(FrameTimeCheckTest, TreatsAGapOfHoursAsADamagedTime) {
  auto check = Make(FrameTimes::GapsOnly);
  const auto deviation = check.Take(1, 40 + 7200 * 1000);
  ASSERT_TRUE(deviation);
  EXPECT_EQ(deviation->missing, 0);
  EXPECT_TRUE(deviation->isAccepted);
}

TEST_F(FrameTimeCheckTest, CountsAcceptedFramesAtOddTimes) {
  auto check = Make(FrameTimes::GapsOnly);
  const auto odd = check.Take(1, 60);
  ASSERT_TRUE(odd);
  EXPECT_TRUE(odd->isAccepted);
  EXPECT_FALSE(check.Take(2, 100));
  EXPECT_EQ(check.CountUneven(), 1);
}

TEST_F(FrameTimeCheckTest, ComparesExtremeTimes) {
  for (const std::int64_t first : {INT64_MIN, INT64_MAX}) {
    for (const std::int64_t time : {INT64_MIN + 1, std::int64_t{0}, INT64_MAX}) {
      for (const FrameTimes times : {FrameTimes::Checked, FrameTimes::Ignored}) {
        auto check = Make(times, first);
        check.Take(1, time);
        check.Take(INT64_MAX / 2, time);
      }
    }
  }
}

}  // namespace
}  // namespace vixprores
