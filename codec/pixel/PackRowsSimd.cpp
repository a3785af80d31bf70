// SPDX-License-Identifier: BSD-2-Clause
#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

#include "pixel/PackRows.h"
#include "pixel/PixelFormat.h"

// clang-format off
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "pixel/PackRowsSimd.cpp"
#include "cpu/Targets.h"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>
// clang-format on

// Shared by all targets.
#ifndef CODEC_PIXEL_PACKROWSSIMD_SHARED
#define CODEC_PIXEL_PACKROWSSIMD_SHARED
namespace prores {
namespace {

// The four words of a group of six pixels in 'v210' hold, from the low bits up,
// Cb0 Y0 Cr0, Y1 Cb1 Y2, Cr1 Y3 Cb2, Y4 Cr2 Y5.
/// Joins the first two samples of each word, in its halves, by a pairwise multiply-add.
constexpr int kPairWeights = 1 << 10 << 16 | 1;
/// Shift from the upper half of a word to the place of its third sample.
constexpr int kThirdShift = 20 - 16;

/// Numbers of the samples that go to the eight halves of four words.
using Halves = std::array<int, 8>;
constexpr int kNone = -1;

/// Byte shuffle that moves samples to their halves and clears the other halves.
struct alignas(16) HalfShuffle {
  explicit constexpr HalfShuffle(const Halves& samples) {
    for (std::size_t i = 0; i < samples.size(); ++i) {
      if (samples[i] == kNone) continue;
      bytes[2 * i] = static_cast<std::uint8_t>(2 * samples[i]);
      bytes[2 * i + 1] = static_cast<std::uint8_t>(2 * samples[i] + 1);
    }
  }
  std::array<std::uint8_t, 16> bytes{0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80,
                                     0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80};
};

// Cb starts at sample 0 of chroma, Cr at 4.
constexpr HalfShuffle kLumaPairs(Halves{kNone, 0, 1, kNone, kNone, 3, 4, kNone});
constexpr HalfShuffle kChromaPairs(Halves{0, kNone, kNone, 1, 5, kNone, kNone, 6});
constexpr HalfShuffle kLumaThirds(Halves{kNone, kNone, kNone, 2, kNone, kNone, kNone, 5});
constexpr HalfShuffle kChromaThirds(Halves{kNone, 4, kNone, kNone, kNone, 2, kNone, kNone});

/// Indices of 16-bit lanes for four groups, where luma starts at lane 0, Cb at 32, Cr at 48.
struct alignas(64) LaneIndices {
  explicit constexpr LaneIndices(const Halves& firstGroup) {
    for (std::size_t i = 0; i < lanes.size(); ++i) {
      const std::size_t group = i / firstGroup.size();
      const auto first = static_cast<std::size_t>(firstGroup[i % firstGroup.size()]);
      lanes[i] = static_cast<std::uint16_t>(first + (first < 32 ? 6 : 3) * group);
    }
  }
  std::array<std::uint16_t, 32> lanes{};
};

constexpr LaneIndices kPairLanes(Halves{32, 0, 1, 33, 49, 3, 4, 50});
/// Only the upper halves are used.
constexpr LaneIndices kThirdLanes(Halves{0, 48, 0, 2, 0, 34, 0, 5});

}  // namespace
}  // namespace prores
#endif

