// SPDX-License-Identifier: BSD-2-Clause
#include <array>
#include <cstddef>
#include <cstdint>

#include "pixel/PixelFormat.h"
#include "pixel/UnpackRows.h"

// clang-format off
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "pixel/UnpackRowsSimd.cpp"
#include "cpu/Targets.h"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>
// clang-format on

// Shared by all targets.
#ifndef CODEC_PIXEL_UNPACKROWSSIMD_SHARED
#define CODEC_PIXEL_UNPACKROWSSIMD_SHARED
namespace prores {
namespace {

/// Place of a 10-bit sample of 'v210': its two bytes start at `byte`, the sample at their bit
/// `shift`.
struct Place {
  /// @param number of the sample within its group, in the order Cb Y Cr Y ...
  static constexpr Place Of(std::size_t group, std::size_t number) {
    return {kV210GroupBytes * group + number / 3 * 4 + number % 3, 2 * (number % 3)};
  }
  std::size_t byte;
  std::size_t shift;
};

/// Byte shuffle, shifts and factors that extract samples to 16-bit lanes.
template <std::size_t kLanes>
struct alignas(2 * kLanes) Gather {
  constexpr void Put(std::size_t lane, const Place& place) {
    bytes[2 * lane] = static_cast<std::uint8_t>(place.byte);
    bytes[2 * lane + 1] = static_cast<std::uint8_t>(place.byte + 1);
    shifts[lane] = static_cast<std::uint16_t>(place.shift);
    // Moves the sample to the upper end of the lane.
    factors[lane] = static_cast<std::uint16_t>(1u << (6 - place.shift));
  }
  std::array<std::uint8_t, 2 * kLanes> bytes{};
  alignas(2 * kLanes) std::array<std::uint16_t, kLanes> shifts{};
  alignas(2 * kLanes) std::array<std::uint16_t, kLanes> factors{};
};

template <std::size_t kLanes, std::size_t kGroups>
constexpr Gather<kLanes> MakeLumaGather() {
  Gather<kLanes> gather;
  for (std::size_t i = 0; i < 6 * kGroups; ++i) gather.Put(i, Place::Of(i / 6, i % 6 * 2 + 1));
  return gather;
}

/// Cb in the lower half, Cr in the upper one.
template <std::size_t kLanes, std::size_t kGroups>
constexpr Gather<kLanes> MakeChromaGather() {
  Gather<kLanes> gather;
  for (std::size_t i = 0; i < 3 * kGroups; ++i) {
    gather.Put(i, Place::Of(i / 3, i % 3 * 4));
    gather.Put(kLanes / 2 + i, Place::Of(i / 3, i % 3 * 4 + 2));
  }
  return gather;
}

}  // namespace
}  // namespace prores
#endif

