// SPDX-License-Identifier: BSD-2-Clause
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "base/Errors.h"
#include "format/Timecode.h"

namespace vixprores {
namespace {

using testing::HasSubstr;
using testing::ThrowsMessage;

constexpr Rational k25{25, 1};
constexpr Rational k2997{30000, 1001};
constexpr Rational k5994{60000, 1001};

std::string Later(const std::string& text, Rational rate, std::int64_t frames) {
  return (Timecode::Parse(text, rate) + frames).ToText();
}

TEST(Timecode, KeepsItsText) {
  for (const char* text : {"00:00:00:00", "10:11:12:13", "23:59:59:24"}) {
    EXPECT_EQ(Timecode::Parse(text, k25).ToText(), text);
  }
  for (const char* text : {"00:00:59;29", "00:01:00;02", "00:10:00;00", "23:59:59;29"}) {
    EXPECT_EQ(Timecode::Parse(text, k2997).ToText(), text);
  }
}

TEST(Timecode, CountsFrames) {
  EXPECT_EQ(Later("00:59:59:24", k25, 1), "01:00:00:00");
  EXPECT_EQ(Later("01:00:00:00", k25, 90000), "02:00:00:00");
  EXPECT_EQ(Later("01:00:00:00", {24000, 1001}, 24), "01:00:01:00");
  EXPECT_EQ(Later("00:00:00:00", {120, 1}, 119), "00:00:00:119");
}

TEST(Timecode, DropsLabelsOfNineMinutesOfTen) {
  EXPECT_EQ(Later("00:00:59;29", k2997, 1), "00:01:00;02");
  EXPECT_EQ(Later("00:09:59;29", k2997, 1), "00:10:00;00");
  EXPECT_EQ(Later("00:00:59;59", k5994, 1), "00:01:00;04");
  // An hour of dropped labels is an hour of the clock: 30000/1001 * 3600 = 107892.1 frames.
  EXPECT_EQ(Later("00:00:00;00", k2997, 107892), "01:00:00;00");
  EXPECT_EQ(Later("00:00:00:00", k2997, 108000), "01:00:00:00");
}

TEST(Timecode, GivesEveryFrameOfADayALabelOfItsOwn) {
  Timecode timecode = Timecode::Parse("00:00:00;00", k2997);
  for (std::int64_t frame = 0; frame < 2589408; frame += 997) {
    const Timecode later = timecode + frame;
    ASSERT_EQ(Timecode::Parse(later.ToText(), k2997), later) << frame;
  }
}

TEST(Timecode, StartsAgainAtMidnight) {
  EXPECT_EQ(Later("23:59:59:24", k25, 1), "00:00:00:00");
  EXPECT_EQ(Later("23:59:59;29", k2997, 1), "00:00:00;00");
  EXPECT_EQ(Later("00:00:00:00", k25, -1), "23:59:59:24");
}

TEST(Timecode, RejectsInvalidLabels) {
  const auto refuse = [](const std::string& text, Rational rate, const std::string& reason) {
    EXPECT_THAT([&] { Timecode::Parse(text, rate); }, ThrowsMessage<UsageError>(HasSubstr(reason)))
        << text;
    EXPECT_EQ(Timecode::Find(text, rate), std::nullopt) << text;
  };
  for (const char* text : {"", "1", "10:00:00", "10:00:00:0x", "aa:00:00:00", "10:00:00:00 ",
                           "-1:00:00:00", "10-00-00-00", "1:00:00:000", "10: 0:00:00"}) {
    refuse(text, k25, "write HH:MM:SS:FF");
  }
  refuse("24:00:00:00", k25, "00:00:00 to 23:59:59");
  refuse("10:60:00:00", k25, "00:00:00 to 23:59:59");
  refuse("10:00:00:25", k25, "from 00 to 24");
  refuse("10:00:00;00", k25, "drop frame is for 30000/1001");
  refuse("10:00:00;00", {24000, 1001}, "drop frame is for 30000/1001");
  refuse("10:00:00;00", {30, 1}, "drop frame is for 30000/1001");
  refuse("10:01:00;00", k2997, "ends in ;02");
  refuse("10:01:00;03", k5994, "ends in ;04");
  refuse("10:00:00:00", {12, 1}, "none at 12 frames");
}

}  // namespace
}  // namespace vixprores
