// SPDX-License-Identifier: BSD-2-Clause
#include <algorithm>
#include <array>

#include "Ensure.h"
#include "bitstream/BlockOrder.h"
#include "cpu/AlignedVector.h"
#include "decode/InverseGraph.h"
#include "decode/InverseTransform.h"

// clang-format off
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "decode/InverseTransformSimd.cpp"
#include "cpu/Targets.h"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>
#include "cpu/Butterfly-inl.h"
// clang-format on

#if HWY_TARGET != HWY_STATIC_TARGET
HWY_BEFORE_NAMESPACE();
namespace prores::HWY_NAMESPACE {
namespace {

namespace hn = hwy::HWY_NAMESPACE;

/// The same value of one block in each lane.
template <std::size_t kLanes>
using FloatTag = hn::FixedTag<float, kLanes>;
template <std::size_t kLanes>
using Lanes = hn::Vec<FloatTag<kLanes>>;

/// Eight registers, one line of each block.
template <std::size_t kLanes>
struct Line {
  Lanes<kLanes> at[kBlockSize];
};

/// @tparam kHalf true where b is zero.
template <bool kHalf, class V>
HWY_INLINE Crossed<V> CrossHalf(V a, V b) {
  if constexpr (kHalf) {
    return {a, a};
  } else {
    return Cross(a, b);
  }
}

/// Plain TransformLine(), in registers.
/// @tparam kHalf true where the latter four values are zero.
template <bool kHalf, std::size_t kLanes>
HWY_INLINE void TransformLine(Line<kLanes>& line) {
  using namespace inverse_graph;
  using V = Lanes<kLanes>;
  constexpr FloatTag<kLanes> kFloat;
  auto& at = line.at;

  const auto [sum04, difference04] = CrossHalf<kHalf>(at[0], at[4]);
  const auto [sum26, difference26] = CrossHalf<kHalf>(at[2], at[6]);
  const V turned26 = difference26 * hn::Set(kFloat, kSqrt2) - sum26;
  const auto [even0, even3] = Cross(sum04, sum26);
  const auto [even1, even2] = Cross(difference04, turned26);

  const auto [sum17, difference17] = CrossHalf<kHalf>(at[1], at[7]);
  const auto [sum35, difference35] = CrossHalf<kHalf>(at[3], at[5]);
  const V common = (difference17 - difference35) * hn::Set(kFloat, kTwoCos2);
  const auto [odd0, difference] = Cross(sum17, sum35);
  const V odd1 = common + difference35 * hn::Set(kFloat, kCos2PlusCos6) - odd0;
  const V odd2 = difference * hn::Set(kFloat, kSqrt2) - odd1;
  const V odd3 = common - difference17 * hn::Set(kFloat, kCos2MinusCos6) - odd2;

  const auto [at0, at7] = Cross(even0, odd0);
  const auto [at1, at6] = Cross(even1, odd1);
  const auto [at2, at5] = Cross(even2, odd2);
  const auto [at3, at4] = Cross(even3, odd3);
  line = {{at0, at1, at2, at3, at4, at5, at6, at7}};
}

/// Returns the integer parts of values that fit 32 bits.
HWY_INLINE hn::Vec128<std::int32_t> Truncate(hn::Vec128<float> v) {
  return hn::Vec128<std::int32_t>{_mm_cvttps_epi32(v.raw)};
}
#if HWY_TARGET <= HWY_AVX2
HWY_INLINE hn::Vec256<std::int32_t> Truncate(hn::Vec256<float> v) {
  return hn::Vec256<std::int32_t>{_mm256_cvttps_epi32(v.raw)};
}
#endif
#if HWY_TARGET <= HWY_AVX3_DL
HWY_INLINE hn::Vec512<std::int32_t> Truncate(hn::Vec512<float> v) {
  return hn::Vec512<std::int32_t>{_mm512_cvttps_epi32(v.raw)};
}
#endif

/// Eight samples.
HWY_INLINE void StoreEight(hn::Vec128<std::uint32_t> samples, std::uint16_t* to) {
  _mm_storeu_si128(reinterpret_cast<__m128i*>(to), samples.raw);
}

/// Stores the 128-bit parts of a and b alternately.
HWY_INLINE void StoreAlternately(hn::Vec128<std::uint32_t> a, hn::Vec128<std::uint32_t> b,
                                 std::uint16_t* to) {
  StoreEight(a, to);
  StoreEight(b, to + kBlockSize);
}
#if HWY_TARGET <= HWY_AVX2
HWY_INLINE void StoreAlternately(hn::Vec256<std::uint32_t> a, hn::Vec256<std::uint32_t> b,
                                 std::uint16_t* to) {
  auto* const out = reinterpret_cast<__m256i*>(to);
  _mm256_storeu_si256(out, _mm256_permute2x128_si256(a.raw, b.raw, 0x20));
  _mm256_storeu_si256(out + 1, _mm256_permute2x128_si256(a.raw, b.raw, 0x31));
}
#endif
#if HWY_TARGET <= HWY_AVX3_DL
HWY_INLINE void StoreAlternately(hn::Vec512<std::uint32_t> a, hn::Vec512<std::uint32_t> b,
                                 std::uint16_t* to) {
  const __m512i low = _mm512_set_epi64(11, 10, 3, 2, 9, 8, 1, 0);
  const __m512i high = _mm512_set_epi64(15, 14, 7, 6, 13, 12, 5, 4);
  _mm512_storeu_si512(to, _mm512_permutex2var_epi64(a.raw, low, b.raw));
  _mm512_storeu_si512(to + 4 * kBlockSize, _mm512_permutex2var_epi64(a.raw, high, b.raw));
}
#endif

/// The blocks of a component, as many at a time as a vector has lanes.
template <std::size_t kLanes>
class Component {
 public:
  /// @param factors factors of `plan` at the quantiser scale of the slice.
  Component(const std::int16_t* coefficients, std::uint32_t blocks, unsigned index,
            const InversePlan& plan, const float* factors, const SampleArea& area)
      : coefficients_(coefficients),
        blocks_(blocks),
        index_(index),
        plan_(plan),
        factors_(factors),
        area_(area) {}