#if HWY_TARGET != HWY_STATIC_TARGET
HWY_BEFORE_NAMESPACE();
namespace prores::HWY_NAMESPACE {
namespace {

namespace hn = hwy::HWY_NAMESPACE;

HWY_INLINE PlanarRow Behind(const PlanarRow& out, std::size_t pixels) {
  return {out.luma + pixels, out.cb + pixels / 2, out.cr + pixels / 2};
}

using Samples = hn::ScalableTag<std::uint16_t>;
using Bytes = hn::ScalableTag<std::uint8_t>;

#if HWY_TARGET <= HWY_AVX2

/// Stores chroma whose 128-bit parts hold four samples of Cb, then four of Cr.
HWY_INLINE void StoreChroma(hn::Vec<Samples> chroma, const PlanarRow& out) {
#if HWY_TARGET <= HWY_AVX3_DL
  const __m512i order = _mm512_set_epi64(7, 5, 3, 1, 6, 4, 2, 0);
  const __m512i sorted = _mm512_permutexvar_epi64(order, chroma.raw);
  _mm256_storeu_si256(reinterpret_cast<__m256i*>(out.cb), _mm512_castsi512_si256(sorted));
  _mm256_storeu_si256(reinterpret_cast<__m256i*>(out.cr), _mm512_extracti64x4_epi64(sorted, 1));
#else
  const __m256i sorted = _mm256_permute4x64_epi64(chroma.raw, 0xD8);
  _mm_storeu_si128(reinterpret_cast<__m128i*>(out.cb), _mm256_castsi256_si128(sorted));
  _mm_storeu_si128(reinterpret_cast<__m128i*>(out.cr), _mm256_extracti128_si256(sorted, 1));
#endif
}

void Unpack2vuy(const std::uint8_t* row, std::size_t width, const PlanarRow& out) {
  constexpr Samples kSample;
  constexpr Bytes kByte;
  constexpr std::size_t kStep = hn::MaxLanes(kSample);
  alignas(16) static constexpr std::uint8_t kCbCr[] = {0, 1, 4, 5, 8,  9,  12, 13,
                                                       2, 3, 6, 7, 10, 11, 14, 15};
  const auto shuffle = hn::LoadDup128(kByte, kCbCr);
  const auto mask = hn::Set(kSample, std::uint16_t{0xFF << 2});
  std::size_t x = 0;
  for (; x + kStep <= width; x += kStep) {
    const auto pairs = hn::BitCast(kSample, hn::LoadU(kByte, row + 2 * x));
    const PlanarRow at = Behind(out, x);
    hn::StoreU(hn::And(hn::ShiftRight<6>(pairs), mask), kSample, at.luma);
    const auto chroma = hn::And(hn::ShiftLeft<2>(pairs), mask);
    StoreChroma(hn::BitCast(kSample, hn::TableLookupBytes(hn::BitCast(kByte, chroma), shuffle)),
                at);
  }
  UnpackRow2vuy(row + 2 * x, width - x, Behind(out, x));
}

#endif

#if HWY_TARGET <= HWY_AVX3_DL

constexpr std::size_t kGroups = 4;
constexpr std::size_t kPixelsWritten = 32;

HWY_INLINE __m512i Gathered(__m512i groups, const Gather<32>& gather) {
  const __m512i lanes = _mm512_permutexvar_epi8(_mm512_load_si512(gather.bytes.data()), groups);
  const __m512i shifted = _mm512_srlv_epi16(lanes, _mm512_load_si512(gather.shifts.data()));
  return _mm512_and_si512(shifted, _mm512_set1_epi16(0x3FF));
}

HWY_INLINE void UnpackGroups(const std::uint8_t* words, const PlanarRow& out) {
  static constexpr Gather<32> kLuma = MakeLumaGather<32, kGroups>();
  static constexpr Gather<32> kChroma = MakeChromaGather<32, kGroups>();
  const __m512i groups = _mm512_loadu_si512(words);
  _mm512_storeu_si512(out.luma, Gathered(groups, kLuma));
  const __m512i chroma = Gathered(groups, kChroma);
  _mm256_storeu_si256(reinterpret_cast<__m256i*>(out.cb), _mm512_castsi512_si256(chroma));
  _mm256_storeu_si256(reinterpret_cast<__m256i*>(out.cr), _mm512_extracti64x4_epi64(chroma, 1));
}

#else

constexpr std::size_t kGroups = HWY_TARGET == HWY_AVX2 ? 2 : 1;
constexpr std::size_t kPixelsWritten = kV210GroupPixels * (kGroups - 1) + 8;

HWY_INLINE hn::Vec<Samples> Gathered(hn::Vec<Bytes> groups, const Gather<8>& gather) {
  constexpr Samples kSample;
  const auto lanes = hn::TableLookupBytes(groups, hn::LoadDup128(Bytes(), gather.bytes.data()));
  const auto factors = hn::LoadDup128(kSample, gather.factors.data());
  return hn::ShiftRight<6>(hn::BitCast(kSample, lanes) * factors);
}

HWY_INLINE void StoreGroup(__m128i luma, __m128i chroma, const PlanarRow& out) {
  _mm_storeu_si128(reinterpret_cast<__m128i*>(out.luma), luma);
  _mm_storel_epi64(reinterpret_cast<__m128i*>(out.cb), chroma);
  _mm_storel_epi64(reinterpret_cast<__m128i*>(out.cr), _mm_unpackhi_epi64(chroma, chroma));
}

HWY_INLINE void UnpackGroups(const std::uint8_t* words, const PlanarRow& out) {
  static constexpr Gather<8> kLuma = MakeLumaGather<8, 1>();
  static constexpr Gather<8> kChroma = MakeChromaGather<8, 1>();
  const auto groups = hn::LoadU(Bytes(), words);
  const auto luma = Gathered(groups, kLuma).raw;
  const auto chroma = Gathered(groups, kChroma).raw;
#if HWY_TARGET == HWY_AVX2
  StoreGroup(_mm256_castsi256_si128(luma), _mm256_castsi256_si128(chroma), out);
  StoreGroup(_mm256_extracti128_si256(luma, 1), _mm256_extracti128_si256(chroma, 1),
             Behind(out, kV210GroupPixels));
#else
  StoreGroup(luma, chroma, out);
#endif
}

#endif

void UnpackV210(const std::uint8_t* row, std::size_t width, const PlanarRow& out) {
  constexpr std::size_t kStep = kGroups * kV210GroupPixels;
  // The next step overwrites the samples that a step writes after its groups.
  std::size_t x = 0;
  for (; x + kPixelsWritten <= width; x += kStep) {
    UnpackGroups(row, Behind(out, x));
    row += kGroups * kV210GroupBytes;
  }
  UnpackRowV210(row, width - x, Behind(out, x));
}

}  // namespace
}  // namespace prores::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();
#endif

#if HWY_ONCE
namespace prores {

// The compiler's SSE form of the plain function is as fast as one written by hand.
UnpackRow UnpackRow2vuyFor(CpuLevel level) {
  return ForLevel<UnpackRow>(level, UnpackRow2vuy, UnpackRow2vuy, N_AVX2::Unpack2vuy,
                             N_AVX3_DL::Unpack2vuy);
}

UnpackRow UnpackRowV210For(CpuLevel level) {
  return ForLevel<UnpackRow>(level, UnpackRowV210, N_SSE4::UnpackV210, N_AVX2::UnpackV210,
                             N_AVX3_DL::UnpackV210);
}

}  // namespace prores
#endif
