// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>

#include <cstdint>
#include <limits>

#include "vix/ProResRates.h"

namespace vix {
namespace {

constexpr auto kProxy = ProResCodecVariant::Proxy;
constexpr auto kLT = ProResCodecVariant::LT;
constexpr auto kStandard = ProResCodecVariant::Standard;
constexpr auto kHQ = ProResCodecVariant::HQ;
using Class = VideoResolution;

TEST(ProResRates, ArePublishedTargetRates) {
  EXPECT_EQ(GetProResVideoRateMbps(kProxy, {25, 1}, Class::Lines1080), 38u);
  EXPECT_EQ(GetProResVideoRateMbps(kLT, {25, 1}, Class::Lines1080), 85u);
  EXPECT_EQ(GetProResVideoRateMbps(kStandard, {30, 1}, Class::Lines1080), 147u);
  EXPECT_EQ(GetProResVideoRateMbps(kHQ, {60, 1}, Class::Lines1080), 440u);
  EXPECT_EQ(GetProResVideoRateMbps(kStandard, {25, 1}, Class::Lines576), 41u);
  EXPECT_EQ(GetProResVideoRateMbps(kHQ, {30, 1}, Class::Lines480), 63u);
  EXPECT_EQ(GetProResVideoRateMbps(kLT, {50, 1}, Class::Lines720), 84u);
  EXPECT_EQ(GetProResVideoRateMbps(kHQ, {60, 1}, Class::Lines2160), 1768u);
}

TEST(ProResRates, ApplyToThe1000By1001FormOfARate) {
  for (const EditRate rate : {EditRate{30000, 1001}, EditRate{2997, 100}, EditRate{30, 1}}) {
    EXPECT_EQ(GetProResVideoRateMbps(kHQ, rate, Class::Lines1080), 220u);
  }
  for (const EditRate rate : {EditRate{24000, 1001}, EditRate{23976, 1000}, EditRate{48, 2}}) {
    EXPECT_EQ(GetProResVideoRateMbps(kProxy, rate, Class::Lines2160), 145u);
  }
}

TEST(ProResRates, AreScaledFromTheNearestListedRate) {
  EXPECT_EQ(GetProResVideoRateMbps(kStandard, {48, 1}, Class::Lines1080), 235u);   // 245 x 48/50
  EXPECT_EQ(GetProResVideoRateMbps(kStandard, {120, 1}, Class::Lines1080), 586u);  // 293 x 2
  EXPECT_EQ(GetProResVideoRateMbps(kStandard, {12, 1}, Class::Lines1080), 59u);    // 117 / 2, up
  EXPECT_EQ(GetProResVideoRateMbps(kHQ, {50, 1}, Class::Lines576), 122u);          // 61 x 2
  EXPECT_EQ(GetProResVideoRateMbps(kHQ, {27, 1}, Class::Lines480), 56u);  // 50 x 27/24, not 63
  EXPECT_EQ(GetProResVideoRateMbps(kHQ, {1, 1000}, Class::Lines1080), 0u);
}

TEST(ProResRates, AreHalvedForFields) {
  EXPECT_EQ(GetProResVideoRateMbps(kHQ, {30000, 1001}, Class::Lines240), 32u);  // 63 / 2, up
  EXPECT_EQ(GetProResVideoRateMbps(kLT, {25, 1}, Class::Lines288), 14u);
  EXPECT_EQ(GetProResVideoRateMbps(kHQ, {50, 1}, Class::Lines288), 61u);
}

TEST(ProResRates, AreThoseOf1080LinesForUnrecognisedResolutions) {
  for (const auto resolution : {Class::Unrecognised, static_cast<Class>(99)}) {
    EXPECT_EQ(GetProResVideoRateMbps(kStandard, {25, 1}, resolution), 122u);
  }
}

TEST(ProResRates, RiseWithTheVariant) {
  for (const auto resolution : {Class::Lines240, Class::Lines288, Class::Lines480, Class::Lines576,
                                Class::Lines720, Class::Lines1080, Class::Lines2160}) {
    for (const std::int32_t framesPerSecond : {24, 25, 30, 48, 50, 60, 100}) {
      std::uint32_t last = 0;
      for (const auto variant : {kProxy, kLT, kStandard, kHQ}) {
        const auto rate = GetProResVideoRateMbps(variant, {framesPerSecond, 1}, resolution);
        EXPECT_GT(rate, last);
        last = rate;
      }
    }
  }
}

TEST(ProResRates, AreUnknownForUnknownVariants) {
  for (const std::int32_t variant :
       {0, 5, -1, std::numeric_limits<std::int32_t>::min(), std::numeric_limits<int>::max()}) {
    EXPECT_EQ(
        GetProResVideoRateMbps(static_cast<ProResCodecVariant>(variant), {25, 1}, Class::Lines1080),
        0u);
  }
}

TEST(ProResRates, AreUnknownForEditRatesThatAreNotPositive) {
  for (const EditRate rate : {EditRate{0, 1}, EditRate{25, 0}, EditRate{-25, 1}, EditRate{25, -1},
                              EditRate{-25, -1}, EditRate{0, 0}}) {
    EXPECT_EQ(GetProResVideoRateMbps(kHQ, rate, Class::Lines1080), 0u);
  }
}

TEST(ProResRates, StayInRangeForExtremeEditRates) {
  constexpr std::int32_t kMaximum = std::numeric_limits<std::int32_t>::max();
  EXPECT_EQ(GetProResVideoRateMbps(kHQ, {kMaximum, 1}, Class::Lines2160),
            std::numeric_limits<std::uint32_t>::max());
  EXPECT_EQ(GetProResVideoRateMbps(kHQ, {1, kMaximum}, Class::Lines2160), 0u);
  EXPECT_EQ(GetProResVideoRateMbps(kHQ, {kMaximum, kMaximum}, Class::Lines2160), 29u);  // 707 / 24
}

}  // namespace
}  // namespace vix
