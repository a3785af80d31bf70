// SPDX-License-Identifier: BSD-2-Clause
#include "encode/ForwardTransform.h"

#include <algorithm>
#include <array>
#include <bit>

#include "Ensure.h"
#include "encode/ForwardGraph.h"
#include "pixel/SampleDepth.h"

namespace prores {
namespace {

constexpr std::uint32_t kLanes = 8;  // blocks transformed side by side

/// One value of every block in work.
using Lanes = std::array<float, kLanes>;
/// 64 values of every block in work, raster order.
using BlockLanes = std::array<Lanes, kBlockSamples>;

/// Eight-point DCT of one line of each block, in place, after the factored flow graph of Arai, Agui
/// and Nakajima: five multiplications, output k scaled by sqrt(8) x kGraphGain[k].
void TransformLine(Lanes* line, std::size_t step) {
  using namespace forward_graph;
  for (std::size_t lane = 0; lane < kLanes; ++lane) {
    const auto at = [&](std::size_t k) -> float& { return line[k * step][lane]; };
    const float sum0 = at(0) + at(7), difference0 = at(0) - at(7);
    const float sum1 = at(1) + at(6), difference1 = at(1) - at(6);
    const float sum2 = at(2) + at(5), difference2 = at(2) - at(5);
    const float sum3 = at(3) + at(4), difference3 = at(3) - at(4);

    const float even0 = sum0 + sum3, even3 = sum0 - sum3;
    const float even1 = sum1 + sum2, even2 = sum1 - sum2;
    const float turned = (even2 + even3) * kCos4;
    at(0) = even0 + even1;
    at(4) = even0 - even1;
    at(2) = even3 + turned;
    at(6) = even3 - turned;

    const float odd0 = difference3 + difference2;
    const float odd1 = (difference2 + difference1) * kCos4;
    const float odd2 = difference1 + difference0;
    const float common = (odd0 - odd2) * kCos6;
    const float low = odd0 * (kCos2 - kCos6) + common;
    const float high = odd2 * (kCos2 + kCos6) + common;
    const float near = difference0 + odd1, far = difference0 - odd1;
    at(5) = far + low;
    at(3) = far - low;
    at(1) = near + high;
    at(7) = near - high;
  }
}

/// Nearest integer, ties to even, of a value below 2^22 in magnitude: adding 1.5 x 2^23 leaves no
/// fraction bits, and the low bits of the sum are the integer.
std::int16_t RoundToInteger(float value) {
  constexpr float kMagic = 12582912.0F;
  return static_cast<std::int16_t>(std::bit_cast<std::uint32_t>(value + kMagic));
}

/// An incomplete group repeats its last block; the results of the padding lanes are ignored.
void LoadBlocks(const std::uint16_t* samples, std::size_t stride, std::uint32_t first,
                std::uint32_t count, unsigned component, BlockLanes& lanes) {
  for (std::uint32_t lane = 0; lane < kLanes; ++lane) {
    const BlockPosition at = PositionOfBlock(component, first + std::min(lane, count - 1));
    const std::uint16_t* const block = samples + at.y * stride + at.x;
    for (std::size_t row = 0; row < kBlockSize; ++row) {
      for (std::size_t column = 0; column < kBlockSize; ++column) {
        lanes[kBlockSize * row + column][lane] = static_cast<float>(block[row * stride + column]);
      }
    }
  }
}

void StoreCoefficients(const BlockLanes& lanes, std::uint32_t count, std::uint32_t blocks,
                       const ForwardPlan& plan, std::int16_t* coefficients) {
  for (std::size_t i = 0; i < kBlockSamples; ++i) {
    std::int16_t* const values = coefficients + plan.positions[i] * blocks;
    for (std::size_t lane = 0; lane < count; ++lane) {
      values[lane] = RoundToInteger(lanes[i][lane] * plan.factors[i]);
    }
  }
}

}  // namespace

ForwardPlan MakeForwardPlan(const QuantMatrix& weights, const PositionTable& positions,
                            int sampleBits) {
  ForwardPlan plan;
  plan.levelShift = static_cast<float>(kBlockSamples << (sampleBits - 1));
  plan.positions = positions;
  const double scale = 4.0 * kUnitWeight / (1 << (sampleBits - k10Bits.bits));
  for (std::size_t i = 0; i < kBlockSamples; ++i) {
    plan.factors[i] = static_cast<float>(scale / (weights[i] * forward_graph::GraphGain(i)));
  }
  return plan;
}

void ForwardTransform(const std::uint16_t* samples, std::size_t stride, std::uint32_t blocks,
                      unsigned component, const ForwardPlan& plan, std::int16_t* coefficients) {
  Expect(IsBlockCount(blocks, component));
  BlockLanes lanes;
  for (std::uint32_t first = 0; first < blocks; first += kLanes) {
    const std::uint32_t count = std::min(kLanes, blocks - first);
    LoadBlocks(samples, stride, first, count, component, lanes);
    for (std::size_t row = 0; row < kBlockSize; ++row) TransformLine(&lanes[kBlockSize * row], 1);
    for (std::size_t column = 0; column < kBlockSize; ++column) {
      TransformLine(&lanes[column], kBlockSize);
    }
    // In all other coefficients the level shift cancels exactly: their first sums and differences
    // are integers far below 2^24.
    for (float& dc : lanes[0]) dc -= plan.levelShift;
    StoreCoefficients(lanes, count, blocks, plan, coefficients + first);
  }
}

}  // namespace prores
