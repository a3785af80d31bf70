// SPDX-License-Identifier: BSD-2-Clause
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "Ensure.h"
#include "bitstream/BlockOrder.h"
#include "cpu/AlignedVector.h"
#include "encode/ForwardGraph.h"
#include "encode/ForwardTransform.h"

// clang-format off
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "encode/ForwardTransformSimd.cpp"
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
template <std::size_t kLanes>
using WordTag = hn::FixedTag<std::uint32_t, kLanes>;
template <std::size_t kLanes>
using Words = hn::Vec<WordTag<kLanes>>;

/// Eight registers, one line of each block.
template <std::size_t kLanes>
struct Line {
  Lanes<kLanes> at[kBlockSize];
};

/// Plain TransformLine(), in registers.
template <std::size_t kLanes>
HWY_INLINE void TransformLine(Line<kLanes>& line) {
  using namespace forward_graph;
  using V = Lanes<kLanes>;
  constexpr FloatTag<kLanes> kFloat;
  auto& at = line.at;

  const auto [sum0, difference0] = Cross(at[0], at[7]);
  const auto [sum1, difference1] = Cross(at[1], at[6]);
  const auto [sum2, difference2] = Cross(at[2], at[5]);
  const auto [sum3, difference3] = Cross(at[3], at[4]);

  const auto [even0, even3] = Cross(sum0, sum3);
  const auto [even1, even2] = Cross(sum1, sum2);
  const V turned = (even2 + even3) * hn::Set(kFloat, kCos4);
  const auto [at0, at4] = Cross(even0, even1);
  const auto [at2, at6] = Cross(even3, turned);

  const V odd0 = difference3 + difference2;
  const V odd1 = (difference2 + difference1) * hn::Set(kFloat, kCos4);
  const V odd2 = difference1 + difference0;
  const V common = (odd0 - odd2) * hn::Set(kFloat, kCos6);
  const V low = odd0 * hn::Set(kFloat, kCos2 - kCos6) + common;
  const V high = odd2 * hn::Set(kFloat, kCos2 + kCos6) + common;
  const auto [near, far] = Cross(difference0, odd1);
  const auto [at5, at3] = Cross(far, low);
  const auto [at1, at7] = Cross(near, high);
  line = {{at0, at1, at2, at3, at4, at5, at6, at7}};
}

HWY_INLINE __m128i LoadEight(const std::uint16_t* samples) {
  return _mm_loadu_si128(reinterpret_cast<const __m128i*>(samples));
}

/// Loads the 128-bit parts of two vectors alternately.
HWY_INLINE void LoadAlternately(const std::uint16_t* from, Words<4>& a, Words<4>& b) {
  a.raw = LoadEight(from);
  b.raw = LoadEight(from + kBlockSize);
}
#if HWY_TARGET <= HWY_AVX2
HWY_INLINE void LoadAlternately(const std::uint16_t* from, Words<8>& a, Words<8>& b) {
  const __m256i first = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(from));
  const __m256i second =
      _mm256_loadu_si256(reinterpret_cast<const __m256i*>(from + 2 * kBlockSize));
  a.raw = _mm256_permute2x128_si256(first, second, 0x20);
  b.raw = _mm256_permute2x128_si256(first, second, 0x31);
}
#endif
#if HWY_TARGET <= HWY_AVX3_DL
HWY_INLINE void LoadAlternately(const std::uint16_t* from, Words<16>& a, Words<16>& b) {
  const __m512i first = _mm512_loadu_si512(from);
  const __m512i second = _mm512_loadu_si512(from + 4 * kBlockSize);
  a.raw = _mm512_permutex2var_epi64(first, _mm512_set_epi64(13, 12, 9, 8, 5, 4, 1, 0), second);
  b.raw = _mm512_permutex2var_epi64(first, _mm512_set_epi64(15, 14, 11, 10, 7, 6, 3, 2), second);
}
#endif

