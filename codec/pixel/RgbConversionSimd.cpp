// SPDX-License-Identifier: BSD-2-Clause
#include <cstddef>
#include <cstdint>

#include "pixel/RgbConversion.h"

// clang-format off
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "pixel/RgbConversionSimd.cpp"
#include "cpu/Targets.h"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>
// clang-format on

#if HWY_TARGET != HWY_STATIC_TARGET
HWY_BEFORE_NAMESPACE();
namespace prores::HWY_NAMESPACE {
namespace {

namespace hn = hwy::HWY_NAMESPACE;

using Floats = hn::ScalableTag<float>;
using Integers = hn::RebindToSigned<Floats>;
using Samples = hn::Rebind<std::uint16_t, Floats>;
using Values = hn::Vec<Floats>;

constexpr std::size_t kStep = hn::MaxLanes(Floats());

HWY_INLINE Values Load(const std::uint16_t* samples) {
  const auto integers = hn::PromoteTo(Integers(), hn::LoadU(Samples(), samples));
  return hn::ConvertTo(Floats(), integers);
}

HWY_INLINE Values Factor(float factor) {
  return hn::Set(Floats(), factor);
}

/// Stores values + offset, rounded and clamped to 16 bits.
HWY_INLINE void Store(Values values, float offset, std::uint16_t* samples) {
  const auto sums = hn::BitCast(Integers(), values + Factor(kRounder + offset));
  const auto integers = sums - hn::BitCast(Integers(), Factor(kRounder));
  hn::StoreU(hn::DemoteTo(Samples(), integers), Samples(), samples);
}

HWY_INLINE PlanarRow Behind(const PlanarRow& row, std::size_t pixels) {
  return {row.luma + pixels, row.cb + pixels, row.cr + pixels};
}

void ToYCbCr(const RgbMatrix& matrix, std::size_t width, const PlanarRow& row) {
  std::size_t x = 0;
  for (; x + kStep <= width; x += kStep) {
    const auto green = Load(row.luma + x);
    const auto blue = Load(row.cb + x) - green;  // without green
    const auto red = Load(row.cr + x) - green;
    const auto luma = red * Factor(matrix.red) + blue * Factor(matrix.blue);
    Store((green + luma) * Factor(matrix.lumaOfY), kLumaBlack, row.luma + x);
    Store((blue - luma) * Factor(matrix.cbOfBlue), kChromaZero, row.cb + x);
    Store((red - luma) * Factor(matrix.crOfRed), kChromaZero, row.cr + x);
  }
  RgbToYCbCr(matrix, width - x, Behind(row, x));
}

void ToRgb(const RgbMatrix& matrix, std::size_t width, const PlanarRow& row) {
  std::size_t x = 0;
  for (; x + kStep <= width; x += kStep) {
    const auto luma = (Load(row.luma + x) - Factor(kLumaBlack)) * Factor(matrix.yOfLuma);
    const auto cb = Load(row.cb + x) - Factor(kChromaZero);
    const auto cr = Load(row.cr + x) - Factor(kChromaZero);
    const auto green = cb * Factor(matrix.greenOfCb) + cr * Factor(matrix.greenOfCr);
    Store(luma - green, 0, row.luma + x);
    Store(luma + cb * Factor(matrix.blueOfCb), 0, row.cb + x);
    Store(luma + cr * Factor(matrix.redOfCr), 0, row.cr + x);
  }
  YCbCrToRgb(matrix, width - x, Behind(row, x));
}

}  // namespace
}  // namespace prores::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();
#endif

#if HWY_ONCE
namespace prores {

decltype(&RgbToYCbCr) RgbToYCbCrFor(CpuLevel level) {
  return ForLevel<decltype(&RgbToYCbCr)>(level, RgbToYCbCr, N_SSE4::ToYCbCr, N_AVX2::ToYCbCr,
                                         N_AVX3_DL::ToYCbCr);
}

decltype(&YCbCrToRgb) YCbCrToRgbFor(CpuLevel level) {
  return ForLevel<decltype(&YCbCrToRgb)>(level, YCbCrToRgb, N_SSE4::ToRgb, N_AVX2::ToRgb,
                                         N_AVX3_DL::ToRgb);
}

}  // namespace prores
#endif
