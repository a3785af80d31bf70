// SPDX-License-Identifier: BSD-2-Clause
#ifndef CODEC_ENCODE_CODEWORDTABLES_H
#define CODEC_ENCODE_CODEWORDTABLES_H

/// @file
/// Tables for the SIMD forms of the component encoder.

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>

#include "bitstream/Codewords.h"

namespace prores {

/// Parameters of the code that applies after a value, indexed by that value plus one modulo 16;
/// greater values count as 15. No entry is negative. A value v of the exponential Golomb part
/// (Code) has the word w = v + wordOffset - 1 of k + 1 bits and a codeword of 2 k + lengthOffset -
/// 4 bits. A value belongs to the Rice part if v + 1 <= riceValues.
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
inline constexpr CodeTables kRunTables = MakeCodeTables(kRunCodes);
inline constexpr CodeTables kLevelTables = MakeCodeTables(kLevelCodes);
inline constexpr CodeTables kDcTables = MakeCodeTables(kDcCodes);

/// Tables of floor(log2) by the low and by the high four bits of a byte; the greater entry counts.
struct Log2Tables {
  using Table = std::array<std::uint8_t, 16>;
  alignas(16) Table low{};   ///< 0 for 0
  alignas(16) Table high{};  ///< 0 for 0
};
inline constexpr Log2Tables kLog2Tables = [] {
  Log2Tables tables;
  for (unsigned nibble = 1; nibble < 16; ++nibble) {
    const auto log2 = static_cast<std::uint8_t>(std::bit_width(nibble) - 1);
    tables.low[nibble] = log2;
    tables.high[nibble] = static_cast<std::uint8_t>(log2 + 4);
  }
  return tables;
}();

/// For each subset of eight 16-bit lanes, the byte shuffle that moves them to the front.
using PackTable = std::array<std::array<std::uint8_t, 16>, 256>;
alignas(64) inline constexpr PackTable kPackTable = [] {
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

}  // namespace prores

#endif  // CODEC_ENCODE_CODEWORDTABLES_H
