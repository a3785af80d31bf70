// SPDX-License-Identifier: BSD-2-Clause
#ifndef CODEC_BITSTREAM_CODEWORDDECODING_H
#define CODEC_BITSTREAM_CODEWORDDECODING_H

/// @file
/// Reads a codeword by its number of leading zeros.

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>

#include "bitstream/Codewords.h"

namespace prores {

/// Codewords that start with a given number of zeros. All have the same length, and their value is
/// the number in the first `length` bits, less `offset`. One formula covers both parts of a code.
struct PrefixClass {
  std::int32_t length;
  std::uint32_t offset;
};

/// Longest legal codeword. A coefficient of 10-bit samples is at most 16384 in units of weight
/// times scale, so 8192 over the least legal weight of 2; levels and folded differences of DCs stay
/// within 2^15, which takes at most 32 bits.
inline constexpr int kMaxCodewordBits = 32;
static_assert(CodewordOf(kCodes[kEG0], 1 << 15).length < kMaxCodewordBits);
static_assert(CodewordOf(kCodes[kC201], 1 << 15).length <= kMaxCodewordBits);

/// Value of longer codewords; greater than all legal values.
inline constexpr std::uint32_t kNoValue = 1u << 20;

/// Entries by number of leading zeros among 32 bits.
using PrefixTable = std::array<PrefixClass, 33>;

constexpr PrefixClass ClassOf(const Code& code, int zeros) {
  const int golombBits = zeros - (code.lastRicePrefix + 1) + code.golombOrder;
  const bool isRice = zeros <= code.lastRicePrefix;
  const int length = zeros + 1 + (isRice ? code.riceBits : golombBits);
  if (length > kMaxCodewordBits) return {kMaxCodewordBits, 0u - kNoValue};
  const std::uint32_t first = 1u << (isRice ? code.riceBits : code.golombOrder);
  const std::uint32_t below =
      isRice ? static_cast<std::uint32_t>(zeros) << code.riceBits : code.FirstGolombValue();
  return {length, first - below};
}

inline constexpr std::array<PrefixTable, kCodes.size()> kPrefixTables = [] {
  std::array<PrefixTable, kCodes.size()> tables{};
  for (std::size_t code = 0; code < tables.size(); ++code) {
    for (std::size_t zeros = 0; zeros < tables[code].size(); ++zeros) {
      tables[code][zeros] = ClassOf(kCodes[code], static_cast<int>(zeros));
    }
  }
  return tables;
}();

/// A value and the length of its codeword, 1 to kMaxCodewordBits bits.
struct DecodedValue {
  std::uint32_t value;
  std::int32_t length;
};

/// Reads the codeword that starts at the top of `window`. A codeword of more than kMaxCodewordBits
/// bits has some value from kNoValue on.
constexpr DecodedValue ReadCodeword(std::uint64_t window, CodeId code) {
  const int zeros = std::countl_zero(static_cast<std::uint32_t>(window >> 32));
  const PrefixClass prefix = kPrefixTables[code][static_cast<std::size_t>(zeros)];
  return {static_cast<std::uint32_t>(window >> (64 - prefix.length)) - prefix.offset,
          prefix.length};
}

}  // namespace prores

#endif  // CODEC_BITSTREAM_CODEWORDDECODING_H
