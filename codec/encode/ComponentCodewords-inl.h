// SPDX-License-Identifier: BSD-2-Clause
// Included once for each target, see cpu/Targets.h.
#if defined(CODEC_ENCODE_COMPONENTCODEWORDS_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef CODEC_ENCODE_COMPONENTCODEWORDS_INL_H
#undef CODEC_ENCODE_COMPONENTCODEWORDS_INL_H
#else
#define CODEC_ENCODE_COMPONENTCODEWORDS_INL_H
#endif

/// @file
/// Converts packed levels to codewords.

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "bitstream/Codewords.h"
#include "encode/CodewordTables.h"
#include "encode/LevelVectors-inl.h"
#include "encode/QuantisedLevels-inl.h"

#if HWY_TARGET != HWY_STATIC_TARGET
HWY_BEFORE_NAMESPACE();
namespace prores::HWY_NAMESPACE {

/// One codeword in each lane, in the low `length` bits of `bits`.
struct Codewords {
  Vec bits;
  Vec length;
};

/// Returns floor(log2(v)) of values from 1 to 2^15 - 1: the exponent of v as a float.
inline Vec FloorLog2(Vec v) {
  constexpr Tag32 kTag32;
  const auto toFloat = [](Vec32 x) {
    constexpr hn::RebindToSigned<Tag32> kSigned32;
    constexpr hn::RebindToFloat<Tag32> kFloat;
    return hn::BitCast(Tag(), hn::ConvertTo(kFloat, hn::BitCast(kSigned32, x)));
  };
  const Vec32 pairs = hn::BitCast(kTag32, v);
  const Vec upper = toFloat(hn::ShiftRight<16>(pairs));
  const Vec32 lower = hn::BitCast(kTag32, toFloat(pairs & hn::Set(kTag32, 0xFFFF)));
  const Vec exponents = hn::OddEven(upper, hn::BitCast(Tag(), hn::ShiftRight<16>(lower)));
  return hn::ShiftRight<7>(exponents) - Set(127);
}

/// Parameters of the codes that apply after each of several previous values.
class CodeParameters {
 public:
  /// @param previousPlus1 previous values plus one, at least 1.
  CodeParameters(const CodeTables& tables, Vec previousPlus1) : tables_(tables) {
    const Vec index = hn::Min(previousPlus1, Set(CodeTables::kEntries));
#if HWY_TARGET == HWY_AVX3_DL
    indices_ = index;
#else
    indices_ = index | Set(-0x8000);  // the upper byte selects no entry
#endif
  }

  Vec Lookup(const CodeTables::Table& table) const {
    // A shuffle uses only the low bits of an index, so 16 selects entry 0.
#if HWY_TARGET == HWY_AVX3_DL
    const __m256i entries =
        _mm256_cvtepu8_epi16(_mm_load_si128(reinterpret_cast<const __m128i*>(table.data())));
    return Vec{_mm512_permutexvar_epi16(indices_.raw, _mm512_broadcast_i64x4(entries))};
#else
    constexpr hn::Repartition<std::uint8_t, Tag> kBytes;
    return hn::BitCast(Tag(), hn::TableLookupBytesOr0(hn::LoadDup128(kBytes, table.data()),
                                                      hn::BitCast(kBytes, indices_)));
#endif
  }

  /// Returns codewords of the exponential Golomb part.
  Codewords Golomb(Vec valuePlus1) const {
    const Vec word = valuePlus1 - Set(2) + Lookup(tables_.wordOffset);
    const Vec log2 = FloorLog2(word);
    return {word, log2 + log2 + Lookup(tables_.lengthOffset) - Set(CodeTables::kLengthBias)};
  }

  Vec RiceValues() const {
    return Lookup(tables_.riceValues);
  }

