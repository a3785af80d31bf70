// SPDX-License-Identifier: BSD-2-Clause
// Included once for each target, see cpu/Targets.h.
#if defined(CODEC_ENCODE_CODEWORDLENGTHS_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef CODEC_ENCODE_CODEWORDLENGTHS_INL_H
#undef CODEC_ENCODE_CODEWORDLENGTHS_INL_H
#else
#define CODEC_ENCODE_CODEWORDLENGTHS_INL_H
#endif

/// @file
/// Lengths of codewords, without the codewords. Nearly all values fit lanes of one byte, of which a
/// vector has twice as many as of codewords.

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "encode/CodewordTables.h"
#include "encode/CodewordWriter-inl.h"
#include "encode/ComponentCodewords-inl.h"
#include "encode/LevelVectors-inl.h"
#include "encode/QuantisedLevels-inl.h"

#if HWY_TARGET != HWY_STATIC_TARGET
HWY_BEFORE_NAMESPACE();
namespace prores::HWY_NAMESPACE {

using ByteTag = hn::Repartition<std::uint8_t, Tag>;
using Bytes = hn::Vec<ByteTag>;
constexpr std::size_t kByteLanes = 2 * kLanes;

/// Largest value whose code length can be computed within a byte.
constexpr std::uint8_t kMaxByteValue = 240;

inline Bytes SetByte(int value) {
  return hn::Set(ByteTag(), static_cast<std::uint8_t>(value));
}

/// Packs the lanes of two vectors, saturated to 0..255, in a fixed but unspecified order.
inline Bytes ToBytes(Vec a, Vec b) {
#if HWY_TARGET == HWY_AVX3_DL
  return Bytes{_mm512_packus_epi16(a.raw, b.raw)};
#elif HWY_TARGET == HWY_AVX2
  return Bytes{_mm256_packus_epi16(a.raw, b.raw)};
#else
  return Bytes{_mm_packus_epi16(a.raw, b.raw)};
#endif
}

/// Looks up entries of a table by the low four bits of each index.
inline Bytes Lookup(const std::uint8_t* table, Bytes indices) {
  return hn::TableLookupBytes(hn::LoadDup128(ByteTag(), table), indices);
}

/// Returns floor(log2(v)) of values of 1 or more.
inline Bytes FloorLog2(Bytes v) {
  const Bytes low = Lookup(kLog2Tables.low.data(), v & SetByte(15));
  return hn::Max(low, Lookup(kLog2Tables.high.data(), hn::ShiftRight<4>(v)));
}

/// Parameters of code lengths; see CodeParameters.
class LengthParameters {
 public:
  LengthParameters(const CodeTables& tables, Bytes previousPlus1)
      : tables_(tables), indices_(hn::Min(previousPlus1, SetByte(CodeTables::kEntries))) {}

  /// @param rice lengths of the values that belong to the Rice part.
  Bytes Lengths(Bytes valuePlus1, Bytes riceValues, Bytes rice) const {
    const Bytes word = valuePlus1 + Lookup(tables_.wordOffset.data(), indices_) - SetByte(2);
    const Bytes log2 = FloorLog2(word);
    const Bytes golomb = log2 + log2 + Lookup(tables_.lengthOffset.data(), indices_) -
                         SetByte(CodeTables::kLengthBias);
    return hn::IfThenElse(hn::Min(valuePlus1, riceValues) == valuePlus1, rice, golomb);
  }

  Bytes RiceValues() const { return Lookup(tables_.riceValues.data(), indices_); }

 private:
  const CodeTables& tables_;
  Bytes indices_;
};

inline Bytes LevelLengths(Bytes magnitude, Bytes previous) {
  const LengthParameters code(kLevelTables, previous);
  return code.Lengths(magnitude, code.RiceValues(), magnitude);
}

inline Bytes RunLengths(Bytes distance, Bytes previous) {
  const LengthParameters code(kRunTables, previous);
  const Bytes riceValues = code.RiceValues();
  // See CodeRuns().
  const Bytes withLowBit = hn::ShiftRight<1>(distance + SetByte(3));
  return code.Lengths(distance, riceValues,
                      hn::IfThenElse(riceValues == SetByte(4), withLowBit, distance));
}

/// kByteLanes pairs of a run and a level.
class PairBytes {
 public:
  /// @param i number of the first pair. Behind the last pair, levels are zero.
  PairBytes(const Levels& levels, std::size_t i)
      : place_(levels.places.data() + Levels::kBefore + i),
        level_(levels.levels.data() + Levels::kBefore + i),
        distances_(Distances(0)),
        magnitudes_(Magnitudes(0)) {}

  bool AreSmall() const {
    constexpr ByteTag kTag;
    const Bytes largest = hn::Max(distances_, magnitudes_);
    return hn::AllTrue(kTag, hn::Min(largest, SetByte(kMaxByteValue)) == largest);
  }

  /// Returns the lengths of runs and levels without signs; zero where there is no pair.
  Bytes Lengths() const {
    const Bytes lengths =
        RunLengths(distances_, Distances(1)) + LevelLengths(magnitudes_, Magnitudes(1));
    return hn::IfThenZeroElse(magnitudes_ == SetByte(0), lengths);
  }

 private:
  static Vec Load(const std::int16_t* from) { return hn::LoadU(Tag(), from); }

  /// @param back 1 for the previous pairs.
  Bytes Distances(int back) const {
    const std::int16_t* const at = place_ - back;
    return ToBytes(Load(at) - Load(at - 1), Load(at + kLanes) - Load(at + kLanes - 1));
  }
  Bytes Magnitudes(int back) const {
    const std::int16_t* const at = level_ - back;
    return ToBytes(hn::Abs(Load(at)), hn::Abs(Load(at + kLanes)));
  }

  const std::int16_t* place_;
  const std::int16_t* level_;
  Bytes distances_;
  Bytes magnitudes_;
};

/// Returns the bits of all runs, levels and signs.
inline std::size_t CountPairBits(const Levels& levels) {
  std::size_t bits = levels.count;  // signs
  auto sums = hn::Zero(Tag64());
  for (std::size_t i = 0; i < levels.count; i += kByteLanes) {
    const PairBytes pairs(levels, i);
    if (HWY_LIKELY(pairs.AreSmall())) {
      sums = sums + hn::SumsOf8(pairs.Lengths());
    } else {
      const std::size_t end = std::min(levels.count, i + kByteLanes);
      BitCounter counter;
      CodePairs(levels, i, end, counter);
      bits += counter.Bits() - (end - i);
    }
  }
  return bits + hn::GetLane(hn::SumOfLanes(Tag64(), sums));
}

}  // namespace prores::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();
#endif

#endif  // CODEC_ENCODE_CODEWORDLENGTHS_INL_H