#if HWY_TARGET != HWY_STATIC_TARGET
HWY_BEFORE_NAMESPACE();
namespace prores::HWY_NAMESPACE {
namespace {

namespace hn = hwy::HWY_NAMESPACE;

/// Returns the rest of a line after an even number of pixels.
HWY_INLINE PlanarLine Behind(const PlanarLine& line, std::uint32_t pixels) {
  return {line.luma + pixels, line.cb + pixels / 2, line.cr + pixels / 2};
}

void Pack2vuy(const PlanarLine& line, std::uint32_t width, std::uint8_t* row) {
  constexpr hn::ScalableTag<std::uint32_t> kWord;
  constexpr hn::Rebind<std::uint16_t, decltype(kWord)> kChroma;
  constexpr hn::Repartition<std::uint16_t, decltype(kWord)> kLuma;
  constexpr hn::Repartition<std::uint8_t, decltype(kWord)> kByte;
  constexpr auto kStep = static_cast<std::uint32_t>(hn::MaxLanes(kLuma));
  std::uint32_t x = 0;
  for (; x + kStep <= width; x += kStep) {
    const PlanarLine at = Behind(line, x);
    const auto luma = hn::BitCast(kWord, hn::LoadU(kLuma, at.luma));
    const auto cb = hn::PromoteTo(kWord, hn::LoadU(kChroma, at.cb));
    const auto cr = hn::PromoteTo(kWord, hn::LoadU(kChroma, at.cr));
    const auto pixels = hn::Or(hn::ShiftLeft<8>(luma), hn::Or(cb, hn::ShiftLeft<16>(cr)));
    hn::StoreU(hn::BitCast(kByte, pixels), kByte, row + std::size_t{2} * x);
  }
  PackRow2vuy(Behind(line, x), width - x, row + std::size_t{2} * x);
}

#if HWY_TARGET <= HWY_AVX3_DL

constexpr std::uint32_t kGroups = 4;
constexpr std::uint32_t kPixelsRead = 32;

/// A mask of the first `count` lanes, at most 31.
HWY_INLINE std::uint32_t FirstLanes(std::uint32_t count) {
  return (1u << count) - 1;
}

HWY_INLINE __m512i Packed(__m512i luma, __m256i cb, __m256i cr) {
  const __m512i chroma = _mm512_inserti64x4(_mm512_castsi256_si512(cb), cr, 1);
  const __m512i pairs = _mm512_permutex2var_epi16(luma, _mm512_load_si512(&kPairLanes), chroma);
  const __m512i thirds =
      _mm512_maskz_permutex2var_epi16(0xAAAAAAAA, luma, _mm512_load_si512(&kThirdLanes), chroma);
  const __m512i joined = _mm512_madd_epi16(pairs, _mm512_set1_epi32(kPairWeights));
  return _mm512_or_si512(joined, _mm512_slli_epi32(thirds, kThirdShift));
}

HWY_INLINE void PackGroups(const PlanarLine& line, std::uint8_t* words) {
  const __m512i luma = _mm512_loadu_si512(line.luma);
  const __m256i cb = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(line.cb));
  const __m256i cr = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(line.cr));
  _mm512_storeu_si512(words, Packed(luma, cb, cr));
}

/// Packs the last pixels of a line, fewer than PackGroups() reads.
HWY_INLINE void PackRest(PlanarLine line, std::uint32_t width, std::uint8_t* words) {
  while (width != 0) {
    const std::uint32_t pixels = std::min(width, kGroups * kV210GroupPixels);
    const std::uint32_t groups = (pixels + kV210GroupPixels - 1) / kV210GroupPixels;
    const auto pairs = static_cast<__mmask16>(FirstLanes((pixels + 1) / 2));
    const __m512i luma = _mm512_maskz_loadu_epi16(FirstLanes(pixels), line.luma);
    const __m256i cb = _mm256_maskz_loadu_epi16(pairs, line.cb);
    const __m256i cr = _mm256_maskz_loadu_epi16(pairs, line.cr);
    const auto stored = static_cast<__mmask16>(FirstLanes(4 * groups));
    _mm512_mask_storeu_epi32(words, stored, Packed(luma, cb, cr));
    line = Behind(line, pixels);
    width -= pixels;
    words += kGroups * kV210GroupBytes;
  }
}

#else

using Bytes = hn::ScalableTag<std::uint8_t>;
using Words = hn::ScalableTag<std::uint32_t>;
constexpr std::uint32_t kGroups = HWY_TARGET == HWY_AVX2 ? 2 : 1;
constexpr std::uint32_t kPixelsRead = kV210GroupPixels * (kGroups - 1) + 8;

