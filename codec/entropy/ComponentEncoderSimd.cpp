// SPDX-License-Identifier: BSD-2-Clause
#include "entropy/ComponentEncoderSimd.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>

#include "bitstream/BlockOrder.h"
#include "entropy/BitAppender.h"
#include "entropy/Codewords.h"
#include "entropy/ComponentEncoder.h"

// clang-format off
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "entropy/ComponentEncoderSimd.cpp"
#include "cpu/Targets.h"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>
// clang-format on

// What all targets share.
#ifndef CODEC_ENTROPY_COMPONENTENCODERSIMD_SHARED
#define CODEC_ENTROPY_COMPONENTENCODERSIMD_SHARED
namespace prores {
namespace {

/// Parameters of the code that applies after a value, looked up by that value plus one modulo 16;
/// all greater values are entered as 15. None is negative. With m and g of the exponential Golomb
/// part (Code), a value v of it has the word w = v + wordOffset - 1 of k + 1 bits and a codeword of
/// 2 k + lengthOffset - 4 bits; a value is of the Rice part if v + 1 <= riceValues.
struct CodeTables {
  static constexpr std::size_t kEntries = 16;
  static constexpr int kLengthBias = 4;
  using Table = std::array<std::uint8_t, kEntries>;

  alignas(16) Table wordOffset{};
  alignas(16) Table lengthOffset{};
  alignas(16) Table riceValues{};
};

template <std::size_t kSize>
constexpr CodeTables MakeCodeTables(const std::array<CodeId, kSize>& codes) {
  CodeTables tables;
  for (std::uint32_t previous = 0; previous < CodeTables::kEntries; ++previous) {
    const Code& code = kCodes[CodeAfter(codes, previous)];
    const auto m = static_cast<int>(code.FirstGolombValue());
    const std::size_t entry = (previous + 1) % CodeTables::kEntries;
    tables.wordOffset[entry] = static_cast<std::uint8_t>((1 << code.golombOrder) - m + 1);
    tables.lengthOffset[entry] = static_cast<std::uint8_t>(
        code.lastRicePrefix + 2 - code.golombOrder + CodeTables::kLengthBias);
    tables.riceValues[entry] = static_cast<std::uint8_t>(m);
  }
  return tables;
}
constexpr CodeTables kRunTables = MakeCodeTables(kRunCodes);
constexpr CodeTables kLevelTables = MakeCodeTables(kLevelCodes);
constexpr CodeTables kDcTables = MakeCodeTables(kDcCodes);

/// Most bits of a run, a level and its sign, rounded up to whole bytes.
constexpr std::size_t kMaxBytesPerValue = 7;
/// The most that a component can take, and what a BitAppender writes behind it.
constexpr std::size_t kMaxComponentBytes =
    kMaxSliceBlocks * kBlockSamples * kMaxBytesPerValue + sizeof(std::uint64_t);

/// For each set of eight 16-bit lanes, the byte shuffle that moves them to the front.
using PackTable = std::array<std::array<std::uint8_t, 16>, 256>;
alignas(64) constexpr PackTable kPackTable = [] {
  PackTable table{};
  for (std::size_t lanes = 0; lanes < table.size(); ++lanes) {
    std::size_t byte = 0;
    for (std::uint8_t lane = 0; lane < 8; ++lane) {
      if ((lanes >> lane & 1) == 0) continue;
      table[lanes][byte++] = static_cast<std::uint8_t>(2 * lane);
      table[lanes][byte++] = static_cast<std::uint8_t>(2 * lane + 1);
    }
  }
  return table;
}();

}  // namespace
}  // namespace prores
#endif  // CODEC_ENTROPY_COMPONENTENCODERSIMD_SHARED

