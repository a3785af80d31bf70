// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

#include "ReferenceCodec.h"
#include "encode/CoefficientEncoder.h"

namespace prores {
namespace {

using Bytes = std::vector<std::uint8_t>;
using Levels = std::vector<std::int16_t>;

struct RunLevel {
  std::size_t run;
  std::int16_t level;
};

/// Returns a component with these DC levels and AC triples.
Levels MakeLevels(const std::vector<std::int16_t>& dcs, const std::vector<RunLevel>& acs) {
  Levels levels(64 * dcs.size());
  std::copy(dcs.begin(), dcs.end(), levels.begin());
  std::size_t position = dcs.size() - 1;
  for (const RunLevel& ac : acs) {
    position += ac.run + 1;
    levels.at(position) = ac.level;
  }
  return levels;
}

Bytes Write(const Levels& levels) {
  Bytes bytes(CountCoefficientBytes(levels));
  EXPECT_TRUE(WriteCoefficients(levels, bytes));
  return bytes;
}

Levels ReadBack(const Bytes& bytes, std::size_t blocks) {
  const std::vector<int> levels = reference::DecodeComponent(bytes, static_cast<int>(blocks));
  return {levels.begin(), levels.end()};
}

TEST(CoefficientEncoder, WritesTheKnownBytesOfDcLevels) {
  EXPECT_EQ(Write(MakeLevels({10, 20, 30, 40}, {})), (Bytes{0xD1, 0xC7, 0x1C}));
  EXPECT_EQ(Write(MakeLevels({10, -20, 35, 36}, {})), (Bytes{0xD0, 0x43, 0x1D, 0x68}));
  EXPECT_EQ(Write(MakeLevels({5, 5, 5, 6}, {})), (Bytes{0xAA, 0x2C}));
  EXPECT_EQ(Write(MakeLevels({0, -1, -3, -6}, {})), (Bytes{0x82, 0x59, 0x80}));
  EXPECT_EQ(Write(MakeLevels({-300, -300, -299, -300}, {})), (Bytes{0x09, 0xDE, 0x1E}));
}

TEST(CoefficientEncoder, WritesTheKnownBytesOfAcLevels) {
  EXPECT_EQ(Write(MakeLevels({0, 0, 0, 0}, {{0, 1}, {0, -2}, {5, 3}, {0, 1}})),
            (Bytes{0x82, 0x3D, 0x61, 0x09, 0x40}));
  EXPECT_EQ(Write(MakeLevels({0, 0, 0, 0}, {{0, -40}, {0, 9}, {16, -1}, {1, 1}, {2, 5}})),
            (Bytes{0x82, 0x38, 0x13, 0xEC, 0x03, 0xE6, 0xC4, 0x50}));
  EXPECT_EQ(Write(MakeLevels(std::vector<std::int16_t>(8), {{0, 8}, {7, -8}, {0, 3}})),
            (Bytes{0x82, 0x3F, 0x8E, 0x0C, 0x4E, 0x40}));
  EXPECT_EQ(Write(MakeLevels({16, -16}, {{0, 5}, {1, -3}})), (Bytes{0x40, 0x11, 0xE2, 0x14, 0x80}));
}

/// Returns levels of every density, size up to `maxLevel` and distance.
Levels RandomLevels(std::size_t blocks, unsigned density, int maxLevel, std::mt19937& random) {
  Levels levels(64 * blocks);
  for (std::int16_t& level : levels) {
    if (random() % 1024 >= density) continue;
    const int limit = std::max(1, maxLevel >> random() % 14);
    const int magnitude = static_cast<int>(random() % static_cast<unsigned>(limit)) + 1;
    level = static_cast<std::int16_t>(random() % 2 == 0 ? magnitude : -magnitude);
  }
  return levels;
}

TEST(CoefficientEncoder, WritesAsManyBytesAsItCountsAndTheReferenceReadsThemBack) {
  std::mt19937 random(1);
  for (const std::size_t blocks : {2U, 4U, 8U, 16U, 32U}) {
    for (const unsigned density : {0U, 1U, 10U, 100U, 500U, 1024U}) {
      for (const int maxLevel : {1, 3, 40, 8192}) {
        const Levels levels = RandomLevels(blocks, density, maxLevel, random);
        const Bytes bytes = Write(levels);
        ASSERT_EQ(ReadBack(bytes, blocks), levels)
            << blocks << " blocks, density " << density << ", up to " << maxLevel;
      }
    }
  }
}

TEST(CoefficientEncoder, CodesTheLongestRunsAndTheLargestLevels) {
  for (const std::size_t blocks : {2U, 32U}) {
    Levels levels(64 * blocks);
    levels.back() = -8192;
    levels[0] = 8192;
    levels[1] = -8192;
    EXPECT_EQ(ReadBack(Write(levels), blocks), levels);

    Levels extremes(64 * blocks);
    for (std::size_t i = 0; i < extremes.size(); ++i) extremes[i] = i % 2 == 0 ? 8192 : -8192;
    EXPECT_EQ(ReadBack(Write(extremes), blocks), extremes);
  }
}

TEST(CoefficientEncoder, RejectsADestinationOfAnotherSizeAndStaysInsideIt) {
  std::mt19937 random(2);
  const Levels levels = RandomLevels(8, 300, 100, random);
  const std::size_t needed = CountCoefficientBytes(levels);
  for (const std::size_t room : {std::size_t{0}, needed / 2, needed - 1, needed + 1}) {
    Bytes bytes(needed + 16, 0xAA);
    EXPECT_FALSE(WriteCoefficients(levels, std::span(bytes).first(room))) << room;
    const auto behind = bytes.begin() + static_cast<std::ptrdiff_t>(room);
    EXPECT_TRUE(std::all_of(behind, bytes.end(), [](int byte) { return byte == 0xAA; })) << room;
  }
}

}  // namespace
}  // namespace prores
