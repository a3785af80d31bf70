// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <vector>

#include "bitstream/SliceHeader.h"
#include "rate/QuantiserLadder.h"
#include "transform/ForwardTransform.h"
#include "transform/Quantise.h"

namespace prores {
namespace {

/// Enough blocks for every coefficient to occur at some AC position.
constexpr std::size_t kBlocks = (2 * kMaxCoefficient + 1) / 63 + 1;

QuantMatrix Flat(std::uint8_t weight) {
  QuantMatrix matrix{};
  matrix.fill(weight);
  return matrix;
}

/// Every coefficient from -kMaxCoefficient to kMaxCoefficient at the AC positions, and one in 63 of
/// them at the DC positions.
const std::vector<std::int16_t>& EveryCoefficient() {
  static const std::vector<std::int16_t> coefficients = [] {
    std::vector<std::int16_t> all(64 * kBlocks);
    for (std::size_t i = 0; i < all.size(); ++i) {
      const std::size_t value = i < kBlocks ? 63 * i : i - kBlocks;
      all[i] = static_cast<std::int16_t>(
          std::min(static_cast<int>(value) - kMaxCoefficient, kMaxCoefficient));
    }
    return all;
  }();
  return coefficients;
}

/// floor(|coefficient| / step + offset / 64) with the sign of the coefficient.
int ExactLevel(int coefficient, int step, int offset) {
  const int magnitude = (std::abs(coefficient) * 64 + offset * step) / (64 * step);
  return coefficient < 0 ? -magnitude : magnitude;
}

void ExpectExact(const Quantiser& quantiser, int step, RoundingOffsets rounding) {
  std::vector<std::int16_t> levels(64 * kBlocks);
  quantiser.Quantise(EveryCoefficient().data(), kBlocks, levels.data());
  for (std::size_t i = 0; i < levels.size(); ++i) {
    const int offset = i < kBlocks ? rounding.dc : rounding.ac;
    const int expected = ExactLevel(EveryCoefficient()[i], step, offset);
    ASSERT_EQ(levels[i], expected) << EveryCoefficient()[i] << " / " << step;
    ASSERT_LE(std::abs(expected * step), 32767);
  }
}

TEST(Quantiser, DividesExactlyByEveryStepOfTheLadder) {
  FrameHeader header;
  QuantiserLadder ladder;
  ladder.Prepare(header);
  for (unsigned rung = 0; rung <= kCoarsestRung; ++rung) {
    const int step = static_cast<int>(4 * QuantizerScale(QuantisationIndex(rung)));
    ExpectExact(ladder[rung].luma, step, rung == 0 ? kNearestRounding : kDeadZoneRounding);
  }
}

TEST(Quantiser, DividesExactlyByTheLeastAndTheLargestStep) {
  for (const int weight : {4, 5, 6, 7, 62, 63}) {
    for (const int scale : {1, 3, 127, 508, 512}) {
      const Quantiser quantiser(Flat(static_cast<std::uint8_t>(weight)),
                                static_cast<unsigned>(scale), kProgressiveScan, kNearestRounding);
      ExpectExact(quantiser, weight * scale, kNearestRounding);
    }
  }
}

TEST(Quantiser, TakesTheWeightOfEachScanPosition) {
  QuantMatrix weights{};
  for (std::size_t i = 0; i < 64; ++i)
    weights[i] = static_cast<std::uint8_t>(std::clamp<std::size_t>(i + 1, 4, 63));
  for (const ScanTable* scan : {&kProgressiveScan, &kInterlacedScan}) {
    const Quantiser quantiser(weights, 2, *scan, kNearestRounding);
    const std::vector<std::int16_t> coefficients(64, 10'000);
    std::vector<std::int16_t> levels(64);
    quantiser.Quantise(coefficients.data(), 1, levels.data());
    for (std::size_t position = 0; position < 64; ++position) {
      EXPECT_EQ(levels[position], ExactLevel(10'000, 2 * weights[(*scan)[position]], 32));
    }
  }
}

TEST(QuantiserLadder, FollowsTheMatricesAndTheScanOfTheFrame) {
  FrameHeader header;
  QuantiserLadder ladder;
  const auto level = [&ladder](unsigned component, std::size_t position) {
    const std::vector<std::int16_t> coefficients(64, 1000);
    std::vector<std::int16_t> levels(64);
    ladder[1].ForComponent(component).Quantise(coefficients.data(), 1, levels.data());
    return levels[position];
  };
  ladder.Prepare(header);
  EXPECT_EQ(level(0, 1), 250);
  EXPECT_EQ(level(1, 1), 250);

  header.lumaMatrix[1] = 10;  // scan position 1 when progressive, 2 when interlaced
  header.chromaMatrix[1] = 20;
  ladder.Prepare(header);
  EXPECT_EQ(level(0, 1), 100);
  EXPECT_EQ(level(2, 1), 50);

  header.interlaceMode = InterlaceMode::kTopFieldFirst;
  ladder.Prepare(header);
  EXPECT_EQ(level(0, 1), 250);
  EXPECT_EQ(level(0, 2), 100);
  EXPECT_EQ(level(1, 2), 50);
}

}  // namespace
}  // namespace prores
