// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <span>
#include <vector>

#include "format/PlanarPicture.h"
#include "format/TestPicture.h"

namespace vixprores {
namespace {

constexpr std::uint32_t kWidth = 96;
constexpr std::uint32_t kHeight = 64;

using Samples = std::vector<unsigned>;

StreamFormat MakeFormat(vix::FourCC code, FieldOrder order = FieldOrder::Progressive) {
  StreamFormat format;
  format.code = code;
  format.width = kWidth;
  format.height = kHeight;
  format.fieldOrder = order;
  return format;
}

Samples Draw(const StreamFormat& format, std::uint32_t frame) {
  std::vector<std::uint8_t> planar(PlanarBytes(format));
  TestPicture().Draw(format, frame, planar);
  Samples samples;
  const bool isWide = SampleBits(format) > 8;
  for (std::size_t i = 0; i < planar.size(); i += isWide ? 2 : 1) {
    samples.push_back(isWide ? planar[i] | unsigned{planar[i + 1]} << 8 : planar[i]);
  }
  return samples;
}

// Returns the number of luma rows that are equal in two pictures.
std::set<std::size_t> EqualRows(const Samples& first, const Samples& second) {
  std::set<std::size_t> rows;
  for (std::size_t row = 0; row < kHeight; ++row) {
    const auto begin = static_cast<std::ptrdiff_t>(row * kWidth);
    if (std::equal(first.begin() + begin, first.begin() + begin + kWidth, second.begin() + begin)) {
      rows.insert(row);
    }
  }
  return rows;
}

TEST(TestPicture, IsDeterministic) {
  const StreamFormat format = MakeFormat(vix::kFourCC_V210);
  EXPECT_EQ(Draw(format, 7), Draw(format, 7));
}

TEST(TestPicture, MovesFromFrameToFrame) {
  const StreamFormat format = MakeFormat(vix::kFourCC_V210);
  EXPECT_TRUE(EqualRows(Draw(format, 0), Draw(format, 1)).empty());
}

TEST(TestPicture, StaysInTheVideoRange) {
  const Samples samples = Draw(MakeFormat(vix::kFourCC_V210), 3);
  const auto [lowest, highest] = std::ranges::minmax(samples);
  EXPECT_GE(lowest, 64u);
  EXPECT_LE(highest, 960u);
  EXPECT_GT(highest - lowest, 200u) << "nearly flat";
}

TEST(TestPicture, Has8BitsInUyvy) {
  const Samples wide = Draw(MakeFormat(vix::kFourCC_V210), 2);
  Samples expected;
  for (const unsigned sample : wide) expected.push_back(sample >> 2);
  EXPECT_EQ(Draw(MakeFormat(vix::kFourCC_UYVY), 2), expected);
}

TEST(TestPicture, HasChromaForEveryPixelIn444) {
  const Samples wide = Draw(MakeFormat(vix::kFourCC_V210), 2);
  const Samples deep = Draw(MakeFormat(vix::kFourCC_Y416), 2);
  ASSERT_EQ(deep.size(), 3 * kWidth * kHeight);
  for (std::size_t i = 0; i < kWidth * kHeight; ++i) ASSERT_EQ(deep[i], wide[i] << 2) << i;
  const auto [lowest, highest] =
      std::ranges::minmax(std::span(deep).subspan(std::size_t{kWidth} * kHeight));
  EXPECT_GE(lowest, 256u);
  EXPECT_LE(highest, 3840u);
  EXPECT_GT(highest - lowest, 400u) << "nearly flat";
}

TEST(TestPicture, SecondFieldsAreLater) {
  const Samples progressive = Draw(MakeFormat(vix::kFourCC_V210), 1);
  const Samples interlaced = Draw(MakeFormat(vix::kFourCC_V210, FieldOrder::TopFirst), 1);
  const auto equal = EqualRows(progressive, interlaced);
  EXPECT_EQ(equal.size(), kHeight / 2);
  for (const std::size_t row : equal) EXPECT_EQ(row % 2, 0u);
}

TEST(CountTestPictures, DrawsEveryFrameOfShortClips) {
  constexpr std::uint32_t k1080p = 5529600;
  constexpr std::uint32_t k2160p = 22118400;
  EXPECT_EQ(CountTestPictures(1, k1080p), 1u);
  EXPECT_EQ(CountTestPictures(24, k2160p), 24u);
}

TEST(CountTestPictures, IsBoundedInNumberAndInMemory) {
  EXPECT_EQ(CountTestPictures(10000, 64), 256u);
  EXPECT_EQ(CountTestPictures(10000, 5529600), 97u);
  EXPECT_EQ(CountTestPictures(10000, 0xFFFFFFFF), 1u);
}

}  // namespace
}  // namespace vixprores
