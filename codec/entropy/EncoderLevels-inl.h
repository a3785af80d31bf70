// SPDX-License-Identifier: BSD-2-Clause
// Included once for each target, see cpu/Targets.h.
#if defined(CODEC_ENTROPY_ENCODERLEVELS_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef CODEC_ENTROPY_ENCODERLEVELS_INL_H
#undef CODEC_ENTROPY_ENCODERLEVELS_INL_H
#else
#define CODEC_ENTROPY_ENCODERLEVELS_INL_H
#endif

/// @file
/// From coefficients to the levels that are not zero, packed together.

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <span>

#include "bitstream/BlockOrder.h"
#include "entropy/Codewords.h"
#include "entropy/EncoderTables.h"
#include "entropy/EncoderVectors-inl.h"
#include "transform/Quantise.h"

#if HWY_TARGET != HWY_STATIC_TARGET
HWY_BEFORE_NAMESPACE();
namespace prores::HWY_NAMESPACE {

/// The levels of a component that are not zero, with their places in coded order; those of AC begin
/// at `first`, and two entries in front of them stand for what counts as coming before.
struct Levels {
  static constexpr std::size_t kBefore = 2;
  static constexpr std::size_t kCapacity = kBefore + kMaxSliceBlocks * kBlockSamples + kLanes;

  /// Once all levels are packed behind kBefore entries, `dcCount` of them DC: these have served
  /// and give way to the entries in front.
  void Finish(std::size_t blocks, std::size_t dcCount, std::size_t allCount) {
    first = kBefore + dcCount;
    count = allCount - dcCount;
    const auto initialPlace = static_cast<std::int16_t>(blocks - 1);
    places[first - 1] = initialPlace;
    places[first - 2] = static_cast<std::int16_t>(initialPlace - static_cast<int>(kInitialRun) - 1);
    levels[first - 1] = kInitialLevelSymbol + 1;
    dcs[1] = static_cast<std::int16_t>(dcs[2] - kInitialDcDifference);
    hn::StoreU(hn::Zero(Tag()), Tag(), levels.data() + first + count);
    hn::StoreU(hn::Zero(Tag()), Tag(), places.data() + first + count);
  }

  std::size_t first;
  std::size_t count;
  alignas(64) std::array<std::int16_t, kMaxSliceBlocks + kBefore + kLanes> dcs;  ///< all of them
  alignas(64) std::array<std::int16_t, kCapacity> levels;
  alignas(64) std::array<std::int16_t, kCapacity> places;
};

/// The factors of the scan positions that a vector of coefficients covers.
class StepSpreader {
 public:
  explicit StepSpreader(std::size_t blocks) {
    const auto lane = hn::Iota(UnsignedTag(), 0);
    const auto position = hn::ShiftRightSame(lane, std::countr_zero(static_cast<unsigned>(blocks)));
#if HWY_TARGET == HWY_AVX3_DL
    indices_ = position;
#else
    // Bytes 2 p and 2 p + 1.
    indices_ = position * hn::Set(UnsignedTag(), 0x0202) + hn::Set(UnsignedTag(), 0x0100);
#endif
  }

  /// @param factors those of the first lane's position and of those behind it.
  auto operator()(const std::uint16_t* factors) const {
#if HWY_TARGET == HWY_AVX3_DL
    return hn::Vec<UnsignedTag>{
        _mm512_permutexvar_epi16(indices_.raw, hn::LoadU(UnsignedTag(), factors).raw)};
#else
    return hn::TableLookupBytes(hn::LoadDup128(UnsignedTag(), factors), indices_);
#endif
  }

 private:
  hn::Vec<UnsignedTag> indices_;
};

/// In which order the components are visited: one behind the other in memory, or in any.
enum class Visit { kInOrder, kScattered };

/// Loads what lies a little behind `p`, be it memory of ours or not: the components of a slice do.
inline void PrefetchBehind(const std::int16_t* p) {
  constexpr std::uintptr_t kBytesAhead = 2048;
  __builtin_prefetch(
      reinterpret_cast<const void*>(reinterpret_cast<std::uintptr_t>(p) + kBytesAhead));
}

/// Quantises a component piece by piece.
template <Visit kVisit>
class LevelSource {
 public:
  LevelSource(const Quantiser& quantiser, std::span<const std::int16_t> coefficients)
      : quantiser_(quantiser),
        coefficients_(coefficients.data()),
        log2Blocks_(std::countr_zero(coefficients.size() / kBlockSamples)),
        spread_(coefficients.size() / kBlockSamples) {}

  /// The levels from `place` on.
  Vec operator()(std::size_t place) const {
    constexpr UnsignedTag kUnsigned;
    const Vec coefficient = hn::LoadU(Tag(), coefficients_ + place);
    // In order, the processor's own prefetch is better.
    if constexpr (kVisit == Visit::kScattered) PrefetchBehind(coefficients_ + place);
    const std::size_t position = place >> log2Blocks_;
    const auto dividend =
        hn::BitCast(kUnsigned, hn::Abs(coefficient)) + spread_(quantiser_.Biases() + position);
    const auto product = hn::MulHigh(dividend, spread_(quantiser_.Reciprocals() + position));
    const auto magnitude = hn::MulHigh(product, spread_(quantiser_.Powers() + position));
    return WithSign(hn::BitCast(Tag(), magnitude), coefficient);
  }