#if HWY_TARGET != HWY_STATIC_TARGET
HWY_BEFORE_NAMESPACE();
namespace prores::HWY_NAMESPACE {
namespace {

namespace hn = hwy::HWY_NAMESPACE;

using Tag = hn::ScalableTag<std::int16_t>;
using UnsignedTag = hn::RebindToUnsigned<Tag>;
using Tag32 = hn::Repartition<std::uint32_t, Tag>;
using Tag64 = hn::Repartition<std::uint64_t, Tag>;
using Vec = hn::Vec<Tag>;
using Vec32 = hn::Vec<Tag32>;
using Vec64 = hn::Vec<Tag64>;
constexpr std::size_t kLanes = hn::MaxLanes(Tag());
constexpr bool kAvx512 = HWY_TARGET == HWY_AVX3_DL;
constexpr bool kHasLaneShifts = HWY_TARGET != HWY_SSE4;

inline Vec Set(int value) {
  return hn::Set(Tag(), static_cast<std::int16_t>(value));
}

// ---- Levels that are not zero -----------------------------------------------------------------

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

/// Quantises a component piece by piece.
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
void Collect(const Quantiser& quantiser, std::span<const std::int16_t> coefficients,
             Levels& levels) {
  constexpr Tag kTag;
  const LevelSource levelsFrom(quantiser, coefficients);
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

// ---- Codewords --------------------------------------------------------------------------------

/// Codewords side by side, as the low `length` bits of `bits`.
struct Codewords {
  Vec bits;
  Vec length;
};

/// floor(log2(v)) of values from 1 to 2^15 - 1: the exponent as a float.
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

/// The code parameters that apply after each of `previous` values.
class CodeParameters {
 public:
  /// @param previousPlus1 values plus one; of 1 or more.
  CodeParameters(const CodeTables& tables, Vec previousPlus1) : tables_(tables) {
    const Vec index = hn::Min(previousPlus1, Set(CodeTables::kEntries));
#if HWY_TARGET == HWY_AVX3_DL
    indices_ = index;
#else
    indices_ = index | Set(-0x8000);  // no entry for the upper byte
#endif
  }

  Vec Lookup(const CodeTables::Table& table) const {
    // A shuffle ignores all bits of an index but the low ones, so that 16 is entry 0.
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

  /// Codewords of the exponential Golomb part.
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

/// Codewords of the Rice part with no low bits.
inline Codewords Unary(Vec valuePlus1) {
  return {Set(1), valuePlus1};
}

/// Codewords of the Rice part with `kLowBits` low bits.
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
  // One code, of four Rice values, has a low bit.
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

/// The first `count` lanes.
inline Codewords First(const Codewords& words, std::size_t count) {
  const auto mask = hn::FirstN(Tag(), count);
  return {hn::IfThenElseZero(mask, words.bits), hn::IfThenElseZero(mask, words.length)};
}

/// Codes all levels but the first DC into a sink, which has
///     void Put(const Codewords& first, const Codewords& second);
/// for one lane's codewords after the other's, both of a lane together.
template <typename Sink>
void Code(const Levels& levels, std::size_t blocks, Sink& sink) {
  const auto load = [](const std::int16_t* from) { return hn::LoadU(Tag(), from); };
  const Codewords none{Set(0), Set(0)};
  for (std::size_t i = 1; i < blocks; i += kLanes) {
    const std::int16_t* const dc = levels.dcs.data() + Levels::kBefore + i;
    const Vec before = load(dc - 1);
    const Codewords words = CodeDifferences(load(dc) - before, before - load(dc - 2));
    sink.Put(First(words, std::min(kLanes, blocks - i)), none);
  }
  const auto pairs = [&](std::size_t i, auto&& restrict) {
    const std::int16_t* const place = levels.places.data() + levels.first + i;
    const std::int16_t* const level = levels.levels.data() + levels.first + i;
    const Vec before = load(place - 1);
    const Vec signedLevel = load(level);
    Codewords magnitudes = CodeLevels(hn::Abs(signedLevel), hn::Abs(load(level - 1)));
    magnitudes.bits = hn::ShiftLeft<1>(magnitudes.bits) - hn::BroadcastSignBit(signedLevel);
    magnitudes.length = magnitudes.length + Set(1);
    sink.Put(restrict(CodeRuns(load(place) - before, before - load(place - 2))),
             restrict(magnitudes));
  };
  std::size_t i = 0;
  for (; i + kLanes <= levels.count; i += kLanes) {
    pairs(i, [](const Codewords& words) { return words; });
  }
  if (i < levels.count) {
    pairs(i, [&](const Codewords& words) { return First(words, levels.count - i); });
  }
}

inline Codeword CodeFirstDc(const Levels& levels) {
  return CodewordOf(kCodes[kFirstDcCode], FoldSign(levels.dcs[Levels::kBefore]));
}

/// Adds up lengths.
class BitCounter {
 public:
  void Put(const Codewords& first, const Codewords& second) {
    sums_ = sums_ + first.length + second.length;
  }
  std::size_t Bits() const {
    constexpr Tag32 kTag32;
    const Vec32 pairs = hn::BitCast(kTag32, sums_);
    return hn::GetLane(
        hn::SumOfLanes(kTag32, (pairs & hn::Set(kTag32, 0xFFFF)) + hn::ShiftRight<16>(pairs)));
  }

 private:
  Vec sums_ = Set(0);
};

/// Appends codewords to a buffer.
class CodewordWriter {
 public:
  explicit CodewordWriter(std::uint8_t* buffer) : bits_(buffer) {}

  void Put(const Codewords& first, const Codewords& second) {
    if (!kHasLaneShifts || !PutByFours(first, second)) bits_ = PutByPairs(first, second, bits_);
  }
  void Put(const Codeword& word) { bits_.Put(word.bits, word.length); }

  const std::uint8_t* End() const { return bits_.End(); }

 private:
  /// Joins the codewords of four lanes each.
  /// @return false, with nothing done, where they are too long for that.
  bool PutByFours(const Codewords& first, const Codewords& second) {
    constexpr Tag32 kTag32;
    constexpr Tag64 kTag64;
    const auto even = [](Vec v) { return hn::BitCast(Tag32(), v) & hn::Set(Tag32(), 0xFFFF); };
    const auto odd = [](Vec v) { return hn::ShiftRight<16>(hn::BitCast(Tag32(), v)); };
    const Vec lengths = first.length + second.length;
    const Vec32 evenCode = (even(first.bits) << even(second.length)) | even(second.bits);
    const Vec32 oddCode = (odd(first.bits) << odd(second.length)) | odd(second.bits);
    const Vec32 pairs = (evenCode << odd(lengths)) | oddCode;
    const Vec32 pairLengths = even(lengths) + odd(lengths);

    const Vec64 pairs64 = hn::BitCast(kTag64, pairs);
    const Vec64 lengths64 = hn::BitCast(kTag64, pairLengths);
    const Vec64 low = hn::Set(kTag64, 0xFFFFFFFF);
    const Vec64 oddLength = hn::ShiftRight<32>(lengths64);
    const Vec64 fours = ((pairs64 & low) << oddLength) | hn::ShiftRight<32>(pairs64);
    const Vec64 fourLengths = (lengths64 & low) + oddLength;
    const auto tooLong =
        hn::BitCast(kTag32, hn::VecFromMask(kTag32, pairLengths > hn::Set(kTag32, 32))) |
        hn::BitCast(kTag32, hn::VecFromMask(
                                kTag64, fourLengths > hn::Set(kTag64, BitAppender::kMaxLength)));
    if (!hn::AllFalse(kTag32, hn::MaskFromVec(tooLong))) return false;

    alignas(64) std::array<std::uint64_t, kLanes / 4> codes;
    alignas(64) std::array<std::uint64_t, kLanes / 4> codeLengths;
    hn::Store(fours << (hn::Set(kTag64, 64) - fourLengths), kTag64, codes.data());
    hn::Store(fourLengths, kTag64, codeLengths.data());
    for (std::size_t i = 0; i < codes.size(); ++i) bits_.PutAligned(codes[i], codeLengths[i]);
    return true;
  }

  static HWY_NOINLINE BitAppender PutByPairs(const Codewords& first, const Codewords& second,
                                             BitAppender bits) {
    alignas(64) std::array<std::uint16_t, kLanes> firstBits, firstLengths, secondBits,
        secondLengths;
    const auto store = [](Vec v, std::uint16_t* to) {
      hn::Store(hn::BitCast(UnsignedTag(), v), UnsignedTag(), to);
    };
    store(first.bits, firstBits.data());
    store(first.length, firstLengths.data());
    store(second.bits, secondBits.data());
    store(second.length, secondLengths.data());
    for (std::size_t i = 0; i < kLanes; ++i) {
      const unsigned length = firstLengths[i] + secondLengths[i];
      if (length == 0) break;
      bits.Put(std::uint64_t{firstBits[i]} << secondLengths[i] | secondBits[i], length);
    }
    return bits;
  }

  BitAppender bits_;
};

std::size_t CountBytes(const Quantiser& quantiser, std::span<const std::int16_t> coefficients) {
  Levels levels;
  Collect(quantiser, coefficients, levels);
  BitCounter counter;
  Code(levels, coefficients.size() / kBlockSamples, counter);
  return (counter.Bits() + CodeFirstDc(levels).length + 7) / 8;
}

bool Write(const Quantiser& quantiser, std::span<const std::int16_t> coefficients,
           std::span<std::uint8_t> destination) {
  Levels levels;
  Collect(quantiser, coefficients, levels);
  alignas(64) std::array<std::uint8_t, kMaxComponentBytes> bytes;
  CodewordWriter writer(bytes.data());
  writer.Put(CodeFirstDc(levels));
  Code(levels, coefficients.size() / kBlockSamples, writer);
  const auto size = static_cast<std::size_t>(writer.End() - bytes.data());
  if (size != destination.size()) return false;
  std::memcpy(destination.data(), bytes.data(), size);
  return true;
}

}  // namespace
// Outside the unnamed namespace: the table of kernels takes their addresses.
constexpr auto kCountBytes = CountBytes;
constexpr auto kWrite = Write;
}  // namespace prores::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();
#endif

#if HWY_ONCE
namespace prores {

void InstallComponentEncoderKernels(CpuLevel level, Kernels& kernels) {
  kernels.countComponentBytes =
      ForLevel(level, N_SSE4::kCountBytes, N_AVX2::kCountBytes, N_AVX3_DL::kCountBytes);
  kernels.writeComponent = ForLevel(level, N_SSE4::kWrite, N_AVX2::kWrite, N_AVX3_DL::kWrite);
}

}  // namespace prores
#endif
