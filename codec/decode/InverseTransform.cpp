// SPDX-License-Identifier: BSD-2-Clause
#include "decode/InverseTransform.h"

#include <algorithm>

#include "Ensure.h"
#include "decode/InverseGraph.h"

namespace prores {
namespace {

constexpr std::uint32_t kLanes = 8;  // blocks transformed side by side

template <typename T>
using LaneBlock = std::array<std::array<T, kLanes>, kBlockSamples>;  // raster order

// The flow graph below requires input k multiplied by sqrt(2) cos(k pi / 16) (1 for k = 0), and
// gives sqrt(8) times the orthonormal inverse.
constexpr std::array<double, kBlockSize> kGraphGain{
    1.0, 1.3870398453221475, 1.3065629648763766, 1.1758756024193588,
    1.0, 0.7856949583871022, 0.5411961001461971, 0.2758993792829431};

/// Eight-point inverse DCT of one line of each block, in place, after the factored flow graph of
/// Arai, Agui and Nakajima (five multiplications). The line's values are `kStep` apart.
template <std::size_t kStep>
void TransformLine(std::array<float, kLanes>* line) {
  using namespace inverse_graph;
  for (std::size_t lane = 0; lane < kLanes; ++lane) {
    const auto at = [&](std::size_t k) -> float& { return line[k * kStep][lane]; };

    const float sum04 = at(0) + at(4), difference04 = at(0) - at(4);
    const float sum26 = at(2) + at(6), turned26 = (at(2) - at(6)) * kSqrt2 - sum26;
    const float even0 = sum04 + sum26, even3 = sum04 - sum26;
    const float even1 = difference04 + turned26, even2 = difference04 - turned26;

    const float sum17 = at(1) + at(7), difference17 = at(1) - at(7);
    const float sum53 = at(5) + at(3), difference53 = at(5) - at(3);
    const float common = (difference53 + difference17) * kTwoCos2;
    const float odd0 = sum17 + sum53;
    const float odd1 = common - difference53 * kCos2PlusCos6 - odd0;
    const float odd2 = (sum17 - sum53) * kSqrt2 - odd1;
    const float odd3 = common - difference17 * kCos2MinusCos6 - odd2;

    at(0) = even0 + odd0;
    at(7) = even0 - odd0;
    at(1) = even1 + odd1;
    at(6) = even1 - odd1;
    at(2) = even2 + odd2;
    at(5) = even2 - odd2;
    at(3) = even3 + odd3;
    at(4) = even3 - odd3;
  }
}

/// Adds the offset of all samples to the DC. Lanes without a block are zero.
void LoadDequantized(const std::int16_t* coefficients, std::uint32_t blocks, std::uint32_t count,
                     const InversePlan& plan, float scale, LaneBlock<float>& block) {
  for (std::size_t i = 0; i < kBlockSamples; ++i) {
    const std::int16_t* const values = coefficients + plan.positions[i] * blocks;
    const float factor = plan.factors[i] * scale;
    block[i] = {};
    for (std::size_t lane = 0; lane < count; ++lane) {
      block[i][lane] = static_cast<float>(values[lane]) * factor;
    }
  }
  for (float& dc : block[0]) dc += plan.depth.offset;
}

void RoundToSamples(const LaneBlock<float>& block, const SampleDepth& depth,
                    LaneBlock<std::uint16_t>& samples) {
  for (std::size_t i = 0; i < kBlockSamples; ++i) {
    for (std::size_t lane = 0; lane < kLanes; ++lane) {
      // Clamped values are positive, so truncation equals floor.
      const float value = std::min(std::max(block[i][lane], depth.lowest), depth.highest);
      samples[i][lane] = static_cast<std::uint16_t>(static_cast<std::int32_t>(value));
    }
  }
}

void StoreBlock(const LaneBlock<std::uint16_t>& samples, std::size_t lane, std::uint16_t* out,
                std::size_t stride) {
  for (std::size_t y = 0; y < kBlockSize; ++y, out += stride) {
    for (std::size_t x = 0; x < kBlockSize; ++x) out[x] = samples[kBlockSize * y + x][lane];
  }
}

}  // namespace

InversePlan MakeInversePlan(const QuantMatrix& matrix, const ScanTable& scan,
                            const SampleDepth& depth) {
  InversePlan plan;
  plan.depth = depth;
  InversePlan::Extent extent{};
  plan.extents[0] = extent;
  for (std::uint8_t position = 0; position < kBlockSamples; ++position) {
    const std::uint8_t i = scan[position], row = i / kBlockSize, column = i % kBlockSize;
    plan.positions[i] = position;
    const auto columns = static_cast<std::uint8_t>(column + 1);
    extent.columns = std::max(extent.columns, columns);
    if (row >= kBlockSize / 2) extent.deepColumns = std::max(extent.deepColumns, columns);
    plan.extents[position + 1] = extent;
    // 1/8 of inverse quantisation, 1/8 from two passes of the flow graph.
    const double gain = kGraphGain[row] * kGraphGain[column] * depth.gain;
    plan.factors[i] = static_cast<float>(matrix[i] * gain / 64);
  }
  return plan;
}

void InverseTransform(const std::int16_t* coefficients, std::uint32_t blocks,
                      std::uint32_t /*positions*/, const InversePlan& plan, unsigned quantizerScale,
                      unsigned component, const SampleArea& area) {
  Expect(IsBlockCount(blocks, component));
  const auto scale = static_cast<float>(quantizerScale);
  LaneBlock<float> block;
  LaneBlock<std::uint16_t> samples;
  for (std::uint32_t first = 0; first < blocks; first += kLanes) {
    const std::uint32_t count = std::min(kLanes, blocks - first);
    LoadDequantized(coefficients + first, blocks, count, plan, scale, block);
    for (std::size_t column = 0; column < kBlockSize; ++column) {
      TransformLine<kBlockSize>(&block[column]);
    }
    for (std::size_t row = 0; row < kBlockSize; ++row) TransformLine<1>(&block[kBlockSize * row]);
    RoundToSamples(block, plan.depth, samples);
    for (std::uint32_t lane = 0; lane < count; ++lane) {
      const BlockPosition position = PositionOfBlock(component, first + lane);
      StoreBlock(samples, lane, area.samples + position.y * area.stride + position.x, area.stride);
    }
  }
}

}  // namespace prores
