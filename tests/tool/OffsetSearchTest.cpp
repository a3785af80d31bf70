// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>

#include <random>

#include "check/OffsetSearch.h"

namespace vixprores {
namespace {

// Returns pictures that change from frame to frame, those of a video from frame `first` on.
std::vector<SmallPicture> Pictures(int first, int count) {
  std::vector<SmallPicture> pictures;
  for (int frame = first; frame < first + count; ++frame) {
    std::minstd_rand random(static_cast<unsigned>(frame));
    SmallPicture picture(12);
    for (std::uint8_t& value : picture) value = static_cast<std::uint8_t>(random() >> 8U);
    pictures.push_back(picture);
  }
  return pictures;
}

TEST(FindOffset, FindsPicturesInBothDirections) {
  EXPECT_EQ(FindOffset(Pictures(100, 40), Pictures(93, 40)), 7);
  EXPECT_EQ(FindOffset(Pictures(100, 40), Pictures(107, 40)), -7);
  EXPECT_EQ(FindOffset(Pictures(100, 100), Pictures(50, 100)), kLargestOffset);
}

TEST(FindOffset, SkipsPicturesThatAreMissing) {
  auto distorted = Pictures(98, 40);
  distorted[5].clear();
  EXPECT_EQ(FindOffset(Pictures(100, 40), distorted), 2);
}

TEST(FindOffset, FindsNoneIfNothingMatchesBetter) {
  EXPECT_EQ(FindOffset(Pictures(100, 40), Pictures(100, 40)), std::nullopt);
  EXPECT_EQ(FindOffset(Pictures(100, 30), Pictures(171, 30)), std::nullopt);
  EXPECT_EQ(FindOffset(std::vector<SmallPicture>(9, SmallPicture(12, 7)),
                       std::vector<SmallPicture>(9, SmallPicture(12, 7))),
            std::nullopt);
  EXPECT_EQ(FindOffset(Pictures(0, 2), Pictures(1, 2)), std::nullopt);
  EXPECT_EQ(FindOffset({}, {}), std::nullopt);
}

}  // namespace
}  // namespace vixprores
