// SPDX-License-Identifier: BSD-2-Clause
#ifndef CODEC_BITSTREAM_CODEWORDS_H
#define CODEC_BITSTREAM_CODEWORDS_H

/// @file
/// The variable length codes of coefficients, and the rules that select them (RDD 36, coefficient
/// coding), for encoder and decoder.

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>

namespace prores {

/// A combined Rice and exponential Golomb code. With
/// m = (lastRicePrefix + 1) << riceBits, a value v is coded as
/// - v < m:  v >> riceBits zeros, a one, the low riceBits bits of v;
/// - v >= m: with w = v - m + (1 << golombOrder) and k = floor(log2(w)),
///           lastRicePrefix + 1 + k - golombOrder zeros, then the k + 1 bits of w.
struct Code {
  int lastRicePrefix;  ///< longest prefix of the Rice part; -1 = no Rice part
  int riceBits;
  int golombOrder;

  /// First value of the exponential Golomb part.
  constexpr std::uint32_t FirstGolombValue() const {
    return static_cast<std::uint32_t>(lastRicePrefix + 1) << riceBits;
  }
};

/// The codes in use; a CodeId is an index of kCodes.
enum CodeId : std::uint8_t { kEG0, kEG1, kEG2, kEG3, kEG5, kC123, kC201, kC101, kC112, kC202 };

inline constexpr std::array<Code, 10> kCodes{{
    {-1, 0, 0},  // kEG0
    {-1, 0, 1},  // kEG1
    {-1, 0, 2},  // kEG2
    {-1, 0, 3},  // kEG3
    {-1, 0, 5},  // kEG5
    {1, 2, 3},   // kC123
    {2, 0, 1},   // kC201
    {1, 0, 1},   // kC101
    {1, 1, 2},   // kC112
    {2, 0, 2},   // kC202
}};

/// Code of the first DC of a component.
inline constexpr CodeId kFirstDcCode = kEG5;

/// Code of a DC difference by the magnitude of the previous difference.
inline constexpr std::array<CodeId, 4> kDcCodes{kEG0, kEG1, kC123, kEG3};

/// Code of a run of zeros by the previous run.
inline constexpr std::array<CodeId, 16> kRunCodes{kC201, kC201, kC101, kC101, kEG0, kC112,
                                                  kC112, kC112, kC112, kEG1,  kEG1, kEG1,
                                                  kEG1,  kEG1,  kEG1,  kEG2};

/// Code of a level symbol (magnitude less one) by the previous level symbol.
inline constexpr std::array<CodeId, 9> kLevelCodes{kC202, kC101, kC201, kEG0, kEG1,
                                                   kEG1,  kEG1,  kEG1,  kEG2};

/// Previous difference, run and level symbol at the start of a component.
inline constexpr int kInitialDcDifference = 3;
inline constexpr std::uint32_t kInitialRun = 4;
inline constexpr std::uint32_t kInitialLevelSymbol = 1;

/// Returns the entry of one of the tables above for `previous`. The last entry serves all greater
/// values.
template <std::size_t kSize>
constexpr CodeId CodeAfter(const std::array<CodeId, kSize>& codes, std::uint32_t previous) {
  return codes[std::min<std::size_t>(previous, kSize - 1)];
}

/// Maps signed to unsigned: 0, -1, 1, -2, 2 become 0, 1, 2, 3, 4.
constexpr std::uint32_t FoldSign(std::int32_t value) {
  return value < 0 ? ~(static_cast<std::uint32_t>(value) << 1)
                   : static_cast<std::uint32_t>(value) << 1;
}

/// Inverse of FoldSign().
constexpr std::int32_t UnfoldSign(std::uint32_t folded) {
  return static_cast<std::int32_t>(folded >> 1) ^ -static_cast<std::int32_t>(folded & 1);
}

/// A codeword: the low `length` bits of `bits`, the most significant of them first. The bits above
/// are zero.
struct Codeword {
  std::uint32_t bits;
  std::uint32_t length;

  friend constexpr bool operator==(const Codeword&, const Codeword&) = default;
};

/// Returns the codeword of `value`. Values are below 2^17, so codewords have at most 34 bits, of
/// which all but leading zeros fit `bits`.
constexpr Codeword CodewordOf(const Code& code, std::uint32_t value) {
  const std::uint32_t riceMask = (1u << code.riceBits) - 1;
  if (value < code.FirstGolombValue()) {
    const std::uint32_t zeros = value >> code.riceBits;
    return {riceMask + 1 + (value & riceMask),
            zeros + 1 + static_cast<std::uint32_t>(code.riceBits)};
  }
  const std::uint32_t word = value - code.FirstGolombValue() + (1u << code.golombOrder);
  const auto significant = static_cast<int>(std::bit_width(word));
  const int zeros = code.lastRicePrefix + significant - code.golombOrder;
  return {word, static_cast<std::uint32_t>(zeros + significant)};
}

static_assert(UnfoldSign(FoldSign(-1)) == -1 && FoldSign(-300) == 599 && FoldSign(16) == 32);
static_assert(CodewordOf(kCodes[kEG0], 100) == Codeword{0b1100101, 13});
static_assert(CodewordOf(kCodes[kEG5], 32) == Codeword{0b1000000, 8});
static_assert(CodewordOf(kCodes[kC123], 7) == Codeword{0b111, 4});
static_assert(CodewordOf(kCodes[kC123], 8) == Codeword{0b1000, 6});
static_assert(CodewordOf(kCodes[kC201], 2) == Codeword{0b1, 3});
static_assert(CodewordOf(kCodes[kC201], 3) == Codeword{0b10, 5});
static_assert(CodewordOf(kCodes[kC101], 32) == Codeword{0b100000, 12});
static_assert(CodewordOf(kCodes[kC112], 15) == Codeword{0b1111, 7});
static_assert(CodewordOf(kCodes[kC202], 7) == Codeword{0b1000, 8});

}  // namespace prores

#endif  // CODEC_BITSTREAM_CODEWORDS_H