/// Stores the nearest integers of two vectors, ties to even.
HWY_INLINE void StoreRounded(Lanes<4> a, Lanes<4> b, std::int16_t* toA, std::int16_t* toB) {
  const __m128i both = _mm_packs_epi32(_mm_cvtps_epi32(a.raw), _mm_cvtps_epi32(b.raw));
  _mm_storel_epi64(reinterpret_cast<__m128i*>(toA), both);
  _mm_storel_epi64(reinterpret_cast<__m128i*>(toB), _mm_unpackhi_epi64(both, both));
}
#if HWY_TARGET <= HWY_AVX2
HWY_INLINE void StoreRounded(Lanes<8> a, Lanes<8> b, std::int16_t* toA, std::int16_t* toB) {
  const __m256i mixed = _mm256_packs_epi32(_mm256_cvtps_epi32(a.raw), _mm256_cvtps_epi32(b.raw));
  const __m256i both = _mm256_permute4x64_epi64(mixed, 0xD8);
  _mm_storeu_si128(reinterpret_cast<__m128i*>(toA), _mm256_castsi256_si128(both));
  _mm_storeu_si128(reinterpret_cast<__m128i*>(toB), _mm256_extracti128_si256(both, 1));
}
#endif
#if HWY_TARGET <= HWY_AVX3_DL
HWY_INLINE void StoreRounded(Lanes<16> a, Lanes<16> b, std::int16_t* toA, std::int16_t* toB) {
  _mm256_storeu_si256(reinterpret_cast<__m256i*>(toA),
                      _mm512_cvtepi32_epi16(_mm512_cvtps_epi32(a.raw)));
  _mm256_storeu_si256(reinterpret_cast<__m256i*>(toB),
                      _mm512_cvtepi32_epi16(_mm512_cvtps_epi32(b.raw)));
}
#endif

/// The blocks of a component, as many at a time as a vector has lanes.
template <std::size_t kLanes>
class Component {
 public:
  Component(const std::uint16_t* samples, std::size_t stride, std::size_t blocks, unsigned index,
            const ForwardPlan& plan, std::int16_t* coefficients)
      : samples_(samples),
        stride_(stride),
        blocks_(blocks),
        index_(index),
        plan_(plan),
        coefficients_(coefficients) {}

  /// Transforms all rows before all columns, so that no transform waits for the previous one.
  HWY_INLINE void Transform() {
    for (std::size_t first = 0; first < blocks_; first += kLanes) {
      for (std::size_t row = 0; row < kBlockSize; ++row) TransformRow(first, row);
    }
    for (std::size_t first = 0; first < blocks_; first += kLanes) {
      for (std::size_t column = 0; column < kBlockSize; ++column) TransformColumn(first, column);
    }
  }

 private:
  static constexpr FloatTag<kLanes> kFloat{};
  static constexpr WordTag<kLanes> kWord{};
  static constexpr hn::FixedTag<std::int32_t, kLanes> kInt{};
  static constexpr hn::FixedTag<std::uint64_t, kLanes / 2> kWide{};

  /// Returns the address of a value of a transformed row.
  HWY_INLINE float* At(std::size_t first, std::size_t row, std::size_t column) {
    return values_ + first * kBlockSamples + (row * kBlockSize + column) * kLanes;
  }

  HWY_INLINE void TransformRow(std::size_t first, std::size_t row) {
    Words<kLanes> blocks[4];
    LoadRow(first, row, blocks);
    // Transpose words of two samples within 128 bits.
    const auto left01 = hn::BitCast(kWide, hn::InterleaveLower(kWord, blocks[0], blocks[1]));
    const auto left23 = hn::BitCast(kWide, hn::InterleaveLower(kWord, blocks[2], blocks[3]));
    const auto right01 = hn::BitCast(kWide, hn::InterleaveUpper(kWord, blocks[0], blocks[1]));
    const auto right23 = hn::BitCast(kWide, hn::InterleaveUpper(kWord, blocks[2], blocks[3]));
    const Words<kLanes> pairs[] = {
        hn::BitCast(kWord, hn::InterleaveLower(kWide, left01, left23)),
        hn::BitCast(kWord, hn::InterleaveUpper(kWide, left01, left23)),
        hn::BitCast(kWord, hn::InterleaveLower(kWide, right01, right23)),
        hn::BitCast(kWord, hn::InterleaveUpper(kWide, right01, right23)),
    };
    Line<kLanes> line;
    const auto low = hn::Set(kWord, 0xFFFF);
    HWY_UNROLL(4) for (std::size_t i = 0; i < 4; ++i) {
      line.at[2 * i] = hn::ConvertTo(kFloat, hn::BitCast(kInt, hn::And(pairs[i], low)));
      line.at[2 * i + 1] = hn::ConvertTo(kFloat, hn::BitCast(kInt, hn::ShiftRight<16>(pairs[i])));
    }
    TransformLine(line);
    HWY_UNROLL(8) for (std::size_t column = 0; column < kBlockSize; ++column) {
      hn::Store(line.at[column], kFloat, At(first, row, column));
    }
  }

