// SPDX-License-Identifier: BSD-2-Clause
#include "transform/ForwardTransform.h"

#include <algorithm>
#include <array>
#include <bit>

namespace prores {
namespace {

/// One value of every block in work.
using Lanes = std::array<float, kTransformLanes>;
/// 64 values of every block in work, raster order.
using BlockLanes = std::array<Lanes, 64>;

// cos(k pi / 16) x sqrt(2) for k > 0, 1 for k = 0: what the flow graph below leaves in output k,
// apart from a common factor sqrt(8).
constexpr std::array<double, 8> kGraphGain = {
    1.0, 1.387039845322148, 1.306562964876377, 1.175875602419359,
    1.0, 0.785694958387102, 0.541196100146197, 0.275899379282943,
};

/// Brings the outputs of the two passes to four times the orthonormal transform.
constexpr std::array<float, 64> MakeScale() {
  std::array<float, 64> scale{};
  for (std::size_t i = 0; i < 64; ++i) {
    scale[i] = static_cast<float>(4.0 / (8.0 * kGraphGain[i / 8] * kGraphGain[i % 8]));
  }
  return scale;
}
constexpr std::array<float, 64> kScale = MakeScale();

/// The mid-grey level of 64 samples, as it shows in the sum of a block.
constexpr float kLevelShift = 64.0F * 512.0F;

constexpr float kCos2 = 0.923879532511287F;  // cos(2 pi / 16)
constexpr float kCos4 = 0.707106781186548F;
constexpr float kCos6 = 0.382683432365090F;

/// Eight-point DCT of one line of each block, in place, after the factored flow graph of Arai, Agui
/// and Nakajima: five multiplications, output k scaled by sqrt(8) x kGraphGain[k].
void TransformLine(Lanes* line, std::size_t step) {
  for (std::size_t lane = 0; lane < kTransformLanes; ++lane) {
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

void LoadBlocks(std::span<const std::uint16_t* const> blocks, std::size_t stride,
                BlockLanes& lanes) {
  for (std::size_t lane = 0; lane < kTransformLanes; ++lane) {
    // A group that is not full repeats its last block; nobody looks at the result.
    const std::uint16_t* block = blocks[std::min(lane, blocks.size() - 1)];
    for (std::size_t row = 0; row < 8; ++row) {
      for (std::size_t column = 0; column < 8; ++column) {
        lanes[8 * row + column][lane] = static_cast<float>(block[row * stride + column]);
      }
    }
  }
}

void StoreCoefficients(const BlockLanes& lanes, std::size_t count, const ScanTable& scan,
                       std::size_t pitch, std::int16_t* coefficients) {
  for (std::size_t position = 0; position < 64; ++position) {
    const Lanes& values = lanes[scan[position]];
    const float scale = kScale[scan[position]];
    for (std::size_t lane = 0; lane < count; ++lane) {
      coefficients[position * pitch + lane] = RoundToInteger(values[lane] * scale);
    }
  }
}

}  // namespace

void ForwardTransform(std::span<const std::uint16_t* const> blocks, std::size_t stride,
                      const ScanTable& scan, std::int16_t* coefficients) {
  BlockLanes lanes;
  for (std::size_t first = 0; first < blocks.size(); first += kTransformLanes) {
    const std::size_t count = std::min(kTransformLanes, blocks.size() - first);
    LoadBlocks(blocks.subspan(first, count), stride, lanes);
    for (std::size_t column = 0; column < 8; ++column) TransformLine(&lanes[column], 8);
    for (std::size_t row = 0; row < 8; ++row) TransformLine(&lanes[8 * row], 1);
    // The level shift cancels in every other coefficient, exactly: their first sums and differences
    // are whole numbers far below 2^24.
    for (float& dc : lanes[0]) dc -= kLevelShift;
    StoreCoefficients(lanes, count, scan, blocks.size(), coefficients + first);
  }
}

}  // namespace prores
