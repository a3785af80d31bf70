// SPDX-License-Identifier: BSD-2-Clause
// Included once for each target, see cpu/Targets.h.
#if defined(CODEC_ENCODE_QUANTISEDLEVELS_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef CODEC_ENCODE_QUANTISEDLEVELS_INL_H
#undef CODEC_ENCODE_QUANTISEDLEVELS_INL_H
#else
#define CODEC_ENCODE_QUANTISEDLEVELS_INL_H
#endif

/// @file
/// Selects the coefficients that quantisation may keep, and packs the levels that are not zero.

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <span>

#include "Ensure.h"
#include "bitstream/BlockOrder.h"
#include "bitstream/Codewords.h"
#include "encode/CodewordTables.h"
#include "encode/LevelVectors-inl.h"
#include "encode/Quantiser.h"
#include "encode/SparseComponent.h"

#if HWY_TARGET != HWY_STATIC_TARGET
HWY_BEFORE_NAMESPACE();
namespace prores::HWY_NAMESPACE {

/// Nonzero levels of a component, with their places in coded order. AC levels begin at kBefore; the
/// two entries before them hold the initial values of the codes.
struct Levels {
  static constexpr std::size_t kBefore = 2;
  static constexpr std::size_t kZeros = 2 * kLanes;  ///< least zeros after the last AC level
  static constexpr std::size_t kCapacity = kBefore + kMaxSliceBlocks * kBlockSamples + kZeros;