 private:
  static Vec WithSign(Vec magnitude, Vec sign) {
#if HWY_TARGET == HWY_AVX3_DL
    return {_mm512_mask_sub_epi16(magnitude.raw, _mm512_movepi16_mask(sign.raw),
                                  _mm512_setzero_si512(), magnitude.raw)};
#elif HWY_TARGET == HWY_AVX2
    return {_mm256_sign_epi16(magnitude.raw, sign.raw)};  // a magnitude is 0 where the sign is
#else
    return Vec{_mm_sign_epi16(magnitude.raw, sign.raw)};
#endif
  }

  const Quantiser& quantiser_;
  const std::int16_t* coefficients_;
  int log2Blocks_;
  StepSpreader spread_;
};

#if HWY_TARGET != HWY_AVX3_DL
/// Appends the selected of eight levels.
/// @return how many.
inline std::size_t AppendEight(__m128i levels, __m128i places, unsigned selected,
                               std::int16_t* levelsEnd, std::int16_t* placesEnd) {
  const __m128i order =
      _mm_load_si128(reinterpret_cast<const __m128i*>(kPackTable[selected].data()));
  _mm_storeu_si128(reinterpret_cast<__m128i*>(levelsEnd), _mm_shuffle_epi8(levels, order));
  _mm_storeu_si128(reinterpret_cast<__m128i*>(placesEnd), _mm_shuffle_epi8(places, order));
  return static_cast<std::size_t>(std::popcount(selected));
}
#endif

/// Appends the lanes that are not zero to the first `count` levels. Writes up to kLanes values.
/// @return how many levels there are now.
inline std::size_t AppendNonZeros(Vec level, std::size_t place, std::size_t count, Levels& levels) {
  const Vec places = hn::Iota(Tag(), 0) + Set(static_cast<int>(place));
  std::int16_t* const levelsEnd = levels.levels.data() + Levels::kBefore + count;
  std::int16_t* const placesEnd = levels.places.data() + Levels::kBefore + count;
#if HWY_TARGET == HWY_AVX3_DL
  const __mmask32 selected = _mm512_test_epi16_mask(level.raw, level.raw);
  _mm512_storeu_si512(levelsEnd, _mm512_maskz_compress_epi16(selected, level.raw));
  _mm512_storeu_si512(placesEnd, _mm512_maskz_compress_epi16(selected, places.raw));
  return count + static_cast<std::size_t>(std::popcount(selected));
#elif HWY_TARGET == HWY_AVX2
  const __m256i zero = _mm256_cmpeq_epi16(level.raw, _mm256_setzero_si256());
  const auto zeros = static_cast<unsigned>(_mm256_movemask_epi8(_mm256_packs_epi16(zero, zero)));
  const unsigned selected = (~zeros & 0xFF) | (~zeros >> 8 & 0xFF00);
  const std::size_t low =
      AppendEight(_mm256_castsi256_si128(level.raw), _mm256_castsi256_si128(places.raw),
                  selected & 0xFF, levelsEnd, placesEnd);
  const std::size_t high =
      AppendEight(_mm256_extracti128_si256(level.raw, 1), _mm256_extracti128_si256(places.raw, 1),
                  selected >> 8, levelsEnd + low, placesEnd + low);
  return count + low + high;
#else
  const __m128i zero = _mm_cmpeq_epi16(level.raw, _mm_setzero_si128());
  const auto zeros = static_cast<unsigned>(_mm_movemask_epi8(_mm_packs_epi16(zero, zero)));
  const unsigned selected = ~zeros & 0xFF;
  return count + AppendEight(level.raw, places.raw, selected, levelsEnd, placesEnd);
#endif
}

/// Quantises the component and packs its levels.
template <Visit kVisit>
void Collect(const Quantiser& quantiser, std::span<const std::int16_t> coefficients,
             Levels& levels) {
  constexpr Tag kTag;
  const LevelSource<kVisit> levelsFrom(quantiser, coefficients);
  const std::size_t blocks = coefficients.size() / kBlockSamples;
  std::size_t dcCount = 0;
  for (std::size_t place = 0; place < blocks; place += kLanes) {
    const Vec level = levelsFrom(place);
    hn::StoreU(level, kTag, levels.dcs.data() + Levels::kBefore + place);
    dcCount += hn::CountTrue(kTag, hn::AndNot(level == Set(0), hn::FirstN(kTag, blocks - place)));
  }
  // Towards the end of most components there are only zeros: they are passed over in groups.
  constexpr std::size_t kGroup = 4;
  std::size_t count = 0;
  for (std::size_t place = 0; place < coefficients.size(); place += kGroup * kLanes) {
    const Vec group[kGroup] = {levelsFrom(place), levelsFrom(place + kLanes),
                               levelsFrom(place + 2 * kLanes), levelsFrom(place + 3 * kLanes)};
    if (hn::AllTrue(kTag, (group[0] | group[1] | group[2] | group[3]) == Set(0))) continue;
    for (std::size_t i = 0; i < kGroup; ++i) {
      count = AppendNonZeros(group[i], place + i * kLanes, count, levels);
    }
  }
  levels.Finish(blocks, dcCount, count);
}

}  // namespace prores::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();
#endif

#endif  // CODEC_ENTROPY_ENCODERLEVELS_INL_H
