// SPDX-License-Identifier: BSD-2-Clause
#include <cstddef>
#include <cstdint>

#include "Ensure.h"
#include "bitstream/BlockOrder.h"
#include "encode/rate/Activity.h"

// clang-format off
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "encode/rate/ActivitySimd.cpp"
#include "cpu/Targets.h"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>
// clang-format on

#if HWY_TARGET != HWY_STATIC_TARGET
HWY_BEFORE_NAMESPACE();
namespace prores::HWY_NAMESPACE {
namespace {

namespace hn = hwy::HWY_NAMESPACE;

using Sums = hn::ScalableTag<std::int32_t>;
using Samples = hn::Repartition<std::int16_t, Sums>;
using Vec = hn::Vec<Sums>;

/// Returns in all lanes of each 128 bits the sum of these four lanes, which belong to one block.
HWY_INLINE Vec SumOfBlock(Vec sums) {
  const Vec pairs = sums + hn::Shuffle1032(sums);
  return pairs + hn::Shuffle2301(pairs);
}

/// Returns the activity of as many blocks side by side as a vector holds, each in four lanes.
HWY_INLINE Vec ActivityOfBlocks(const std::uint16_t* samples, std::size_t stride, int shift) {
  const auto ones = hn::Set(Samples(), 1);
  auto unused = hn::Zero(Sums());  // on this processor neighbours add up in the first result
  Vec sum = hn::Zero(Sums());
  Vec squares = hn::Zero(Sums());
  HWY_UNROLL(kBlockSize) for (std::size_t y = 0; y < kBlockSize; ++y) {
    const auto row = reinterpret_cast<const std::int16_t*>(samples + y * stride);
    const auto line = hn::ShiftRightSame(hn::LoadU(Samples(), row), shift);
    sum = hn::ReorderWidenMulAccumulate(Sums(), line, ones, sum, unused);
    squares = hn::ReorderWidenMulAccumulate(Sums(), line, line, squares, unused);
  }
  sum = SumOfBlock(sum);
  const Vec spread = hn::ShiftLeft<6>(SumOfBlock(squares)) - sum * sum;
  static_assert(kBlockSamples == 1 << 6);
  constexpr hn::RebindToFloat<Sums> kFloat;
  const auto bits =
      hn::BitCast(Sums(), hn::ConvertTo(kFloat, spread + hn::Set(Sums(), kActivityFloor)));
  return hn::ShiftRight<kFloatToOctaves>(bits);
}

std::uint32_t Measure(const std::uint16_t* samples, std::size_t stride, std::uint32_t blocks,
                      int shift) {
  Expect(IsBlockCount(blocks, 0));
  constexpr std::size_t kStep = hn::MaxLanes(Samples());
  constexpr std::uint32_t kLanesPerBlock = 4;
  const std::size_t columns = blocks / 2 * kBlockSize;
  if (columns < kStep) return MeasureActivity(samples, stride, blocks, shift);
  Vec sum = hn::Zero(Sums());
  for (std::size_t column = 0; column < columns; column += kStep) {
    sum = sum + ActivityOfBlocks(samples + column, stride, shift);
    sum = sum + ActivityOfBlocks(samples + kBlockSize * stride + column, stride, shift);
  }
  const auto total = static_cast<std::uint32_t>(hn::GetLane(hn::SumOfLanes(Sums(), sum)));
  return total / kLanesPerBlock / blocks;
}

}  // namespace
}  // namespace prores::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();
#endif

#if HWY_ONCE
namespace prores {

decltype(&MeasureActivity) MeasureActivityFor(CpuLevel level) {
  return ForLevel<decltype(&MeasureActivity)>(level, MeasureActivity, N_SSE4::Measure,
                                              N_AVX2::Measure, N_AVX3_DL::Measure);
}

}  // namespace prores
#endif