  /// @param positions as of InverseTransform().
  HWY_INLINE void Transform(std::uint32_t positions) {
    if (positions == 1) return FillBlocks();
    // All columns precede all rows, so that no transform waits for the previous one.
    const InversePlan::Extent extent = plan_.extents[positions];
    const std::size_t end = extent.columns <= kHalf ? kHalf : kBlockSize;
    for (std::size_t first = 0; first < blocks_; first += kLanes) {
      std::size_t column = 0;
      for (; column < extent.deepColumns; ++column) TransformColumn<kBlockSize>(first, column);
      for (; column < extent.columns; ++column) TransformColumn<kHalf>(first, column);
      if (column < end) ClearColumns(first, column, end);
    }
    for (std::size_t first = 0; first < blocks_; first += kLanes) {
      for (std::size_t row = 0; row < kBlockSize; ++row) {
        end == kHalf ? TransformRow<kHalf>(first, row) : TransformRow<kBlockSize>(first, row);
      }
    }
  }

 private:
  static constexpr std::size_t kHalf = kBlockSize / 2;
  static constexpr FloatTag<kLanes> kFloat{};
  static constexpr hn::FixedTag<std::int32_t, kLanes> kInt{};
  static constexpr hn::FixedTag<std::int16_t, kLanes> kShort{};
  static constexpr hn::FixedTag<std::uint32_t, kLanes> kWord{};
  static constexpr hn::FixedTag<std::uint64_t, kLanes / 2> kWide{};
  using Words = hn::Vec<hn::FixedTag<std::uint32_t, kLanes>>;

  /// Fills blocks that have only a DC.
  HWY_INLINE void FillBlocks() const {
    for (std::size_t first = 0; first < blocks_; first += kLanes) {
      const Words sample = ToSample(Dequantized(first, 0) + hn::Set(kFloat, plan_.depth.offset));
      const Words pair = hn::Or(sample, hn::ShiftLeft<16>(sample));
      for (std::size_t row = 0; row < kBlockSize; ++row) {
        StoreRow({pair, pair, pair, pair}, first, row);
      }
    }
  }

  /// Returns the address of a value of a transformed column.
  HWY_INLINE float* At(std::size_t first, std::size_t row, std::size_t column) {
    return values_ + first * kBlockSamples + (row * kBlockSize + column) * kLanes;
  }

  HWY_INLINE Lanes<kLanes> Dequantized(std::size_t first, std::size_t i) const {
    const std::size_t position = plan_.positions[i];
    const auto raw = hn::LoadU(kShort, coefficients_ + position * blocks_ + first);
    return hn::ConvertTo(kFloat, hn::PromoteTo(kInt, raw)) * hn::Set(kFloat, factors_[i]);
  }

  /// @tparam kRows rows that have coefficients: 4 or 8.
  template <std::size_t kRows>
  HWY_INLINE void TransformColumn(std::size_t first, std::size_t column) {
    Line<kLanes> line;
    HWY_UNROLL(8) for (std::size_t row = 0; row < kRows; ++row) {
      line.at[row] = Dequantized(first, row * kBlockSize + column);
    }
    if (column == 0) line.at[0] = line.at[0] + hn::Set(kFloat, plan_.depth.offset);
    TransformLine<kRows == kHalf>(line);
    HWY_UNROLL(8) for (std::size_t row = 0; row < kBlockSize; ++row) {
      hn::Store(line.at[row], kFloat, At(first, row, column));
    }
  }

  HWY_INLINE void ClearColumns(std::size_t first, std::size_t column, std::size_t end) {
    for (std::size_t row = 0; row < kBlockSize; ++row) {
      std::fill(At(first, row, column), At(first, row, end), 0.0F);
    }
  }

