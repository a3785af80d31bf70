// SPDX-License-Identifier: BSD-2-Clause
// Rows of four interleaved components of 16 bits: 4:4:4 with alpha.
#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "pixel/PackRows.h"
#include "pixel/UnpackRows.h"

// clang-format off
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "pixel/InterleavedRowsSimd.cpp"
#include "cpu/Targets.h"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>
// clang-format on

#if HWY_TARGET != HWY_STATIC_TARGET
HWY_BEFORE_NAMESPACE();
namespace prores::HWY_NAMESPACE {
namespace {

namespace hn = hwy::HWY_NAMESPACE;

using Tag = hn::ScalableTag<std::uint16_t>;
using Samples = hn::Vec<Tag>;

constexpr std::size_t kStep = hn::MaxLanes(Tag());
constexpr std::size_t kPixelBytes = 8;

/// The components of kStep pixels in the order of their bytes.
struct Pixels {
  Samples alpha, first, second, third;
};

HWY_INLINE Pixels LoadPixels(const std::uint8_t* bytes) {
  Pixels pixels;
  hn::LoadInterleaved4(Tag(), reinterpret_cast<const std::uint16_t*>(bytes), pixels.alpha,
                       pixels.first, pixels.second, pixels.third);
  return pixels;
}

HWY_INLINE void StorePixels(const Pixels& pixels, std::uint8_t* bytes) {
  hn::StoreInterleaved4(pixels.alpha, pixels.first, pixels.second, pixels.third, Tag(),
                        reinterpret_cast<std::uint16_t*>(bytes));
}

HWY_INLINE Samples TwelveBits(Samples samples) {
  return hn::ShiftRight<4>(hn::SaturatedAdd(samples, hn::Set(Tag(), std::uint16_t{8})));
}

HWY_INLINE Samples SwapBytes(Samples samples) {
  constexpr hn::Repartition<std::uint8_t, Tag> kByte;
  alignas(16) static constexpr std::uint8_t kSwapped[] = {1, 0, 3,  2,  5,  4,  7,  6,
                                                          9, 8, 11, 10, 13, 12, 15, 14};
  return hn::TableLookupBytes(samples, hn::BitCast(Tag(), hn::LoadDup128(kByte, kSwapped)));
}

void UnpackY416(const std::uint8_t* row, std::size_t width, const PlanarRow& out) {
  if (width < kStep) return UnpackRowY416(row, width, out);
  for (std::size_t x = 0; x < width; x += kStep) {
    x = std::min(x, width - kStep);  // the last step repeats some pixels
    const Pixels pixels = LoadPixels(row + kPixelBytes * x);
    hn::StoreU(pixels.alpha, Tag(), out.alpha + x);
    hn::StoreU(TwelveBits(pixels.first), Tag(), out.luma + x);
    hn::StoreU(TwelveBits(pixels.second), Tag(), out.cb + x);
    hn::StoreU(TwelveBits(pixels.third), Tag(), out.cr + x);
  }
}

void UnpackB64a(const std::uint8_t* row, std::size_t width, const PlanarRow& out) {
  if (width < kStep) return UnpackRowB64a(row, width, out);
  for (std::size_t x = 0; x < width; x += kStep) {
    x = std::min(x, width - kStep);
    const Pixels pixels = LoadPixels(row + kPixelBytes * x);
    hn::StoreU(SwapBytes(pixels.alpha), Tag(), out.alpha + x);
    hn::StoreU(SwapBytes(pixels.first), Tag(), out.cr + x);
    hn::StoreU(SwapBytes(pixels.second), Tag(), out.luma + x);
    hn::StoreU(SwapBytes(pixels.third), Tag(), out.cb + x);
  }
}

void PackY416(const PlanarLine& line, std::uint32_t width, std::uint8_t* row) {
  if (width < kStep) return PackRowY416(line, width, row);
  for (std::size_t x = 0; x < width; x += kStep) {
    x = std::min(x, width - kStep);
    StorePixels({.alpha = hn::LoadU(Tag(), line.alpha + x),
                 .first = hn::ShiftLeft<4>(hn::LoadU(Tag(), line.luma + x)),
                 .second = hn::ShiftLeft<4>(hn::LoadU(Tag(), line.cb + x)),
                 .third = hn::ShiftLeft<4>(hn::LoadU(Tag(), line.cr + x))},
                row + kPixelBytes * x);
  }
}

void PackB64a(const PlanarLine& line, std::uint32_t width, std::uint8_t* row) {
  if (width < kStep) return PackRowB64a(line, width, row);
  for (std::size_t x = 0; x < width; x += kStep) {
    x = std::min(x, width - kStep);
    StorePixels({.alpha = SwapBytes(hn::LoadU(Tag(), line.alpha + x)),
                 .first = SwapBytes(hn::LoadU(Tag(), line.cr + x)),
                 .second = SwapBytes(hn::LoadU(Tag(), line.luma + x)),
                 .third = SwapBytes(hn::LoadU(Tag(), line.cb + x))},
                row + kPixelBytes * x);
  }
}

}  // namespace
}  // namespace prores::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();
#endif

#if HWY_ONCE
namespace prores {

UnpackRow UnpackRowY416For(CpuLevel level) {
  return ForLevel<UnpackRow>(level, UnpackRowY416, N_SSE4::UnpackY416, N_AVX2::UnpackY416,
                             N_AVX3_DL::UnpackY416);
}

UnpackRow UnpackRowB64aFor(CpuLevel level) {
  return ForLevel<UnpackRow>(level, UnpackRowB64a, N_SSE4::UnpackB64a, N_AVX2::UnpackB64a,
                             N_AVX3_DL::UnpackB64a);
}

PackRow PackRowY416For(CpuLevel level) {
  return ForLevel<PackRow>(level, PackRowY416, N_SSE4::PackY416, N_AVX2::PackY416,
                           N_AVX3_DL::PackY416);
}

PackRow PackRowB64aFor(CpuLevel level) {
  return ForLevel<PackRow>(level, PackRowB64a, N_SSE4::PackB64a, N_AVX2::PackB64a,
                           N_AVX3_DL::PackB64a);
}

}  // namespace prores
#endif