  std::size_t count;                                                             ///< of AC levels
  alignas(64) std::array<std::int16_t, kMaxSliceBlocks + kBefore + kLanes> dcs;  ///< all of them
  alignas(64) std::array<std::int16_t, kCapacity> levels;
  alignas(64) std::array<std::int16_t, kCapacity> places;
};

/// Returns `magnitude` with the sign of `sign`. Where `sign` is 0, `magnitude` must be 0.
inline Vec WithSign(Vec magnitude, Vec sign) {
#if HWY_TARGET == HWY_AVX3_DL
  return {_mm512_mask_sub_epi16(magnitude.raw, _mm512_movepi16_mask(sign.raw),
                                _mm512_setzero_si512(), magnitude.raw)};
#elif HWY_TARGET == HWY_AVX2
  return {_mm256_sign_epi16(magnitude.raw, sign.raw)};
#else
  return Vec{_mm_sign_epi16(magnitude.raw, sign.raw)};
#endif
}

/// Vector form of Quantiser::Level().
inline Vec Quantise(Vec coefficients, const Quantiser& quantiser, std::uint16_t bias) {
  constexpr UnsignedTag kUnsigned;
  const auto dividend = hn::BitCast(kUnsigned, hn::Abs(coefficients)) + hn::Set(kUnsigned, bias);
  const auto product = hn::MulHigh(dividend, hn::Set(kUnsigned, quantiser.Reciprocal()));
  const auto magnitude = hn::MulHigh(product, hn::Set(kUnsigned, quantiser.Power()));
  return WithSign(hn::BitCast(Tag(), magnitude), coefficients);
}

#if HWY_TARGET != HWY_AVX3_DL
/// Appends the selected ones of eight levels.
/// @return their number.
inline std::size_t AppendEight(__m128i levels, __m128i places, unsigned selected,
                               std::int16_t* levelsEnd, std::int16_t* placesEnd) {
  const __m128i order =
      _mm_load_si128(reinterpret_cast<const __m128i*>(kPackTable[selected].data()));
  _mm_storeu_si128(reinterpret_cast<__m128i*>(levelsEnd), _mm_shuffle_epi8(levels, order));
  _mm_storeu_si128(reinterpret_cast<__m128i*>(placesEnd), _mm_shuffle_epi8(places, order));
  return static_cast<std::size_t>(std::popcount(selected));
}
#endif

/// Packs the selected lanes of `values` and `places` at the given ends; writes kLanes of each.
/// @return the number of selected lanes.
inline std::size_t Append(hn::Mask<Tag> selected, Vec values, Vec places, std::int16_t* valuesEnd,
                          std::int16_t* placesEnd) {
#if HWY_TARGET == HWY_AVX3_DL
  _mm512_storeu_si512(valuesEnd, _mm512_maskz_compress_epi16(selected.raw, values.raw));
  _mm512_storeu_si512(placesEnd, _mm512_maskz_compress_epi16(selected.raw, places.raw));
  return static_cast<std::size_t>(std::popcount(selected.raw));
#elif HWY_TARGET == HWY_AVX2
  const auto pairs =
      static_cast<unsigned>(_mm256_movemask_epi8(_mm256_packs_epi16(selected.raw, selected.raw)));
  const std::size_t low =
      AppendEight(_mm256_castsi256_si128(values.raw), _mm256_castsi256_si128(places.raw),
                  pairs & 0xFF, valuesEnd, placesEnd);
  const std::size_t high =
      AppendEight(_mm256_extracti128_si256(values.raw, 1), _mm256_extracti128_si256(places.raw, 1),
                  pairs >> 16 & 0xFF, valuesEnd + low, placesEnd + low);
  return low + high;
#else
  const auto pairs =
      static_cast<unsigned>(_mm_movemask_epi8(_mm_packs_epi16(selected.raw, selected.raw)));
  return AppendEight(values.raw, places.raw, pairs & 0xFF, valuesEnd, placesEnd);
#endif
}

/// Vector form of SelectCoefficients().
inline std::size_t Select(std::span<const std::int16_t> coefficients, std::uint16_t threshold,
                          std::int16_t* values, std::int16_t* places) {
  constexpr Tag kTag;
  const std::size_t blocks = coefficients.size() / kBlockSamples;
  Expect(threshold >= 1 && coefficients.size() <= kMaxSliceBlocks * kBlockSamples);
  const Vec below = Set(threshold - 1);
  std::size_t count = 0;
  const auto append = [&](std::size_t place, Vec coefficient, hn::Mask<Tag> selected) {
    count += Append(selected, coefficient, hn::Iota(kTag, 0) + Set(static_cast<int>(place)),
                    values + count, places + count);
  };
  // Little is selected towards the end of most components, so vectors are skipped in groups.
  constexpr std::size_t kGroup = 4;
  for (std::size_t place = 0; place < coefficients.size(); place += kGroup * kLanes) {
    Vec group[kGroup];
    HWY_UNROLL(kGroup) for (std::size_t i = 0; i < kGroup; ++i) {
      group[i] = hn::LoadU(kTag, coefficients.data() + place + i * kLanes);
    }
    const Vec largest = hn::Max(hn::Max(hn::Abs(group[0]), hn::Abs(group[1])),
                                hn::Max(hn::Abs(group[2]), hn::Abs(group[3])));
    if (hn::AllFalse(kTag, largest > below)) continue;
    for (std::size_t i = 0; i < kGroup; ++i) {
      const std::size_t first = place + i * kLanes;
      auto selected = hn::Abs(group[i]) > below;
      if (first < blocks) {  // DC
        selected = hn::AndNot(hn::FirstN(kTag, std::min(kLanes, blocks - first)), selected);
      }
      append(first, group[i], selected);
    }
  }
  return count;
}

/// Candidate coefficients (LevelRule), in the layout of Levels.
struct Candidates {
  std::size_t count;
  alignas(64) std::array<std::int16_t, Levels::kCapacity> values;
  alignas(64) std::array<std::int16_t, Levels::kCapacity> places;
};

/// Calls visit(i, restrict) for every vector of `count` lanes. restrict() removes the lanes after
/// the last one from a mask.
template <typename Visit>
inline void ForEachVector(std::size_t count, Visit&& visit) {
  std::size_t i = 0;
  for (; i + kLanes <= count; i += kLanes) {
    visit(i, [](hn::Mask<Tag> selected) { return selected; });
  }
  if (i < count) {
    visit(i,
          [&](hn::Mask<Tag> selected) { return hn::And(selected, hn::FirstN(Tag(), count - i)); });
  }
}

/// Keeps the candidates of a component.
inline void FindCandidates(const Quantiser& quantiser, const SparseComponent& component,
                           Candidates& candidates) {
  constexpr Tag kTag;
  std::int16_t* const values = candidates.values.data() + Levels::kBefore;
  std::int16_t* const places = candidates.places.data() + Levels::kBefore;
  const Vec below = Set(quantiser.LeastAc() - 1);
  std::size_t count = 0;
  ForEachVector(component.count, [&](std::size_t i, auto&& restrict) {
    const Vec value = hn::LoadU(kTag, component.values + i);
    count += Append(restrict(hn::Abs(value) > below), value, hn::LoadU(kTag, component.places + i),
                    values + count, places + count);
  });
  Expect(count <= component.blocks * (kBlockSamples - 1));
  places[-1] = static_cast<std::int16_t>(component.blocks - 1);
  places[count] = kPlaceBehindAll;
  candidates.count = count;
}

/// Returns which of the candidates from i on do not become zero.
inline hn::Mask<Tag> KeptCandidates(const Quantiser& quantiser, const Candidates& candidates,
                                    std::size_t i) {
  constexpr Tag kTag;
  const std::int16_t* const places = candidates.places.data() + Levels::kBefore + i;
  const Vec place = hn::LoadU(kTag, places);
  const Vec gap =
      hn::Min(hn::Min(place - hn::LoadU(kTag, places - 1), hn::LoadU(kTag, places + 1) - place),
              Set(kMaxGap));
  // Selects one entry for the lower byte of each lane, and none for the upper byte.
  constexpr hn::Repartition<std::uint8_t, Tag> kBytes;
  const auto entries = hn::BitCast(kBytes, gap | Set(-0x8000));
  const auto lookup = [&](const Quantiser::GapTable& table) {
    return hn::BitCast(kTag,
                       hn::TableLookupBytesOr0(hn::LoadDup128(kBytes, table.data()), entries));
  };
  const Vec least =
      lookup(quantiser.LeastAcLow()) | hn::ShiftLeft<8>(lookup(quantiser.LeastAcHigh()));
  const Vec value = hn::LoadU(kTag, candidates.values.data() + Levels::kBefore + i);
  return hn::Abs(value) > least - Set(1);
}

/// Quantises a component and packs its levels.
inline void Collect(const Quantiser& quantiser, const SparseComponent& component, Levels& levels) {
  constexpr Tag kTag;
  std::int16_t* const dcs = levels.dcs.data() + Levels::kBefore;
  for (std::size_t i = 0; i < component.blocks; i += kLanes) {
    hn::StoreU(Quantise(hn::LoadU(kTag, component.dcs + i), quantiser, quantiser.DcBias()), kTag,
               dcs + i);
  }
  dcs[-1] = static_cast<std::int16_t>(dcs[0] - kInitialDcDifference);

  std::int16_t* levelsEnd = levels.levels.data() + Levels::kBefore;
  std::int16_t* placesEnd = levels.places.data() + Levels::kBefore;
  const auto initialPlace = static_cast<std::int16_t>(component.blocks - 1);
  levelsEnd[-1] = kInitialLevelSymbol + 1;
  placesEnd[-1] = initialPlace;
  placesEnd[-2] = static_cast<std::int16_t>(initialPlace - static_cast<int>(kInitialRun) - 1);
  Candidates candidates;
  FindCandidates(quantiser, component, candidates);
  ForEachVector(candidates.count, [&](std::size_t i, auto&& restrict) {
    const std::size_t at = Levels::kBefore + i;
    const Vec level =
        Quantise(hn::LoadU(kTag, candidates.values.data() + at), quantiser, quantiser.AcBias());
    const std::size_t appended =
        Append(restrict(KeptCandidates(quantiser, candidates, i)), level,
               hn::LoadU(kTag, candidates.places.data() + at), levelsEnd, placesEnd);
    levelsEnd += appended;
    placesEnd += appended;
  });
  for (std::size_t zero = 0; zero < Levels::kZeros; zero += kLanes) {
    hn::StoreU(hn::Zero(kTag), kTag, levelsEnd + zero);
    hn::StoreU(hn::Zero(kTag), kTag, placesEnd + zero);
  }
  levels.count = static_cast<std::size_t>(levelsEnd - levels.levels.data()) - Levels::kBefore;
}

}  // namespace prores::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();
#endif

#endif  // CODEC_ENCODE_QUANTISEDLEVELS_INL_H