  /// @tparam kColumns columns that have coefficients: 4 or 8.
  template <std::size_t kColumns>
  HWY_INLINE void TransformRow(std::size_t first, std::size_t row) {
    Line<kLanes> line;
    HWY_UNROLL(8) for (std::size_t column = 0; column < kColumns; ++column) {
      line.at[column] = hn::Load(kFloat, At(first, row, column));
    }
    TransformLine<kColumns == kHalf>(line);
    std::array<Words, 4> pairs;
    HWY_UNROLL(4) for (std::size_t i = 0; i < pairs.size(); ++i) {
      pairs[i] = hn::Or(ToSample(line.at[2 * i]), hn::ShiftLeft<16>(ToSample(line.at[2 * i + 1])));
    }
    StoreRow(pairs, first, row);
  }

  HWY_INLINE Words ToSample(Lanes<kLanes> value) const {
    // As integers, the bits of positive floats have the same order, and those of negative floats
    // are negative. Clamping integers gives the same result and relieves the float adders.
    const auto bits = hn::BitCast(kInt, value);
    const auto lowest = hn::BitCast(kInt, hn::Set(kFloat, plan_.depth.lowest));
    const auto highest = hn::BitCast(kInt, hn::Set(kFloat, plan_.depth.highest));
    const auto clamped = hn::Min(hn::Max(bits, lowest), highest);
    return hn::BitCast(kWord, Truncate(hn::BitCast(kFloat, clamped)));
  }

  /// @param pairs two samples of each block in each vector.
  HWY_INLINE void StoreRow(const std::array<Words, 4>& pairs, std::size_t first,
                           std::size_t row) const {
    // Transposes words within 128 bits.
    const auto left0 = hn::BitCast(kWide, hn::InterleaveLower(kWord, pairs[0], pairs[1]));
    const auto left2 = hn::BitCast(kWide, hn::InterleaveUpper(kWord, pairs[0], pairs[1]));
    const auto right0 = hn::BitCast(kWide, hn::InterleaveLower(kWord, pairs[2], pairs[3]));
    const auto right2 = hn::BitCast(kWide, hn::InterleaveUpper(kWord, pairs[2], pairs[3]));
    // Blocks 0, 4, 8, 12, then 1, 5, 9, 13 and so on.
    const auto blocks0 = hn::BitCast(kWord, hn::InterleaveLower(kWide, left0, right0));
    const auto blocks1 = hn::BitCast(kWord, hn::InterleaveUpper(kWide, left0, right0));
    const auto blocks2 = hn::BitCast(kWord, hn::InterleaveLower(kWide, left2, right2));
    const auto blocks3 = hn::BitCast(kWord, hn::InterleaveUpper(kWide, left2, right2));

    // Any two successive pairs of blocks cover 16 columns of 16 lines: PositionOfBlock().
    std::uint16_t* const upper = area_.samples + first * kHalf + row * area_.stride;
    std::uint16_t* const lower = upper + kBlockSize * area_.stride;
    if constexpr (kLanes == 4) {
      if (blocks_ == 2) {
        StoreEight(blocks0, upper);
        StoreEight(blocks1, lower);
        return;
      }
    }
    if (index_ == 0) {
      StoreAlternately(blocks0, blocks1, upper);
      StoreAlternately(blocks2, blocks3, lower);
    } else {
      StoreAlternately(blocks0, blocks2, upper);
      StoreAlternately(blocks1, blocks3, lower);
    }
  }

  const std::int16_t* coefficients_;
  std::size_t blocks_;
  unsigned index_;
  const InversePlan& plan_;
  const float* factors_;
  SampleArea area_;
  alignas(kVectorAlignment) float values_[kMaxSliceBlocks * kBlockSamples];
};

void Inverse(const std::int16_t* coefficients, std::uint32_t blocks, std::uint32_t positions,
             const InversePlan& plan, unsigned quantizerScale, unsigned index,
             const SampleArea& area) {
  Expect(IsBlockCount(blocks, index) && positions >= 1 && positions <= kBlockSamples);
  alignas(kVectorAlignment) float factors[kBlockSamples];
  constexpr hn::ScalableTag<float> kFloat;
  const auto scale = hn::Set(kFloat, static_cast<float>(quantizerScale));
  for (std::size_t i = 0; i < kBlockSamples; i += hn::Lanes(kFloat)) {
    hn::Store(hn::LoadU(kFloat, &plan.factors[i]) * scale, kFloat, factors + i);
  }

#if HWY_TARGET <= HWY_AVX3_DL
  if (blocks >= 16) {
    return Component<16>(coefficients, blocks, index, plan, factors, area).Transform(positions);
  }
#endif
#if HWY_TARGET <= HWY_AVX2
  if (blocks >= 8) {
    return Component<8>(coefficients, blocks, index, plan, factors, area).Transform(positions);
  }
#endif
  Component<4>(coefficients, blocks, index, plan, factors, area).Transform(positions);
}

}  // namespace
}  // namespace prores::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();
#endif

#if HWY_ONCE
namespace prores {

decltype(&InverseTransform) InverseTransformFor(CpuLevel level) {
  return ForLevel<decltype(&InverseTransform)>(level, InverseTransform, N_SSE4::Inverse,
                                               N_AVX2::Inverse, N_AVX3_DL::Inverse);
}

}  // namespace prores
#endif