 private:
  const CodeTables& tables_;
  Vec indices_;
};

inline Codewords Choose(hn::Mask<Tag> first, const Codewords& a, const Codewords& b) {
  return {hn::IfThenElse(first, a.bits, b.bits), hn::IfThenElse(first, a.length, b.length)};
}

/// Returns codewords of the Rice part without low bits.
inline Codewords Unary(Vec valuePlus1) {
  return {Set(1), valuePlus1};
}

/// Returns codewords of the Rice part with `kLowBits` low bits.
template <int kLowBits>
inline Codewords Rice(Vec valuePlus1) {
  const Vec value = valuePlus1 - Set(1);
  return {Set(1 << kLowBits) | (value & Set((1 << kLowBits) - 1)),
          hn::ShiftRight<kLowBits>(value) + Set(kLowBits + 1)};
}

inline Codewords CodeLevels(Vec magnitude, Vec previous) {
  const CodeParameters code(kLevelTables, previous);
  return Choose(magnitude > code.RiceValues(), code.Golomb(magnitude), Unary(magnitude));
}

inline Codewords CodeRuns(Vec distance, Vec previous) {
  const CodeParameters code(kRunTables, previous);
  const Vec riceValues = code.RiceValues();
  // Only the code with four Rice values has a low bit.
  const Codewords rice = Choose(riceValues == Set(4), Rice<1>(distance), Unary(distance));
  return Choose(distance > riceValues, code.Golomb(distance), rice);
}

inline Codewords CodeDifferences(Vec difference, Vec previous) {
  const CodeParameters code(kDcTables, hn::Abs(previous) + Set(1));
  const Vec reversed = hn::BroadcastSignBit(previous);
  const Vec turned = (difference ^ reversed) - reversed;
  const Vec folded = hn::ShiftLeft<1>(turned) ^ hn::BroadcastSignBit(turned);
  const Vec valuePlus1 = folded + Set(1);
  return Choose(valuePlus1 > code.RiceValues(), code.Golomb(valuePlus1), Rice<2>(valuePlus1));
}

/// Returns the first `count` lanes; the others become empty.
inline Codewords First(const Codewords& words, std::size_t count) {
  const auto mask = hn::FirstN(Tag(), count);
  return {hn::IfThenElseZero(mask, words.bits), hn::IfThenElseZero(mask, words.length)};
}

// A sink has
//     void Put(const Codewords& first, const Codewords& second);
// which takes both codewords of one lane, then those of the next.

/// Codes all DC levels except the first.
template <typename Sink>
void CodeDcs(const Levels& levels, std::size_t blocks, Sink& sink) {
  const auto load = [](const std::int16_t* from) { return hn::LoadU(Tag(), from); };
  const Codewords none{Set(0), Set(0)};
  for (std::size_t i = 1; i < blocks; i += kLanes) {
    const std::int16_t* const dc = levels.dcs.data() + Levels::kBefore + i;
    const Vec before = load(dc - 1);
    const Codewords words = CodeDifferences(load(dc) - before, before - load(dc - 2));
    sink.Put(First(words, std::min(kLanes, blocks - i)), none);
  }
}

/// Codes runs, levels and signs of the AC levels from `begin` to `end`.
template <typename Sink>
void CodePairs(const Levels& levels, std::size_t begin, std::size_t end, Sink& sink) {
  const auto load = [](const std::int16_t* from) { return hn::LoadU(Tag(), from); };
  const auto pairs = [&](std::size_t i, auto&& restrict) {
    const std::int16_t* const place = levels.places.data() + Levels::kBefore + i;
    const std::int16_t* const level = levels.levels.data() + Levels::kBefore + i;
    const Vec before = load(place - 1);
    const Vec signedLevel = load(level);
    Codewords magnitudes = CodeLevels(hn::Abs(signedLevel), hn::Abs(load(level - 1)));
    magnitudes.bits = hn::ShiftLeft<1>(magnitudes.bits) - hn::BroadcastSignBit(signedLevel);
    magnitudes.length = magnitudes.length + Set(1);
    sink.Put(restrict(CodeRuns(load(place) - before, before - load(place - 2))),
             restrict(magnitudes));
  };
  std::size_t i = begin;
  for (; i + kLanes <= end; i += kLanes) {
    pairs(i, [](const Codewords& words) { return words; });
  }
  if (i < end) {
    pairs(i, [&](const Codewords& words) { return First(words, end - i); });
  }
}

inline Codeword CodeFirstDc(const Levels& levels) {
  return CodewordOf(kCodes[kFirstDcCode], FoldSign(levels.dcs[Levels::kBefore]));
}

}  // namespace prores::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();
#endif

#endif  // CODEC_ENCODE_COMPONENTCODEWORDS_INL_H