HWY_INLINE hn::Vec128<std::uint8_t> LoadLuma(const PlanarLine& line) {
  return hn::LoadU(hn::Full128<std::uint8_t>(), reinterpret_cast<const std::uint8_t*>(line.luma));
}

/// Four samples of Cb and four of Cr.
HWY_INLINE hn::Vec128<std::uint8_t> LoadChroma(const PlanarLine& line) {
  const auto cb = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(line.cb));
  const auto cr = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(line.cr));
  return hn::Vec128<std::uint8_t>{_mm_unpacklo_epi64(cb, cr)};
}

/// Joins pairs with a pairwise multiply-add.
HWY_INLINE hn::Vec128<std::uint32_t> JoinPairs(hn::Vec128<std::uint8_t> pairs) {
  return hn::Vec128<std::uint32_t>{_mm_madd_epi16(pairs.raw, _mm_set1_epi32(kPairWeights))};
}
#if HWY_TARGET == HWY_AVX2
HWY_INLINE hn::Vec256<std::uint32_t> JoinPairs(hn::Vec256<std::uint8_t> pairs) {
  return hn::Vec256<std::uint32_t>{_mm256_madd_epi16(pairs.raw, _mm256_set1_epi32(kPairWeights))};
}
#endif

HWY_INLINE hn::Vec<Bytes> Shuffled(hn::Vec<Bytes> samples, const HalfShuffle& shuffle) {
  return hn::TableLookupBytesOr0(samples, hn::LoadDup128(Bytes(), shuffle.bytes.data()));
}

HWY_INLINE void PackGroups(const PlanarLine& line, std::uint8_t* words) {
#if HWY_TARGET == HWY_AVX2
  const PlanarLine second{line.luma + 6, line.cb + 3, line.cr + 3};
  const auto luma = hn::Combine(Bytes(), LoadLuma(second), LoadLuma(line));
  const auto chroma = hn::Combine(Bytes(), LoadChroma(second), LoadChroma(line));
#else
  const auto luma = LoadLuma(line);
  const auto chroma = LoadChroma(line);
#endif
  const auto pairs = hn::Or(Shuffled(luma, kLumaPairs), Shuffled(chroma, kChromaPairs));
  const auto thirds = hn::Or(Shuffled(luma, kLumaThirds), Shuffled(chroma, kChromaThirds));
  const auto high = hn::ShiftLeft<kThirdShift>(hn::BitCast(Words(), thirds));
  hn::StoreU(hn::BitCast(Bytes(), hn::Or(JoinPairs(pairs), high)), Bytes(), words);
}

HWY_INLINE void PackRest(const PlanarLine& line, std::uint32_t width, std::uint8_t* words) {
  PackRowV210(line, width, words);
}

#endif

void PackV210(const PlanarLine& line, std::uint32_t width, std::uint8_t* row) {
  constexpr std::uint32_t kStep = kGroups * kV210GroupPixels;
  std::uint32_t x = 0;
  for (; x + kPixelsRead <= width; x += kStep) {
    PackGroups({line.luma + x, line.cb + x / 2, line.cr + x / 2}, row);
    row += kGroups * kV210GroupBytes;
  }
  PackRest(Behind(line, x), width - x, row);
}

}  // namespace
}  // namespace prores::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();
#endif

#if HWY_ONCE
namespace prores {

PackRow PackRow2vuyFor(CpuLevel level) {
  return ForLevel<PackRow>(level, PackRow2vuy, N_SSE4::Pack2vuy, N_AVX2::Pack2vuy,
                           N_AVX3_DL::Pack2vuy);
}

PackRow PackRowV210For(CpuLevel level) {
  return ForLevel<PackRow>(level, PackRowV210, N_SSE4::PackV210, N_AVX2::PackV210,
                           N_AVX3_DL::PackV210);
}

}  // namespace prores
#endif
