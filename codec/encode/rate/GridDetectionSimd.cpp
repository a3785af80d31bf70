// SPDX-License-Identifier: BSD-2-Clause
#include <cstddef>
#include <cstdint>
#include <span>

#include "Ensure.h"
#include "encode/rate/GridDetection.h"

// clang-format off
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "encode/rate/GridDetectionSimd.cpp"
#include "cpu/Targets.h"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>
#include "encode/QuantisedLevels-inl.h"
// clang-format on

#if HWY_TARGET != HWY_STATIC_TARGET
HWY_BEFORE_NAMESPACE();
namespace prores::HWY_NAMESPACE {
namespace {

GridDeviations Measure(const Quantiser& quantiser, std::span<const std::int16_t> values,
                       int reach) {
  Expect(reach >= 0 && reach < 64);
  constexpr Tag kTag;
  constexpr hn::RebindToSigned<Tag32> kSums;
  const Vec step = Set(quantiser.Step());
  const Vec far = Set(reach);
  auto squares = hn::Zero(kSums);
  auto unused = hn::Zero(kSums);  // on this processor neighbours add up in the first result
  GridDeviations deviations;
  const auto add = [&](Vec value, hn::Mask<Tag> present) {
    const Vec level = Quantise(value, quantiser, quantiser.DcBias());
    const Vec deviation = hn::Abs(value - level * step);
    const auto counted = hn::And(present, hn::Abs(value) > far);
    const auto strayed = hn::And(counted, deviation > far);
    deviations.counted += static_cast<std::uint32_t>(hn::CountTrue(kTag, counted));
    deviations.strayed += static_cast<std::uint32_t>(hn::CountTrue(kTag, strayed));
    const Vec kept = hn::IfThenElseZero(hn::AndNot(strayed, counted), deviation);
    squares = hn::ReorderWidenMulAccumulate(kSums, kept, kept, squares, unused);
  };
  std::size_t i = 0;
  for (; i + kLanes <= values.size(); i += kLanes) {
    add(hn::LoadU(kTag, values.data() + i), hn::FirstN(kTag, kLanes));
  }
  if (i < values.size()) {
    add(hn::LoadU(kTag, values.data() + i), hn::FirstN(kTag, values.size() - i));
  }
  deviations.squares = static_cast<std::uint32_t>(hn::GetLane(hn::SumOfLanes(kSums, squares)));
  return deviations;
}

}  // namespace
}  // namespace prores::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();
#endif

#if HWY_ONCE
namespace prores {

decltype(&MeasureDeviations) MeasureDeviationsFor(CpuLevel level) {
  return ForLevel<decltype(&MeasureDeviations)>(level, MeasureDeviations, N_SSE4::Measure,
                                                N_AVX2::Measure, N_AVX3_DL::Measure);
}

}  // namespace prores
#endif
