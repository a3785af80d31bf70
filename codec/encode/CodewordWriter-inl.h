// SPDX-License-Identifier: BSD-2-Clause
// Included once for each target, see cpu/Targets.h.
#if defined(CODEC_ENCODE_CODEWORDWRITER_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef CODEC_ENCODE_CODEWORDWRITER_INL_H
#undef CODEC_ENCODE_CODEWORDWRITER_INL_H
#else
#define CODEC_ENCODE_CODEWORDWRITER_INL_H
#endif

/// @file
/// Sinks for the codewords of a component: a counter and a writer.

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "bitstream/Codewords.h"
#include "encode/BitAppender.h"
#include "encode/ComponentCodewords-inl.h"
#include "encode/LevelVectors-inl.h"

#if HWY_TARGET != HWY_STATIC_TARGET
HWY_BEFORE_NAMESPACE();
namespace prores::HWY_NAMESPACE {

/// Adds up codeword lengths.
class BitCounter {
 public:
  // GCC compiles implicit constructors for the flags of the command line. If it does not inline
  // them, they receive the vector of Set() in another place than it is returned in.
  BitCounter() : sums_(Set(0)) {}

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
  Vec sums_;
};

/// One code in each lane, in the upper `length` bits of `bits`.
struct AlignedCodes {
  Vec64 bits;
  Vec64 length;
};
constexpr std::size_t kCodesOfVector = kLanes / 4;

#if HWY_TARGET == HWY_AVX3_DL
/// Makes the compiler load stored lanes from memory. It would extract them from the vector one by
/// one, which is slower.
inline void CompilerBarrier() {
  asm volatile("" ::: "memory");
}

inline Vec64 UpOneLane(Vec64 v, Vec64 lowest) {
  return Vec64{_mm512_alignr_epi64(v.raw, lowest.raw, 7)};
}

/// Returns for each lane the sum of itself and all lower lanes.
inline Vec64 SumsUpToLane(Vec64 v) {
  const __m512i zero = _mm512_setzero_si512();
  v = v + Vec64{_mm512_alignr_epi64(v.raw, zero, 7)};
  v = v + Vec64{_mm512_alignr_epi64(v.raw, zero, 6)};
  return v + Vec64{_mm512_alignr_epi64(v.raw, zero, 4)};
}

inline Vec64 ReverseBytes(Vec64 v) {
  const __m512i order = _mm512_set4_epi32(0x08090A0B, 0x0C0D0E0F, 0x00010203, 0x04050607);
  return Vec64{_mm512_shuffle_epi8(v.raw, order)};
}

/// Appends codes of at least eight bits. Each completes the byte that the previous one began, so no
/// code shares a byte with two others before it.
inline BitAppender PutLongCodes(const AlignedCodes& codes, BitAppender bits) {
  constexpr Tag64 kTag64;
  const Vec64 seven = hn::Set(kTag64, 7);
  const Vec64 ends = SumsUpToLane(codes.length) + hn::Set(kTag64, bits.PendingBits());
  const Vec64 begins = ends - codes.length;
  const Vec64 shifts = begins & seven;
  const Vec64 words = codes.bits >> shifts;
  const Vec64 pending = words << hn::AndNot(seven, shifts + codes.length);
  alignas(64) std::array<std::uint64_t, kCodesOfVector> stores, bytes, bitCounts, rests;
  hn::Store(ReverseBytes(words | UpOneLane(pending, hn::Set(kTag64, bits.Pending()))), kTag64,
            stores.data());
  hn::Store(hn::ShiftRight<3>(begins), kTag64, bytes.data());
  hn::Store(ends, kTag64, bitCounts.data());
  hn::Store(pending, kTag64, rests.data());
  CompilerBarrier();
  for (std::size_t i = 0; i < kCodesOfVector; ++i) bits.StoreAt(bytes[i], stores[i]);
  bits.Advance(bitCounts.back(), rests.back());
  return bits;
}
#endif

/// Appends codes of any length up to BitAppender::kMaxLength.
inline BitAppender PutCodes(const AlignedCodes& codes, BitAppender bits) {
  constexpr Tag64 kTag64;
  alignas(64) std::array<std::uint64_t, kCodesOfVector> words, lengths;
  hn::Store(codes.bits, kTag64, words.data());
  hn::Store(codes.length, kTag64, lengths.data());
  for (std::size_t i = 0; i < kCodesOfVector; ++i) bits.PutAligned(words[i], lengths[i]);
  return bits;
}

/// Joins the two codewords of each lane, and then those of four lanes.
/// @return whether they are short enough.
inline bool JoinFours(const Codewords& first, const Codewords& second, AlignedCodes& joined) {
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
  joined.length = (lengths64 & low) + oddLength;
  joined.bits = fours << (hn::Set(kTag64, 64) - joined.length);
  return hn::AllFalse(kTag32, pairLengths > hn::Set(kTag32, 32)) &&
         hn::AllFalse(kTag64, joined.length > hn::Set(kTag64, BitAppender::kMaxLength));
}

/// Appends the codewords lane by lane, up to the first lane without codewords.
HWY_NOINLINE BitAppender PutSingly(const Codewords& first, const Codewords& second,
                                   BitAppender bits) {
  constexpr UnsignedTag kTag;
  alignas(64) std::array<std::uint16_t, kLanes> firstBits, firstLengths, secondBits, secondLengths;
  hn::Store(hn::BitCast(kTag, first.bits), kTag, firstBits.data());
  hn::Store(hn::BitCast(kTag, first.length), kTag, firstLengths.data());
  hn::Store(hn::BitCast(kTag, second.bits), kTag, secondBits.data());
  hn::Store(hn::BitCast(kTag, second.length), kTag, secondLengths.data());
  for (std::size_t i = 0; i < kLanes; ++i) {
    const unsigned length = firstLengths[i] + secondLengths[i];
    if (length == 0) break;
    bits.Put(std::uint64_t{firstBits[i]} << secondLengths[i] | secondBits[i], length);
  }
  return bits;
}

/// Appends codewords to a buffer.
class CodewordWriter {
 public:
  explicit CodewordWriter(std::uint8_t* buffer) : bits_(buffer) {}

  void Put(const Codeword& word) { bits_.Put(word.bits, word.length); }

  void Put(const Codewords& first, const Codewords& second) {
#if HWY_TARGET != HWY_SSE4  // SSE4 cannot shift lanes by different amounts
    AlignedCodes codes;
    if (HWY_LIKELY(JoinFours(first, second, codes))) {
      bits_ = PutJoined(codes, bits_);
      return;
    }
#endif
    bits_ = PutSingly(first, second, bits_);
  }

  const std::uint8_t* End() const {
    return bits_.End();
  }

 private:
  static BitAppender PutJoined(const AlignedCodes& codes, BitAppender bits) {
#if HWY_TARGET == HWY_AVX3_DL
    constexpr Tag64 kTag64;
    if (hn::AllTrue(kTag64, codes.length > hn::Set(kTag64, 7))) return PutLongCodes(codes, bits);
#endif
    return PutCodes(codes, bits);
  }

  BitAppender bits_;
};

}  // namespace prores::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();
#endif

#endif  // CODEC_ENCODE_CODEWORDWRITER_INL_H