  /// @param blocks row `row` of blocks 0, 4, 8, 12, then of 1, 5, 9, 13 and so on.
  HWY_INLINE void LoadRow(std::size_t first, std::size_t row, Words<kLanes> (&blocks)[4]) const {
    // Any two successive pairs of blocks cover 16 columns of 16 lines: PositionOfBlock().
    const std::uint16_t* const upper = samples_ + first * kBlockSize / 2 + row * stride_;
    const std::uint16_t* const lower = upper + kBlockSize * stride_;
    if constexpr (kLanes == 4) {
      if (blocks_ == 2) {
        blocks[0].raw = blocks[2].raw = LoadEight(upper);
        blocks[1].raw = blocks[3].raw = LoadEight(lower);
        return;
      }
    }
    if (index_ == 0) {
      LoadAlternately(upper, blocks[0], blocks[1]);
      LoadAlternately(lower, blocks[2], blocks[3]);
    } else {
      LoadAlternately(upper, blocks[0], blocks[2]);
      LoadAlternately(lower, blocks[1], blocks[3]);
    }
  }

  HWY_INLINE void TransformColumn(std::size_t first, std::size_t column) {
    Line<kLanes> line;
    HWY_UNROLL(8) for (std::size_t row = 0; row < kBlockSize; ++row) {
      line.at[row] = hn::Load(kFloat, At(first, row, column));
    }
    TransformLine(line);
    if (column == 0) line.at[0] = line.at[0] - hn::Set(kFloat, plan_.levelShift);
    HWY_UNROLL(8) for (std::size_t row = 0; row < kBlockSize; ++row) {
      const float factor = plan_.factors[row * kBlockSize + column];
      line.at[row] = line.at[row] * hn::Set(kFloat, factor);
    }
    HWY_UNROLL(4) for (std::size_t row = 0; row < kBlockSize; row += 2) {
      StoreRow(line.at[row], line.at[row + 1], Coefficients(first, row, column),
               Coefficients(first, row + 1, column));
    }
  }

  HWY_INLINE void StoreRow(Lanes<kLanes> a, Lanes<kLanes> b, std::int16_t* toA,
                           std::int16_t* toB) const {
    if constexpr (kLanes == 4) {
      if (blocks_ == 2) {
        std::int16_t both[8];
        StoreRounded(a, b, both, both + 4);
        std::memcpy(toA, both, 4);
        std::memcpy(toB, both + 4, 4);
        return;
      }
    }
    StoreRounded(a, b, toA, toB);
  }

  HWY_INLINE std::int16_t* Coefficients(std::size_t first, std::size_t row,
                                        std::size_t column) const {
    return coefficients_ + plan_.positions[row * kBlockSize + column] * blocks_ + first;
  }

  const std::uint16_t* samples_;
  std::size_t stride_;
  std::size_t blocks_;
  unsigned index_;
  const ForwardPlan& plan_;
  std::int16_t* coefficients_;
  alignas(kVectorAlignment) float values_[kMaxSliceBlocks * kBlockSamples];
};

void Forward(const std::uint16_t* samples, std::size_t stride, std::uint32_t blocks,
             unsigned component, const ForwardPlan& plan, std::int16_t* coefficients) {
  Expect(IsBlockCount(blocks, component));
#if HWY_TARGET <= HWY_AVX3_DL
  if (blocks >= 16) {
    return Component<16>(samples, stride, blocks, component, plan, coefficients).Transform();
  }
#endif
#if HWY_TARGET <= HWY_AVX2
  if (blocks >= 8) {
    return Component<8>(samples, stride, blocks, component, plan, coefficients).Transform();
  }
#endif
  Component<4>(samples, stride, blocks, component, plan, coefficients).Transform();
}

}  // namespace
}  // namespace prores::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();
#endif

#if HWY_ONCE
namespace prores {

decltype(&ForwardTransform) ForwardTransformFor(CpuLevel level) {
  return ForLevel<decltype(&ForwardTransform)>(level, ForwardTransform, N_SSE4::Forward,
                                               N_AVX2::Forward, N_AVX3_DL::Forward);
}

}  // namespace prores
#endif
