// SPDX-License-Identifier: BSD-2-Clause
#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "Ensure.h"
#include "pixel/ChromaFilter.h"

// clang-format off
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "pixel/ChromaFilterSimd.cpp"
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

/// Adds to the sums `kEven` times the first, third, ... sample at `from` and `kOdd` times the
/// others.
template <int kEven, int kOdd>
HWY_INLINE hn::Vec<Sums> AddTaps(hn::Vec<Sums> sums, const std::uint16_t* from) {
  const auto taps = hn::BitCast(Samples(), hn::Set(Sums(), kOdd * 0x10000 + (kEven & 0xFFFF)));
  const auto samples = hn::LoadU(Samples(), reinterpret_cast<const std::int16_t*>(from));
  auto unused = hn::Zero(Sums());  // on this processor neighbours add up in the first result
  return hn::ReorderWidenMulAccumulate(Sums(), samples, taps, sums, unused);
}

void Halve(std::uint16_t* line, std::uint32_t width, const SampleDepth& depth,
           std::uint16_t* half) {
  Expect(width >= 1 && depth.bits <= k10Bits.bits);
  constexpr hn::Rebind<std::uint16_t, Sums> kHalf;
  constexpr std::size_t kStep = hn::MaxLanes(Sums());
  const std::size_t count = (width + 1) / 2;
  if (count < kStep) return HalveChroma(line, width, depth, half);

  RepeatEdges(line, width);
  const int shift = ChromaShift(depth);
  const auto rounding = hn::Set(Sums(), 1 << (shift - 1));
  const auto lowest = hn::Set(Sums(), static_cast<int>(depth.lowest));
  const auto highest = hn::Set(Sums(), static_cast<int>(depth.highest));
  for (std::size_t i = 0; i < count; i += kStep) {
    i = std::min(i, count - kStep);  // the last step repeats some samples
    const std::uint16_t* const centre = line + 2 * i;
    auto sums = AddTaps<-1, 0>(rounding, centre - 3);
    sums = AddTaps<9, 16>(sums, centre - 1);
    sums = AddTaps<0, 9>(sums, centre);
    sums = AddTaps<0, -1>(sums, centre + 2);
    const auto samples = hn::Min(hn::Max(hn::ShiftRightSame(sums, shift), lowest), highest);
    hn::StoreU(hn::DemoteTo(kHalf, samples), kHalf, half + i);
  }
}

/// Interpolates with 16 bits: for s = a + b and t = s - (c + d), which fit them,
/// floor((8 s + t + 8) / 16) = floor((s + floor((t + 8) / 8)) / 2).
void Double(std::uint16_t* half, std::uint32_t width, const SampleDepth& depth,
            std::uint16_t* line) {
  Expect(width >= 1 && depth.bits <= k12Bits.bits);
  constexpr hn::ScalableTag<std::int16_t> kSamples;
  constexpr std::size_t kStep = hn::MaxLanes(kSamples);
  const std::size_t pairs = width / 2;
  if (pairs < kStep) return DoubleChroma(half, width, depth, line);

  RepeatEdges(half, (width + 1) / 2);
  const auto load = [](const std::uint16_t* samples) HWY_ATTR {
    return hn::LoadU(hn::ScalableTag<std::int16_t>(),
                     reinterpret_cast<const std::int16_t*>(samples));
  };
  const auto rounding = hn::Set(kSamples, std::int16_t{8});
  const auto lowest = hn::Set(kSamples, static_cast<std::int16_t>(depth.lowest));
  const auto highest = hn::Set(kSamples, static_cast<std::int16_t>(depth.highest));
  for (std::size_t i = 0; i < pairs; i += kStep) {
    i = std::min(i, pairs - kStep);  // the last step repeats some samples
    const auto even = load(half + i);
    const auto near = even + load(half + i + 1);
    const auto rest = near - (load(half + i - 1) + load(half + i + 2));
    const auto odd = hn::ShiftRight<1>(near + hn::ShiftRight<3>(rest + rounding));
    hn::StoreInterleaved2(even, hn::Min(hn::Max(odd, lowest), highest), kSamples,
                          reinterpret_cast<std::int16_t*>(line + 2 * i));
  }
  if (width % 2 != 0) line[width - 1] = half[pairs];
}

}  // namespace
}  // namespace prores::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();
#endif

#if HWY_ONCE
namespace prores {

decltype(&HalveChroma) HalveChromaFor(CpuLevel level) {
  return ForLevel<decltype(&HalveChroma)>(level, HalveChroma, N_SSE4::Halve, N_AVX2::Halve,
                                          N_AVX3_DL::Halve);
}

decltype(&DoubleChroma) DoubleChromaFor(CpuLevel level) {
  return ForLevel<decltype(&DoubleChroma)>(level, DoubleChroma, N_SSE4::Double, N_AVX2::Double,
                                           N_AVX3_DL::Double);
}

}  // namespace prores
#endif
