// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>

#include <string>

#include "bitstream/Codewords.h"

namespace prores {
namespace {

std::string BitsOf(const Codeword& word) {
  std::string bits;
  for (std::uint32_t i = word.length; i-- > 0;)
    bits += (i < 32 && (word.bits >> i & 1)) ? '1' : '0';
  return bits;
}

struct Row {
  std::uint32_t value;
  const char* words[10];  // in the order of CodeId
};

// Codewords derived by hand from the definition of the codes.
const Row kRows[] = {
    {0, {"1", "10", "100", "1000", "100000", "100", "1", "1", "10", "1"}},
    {1, {"010", "11", "101", "1001", "100001", "101", "01", "01", "11", "01"}},
    {2, {"011", "0100", "110", "1010", "100010", "110", "001", "0010", "010", "001"}},
    {3, {"00100", "0101", "111", "1011", "100011", "111", "00010", "0011", "011", "000100"}},
    {4, {"00101", "0110", "01000", "1100", "100100", "0100", "00011", "000100", "00100", "000101"}},
    {5,
     {"00110", "0111", "01001", "1101", "100101", "0101", "0000100", "000101", "00101", "000110"}},
    {6,
     {"00111", "001000", "01010", "1110", "100110", "0110", "0000101", "000110", "00110",
      "000111"}},
    {7,
     {"0001000", "001001", "01011", "1111", "100111", "0111", "0000110", "000111", "00111",
      "00001000"}},
    {8,
     {"0001001", "001010", "01100", "010000", "101000", "001000", "0000111", "00001000", "0001000",
      "00001001"}},
    {15,
     {"000010000", "00010001", "0010011", "010111", "101111", "001111", "000001110", "00001111",
      "0001111", "0000010000"}},
    {16,
     {"000010001", "00010010", "0010100", "011000", "110000", "00010000", "000001111", "0000010000",
      "000010000", "0000010001"}},
    {32,
     {"00000100001", "0000100010", "000100100", "00101000", "01000000", "0000100000", "00000011111",
      "000000100000", "00000100000", "000000100001"}},
    {100,
     {"0000001100101", "000001100110", "00001101000", "0001101100", "0010000100", "000001100100",
      "000000001100011", "00000001100100", "0000001100100", "00000001100101"}},
};

TEST(Codewords, FollowTheDefinition) {
  for (const Row& row : kRows) {
    for (std::size_t code = 0; code < kCodes.size(); ++code) {
      EXPECT_EQ(BitsOf(CodewordOf(kCodes[code], row.value)), row.words[code])
          << "code " << code << ", value " << row.value;
    }
  }
}

TEST(Codewords, SignsFoldBothWays) {
  for (std::int32_t value = -70000; value <= 70000; value += 7) {
    EXPECT_EQ(UnfoldSign(FoldSign(value)), value);
  }
  EXPECT_EQ(FoldSign(0), 0u);
  EXPECT_EQ(FoldSign(-1), 1u);
  EXPECT_EQ(FoldSign(1), 2u);
  EXPECT_EQ(FoldSign(-2), 3u);
}

TEST(Codewords, LastTableEntryServesAllGreaterValues) {
  EXPECT_EQ(CodeAfter(kRunCodes, 8), kC112);
  EXPECT_EQ(CodeAfter(kRunCodes, 14), kEG1);
  EXPECT_EQ(CodeAfter(kRunCodes, 15), kEG2);
  EXPECT_EQ(CodeAfter(kRunCodes, 2000), kEG2);
  EXPECT_EQ(CodeAfter(kLevelCodes, 7), kEG1);
  EXPECT_EQ(CodeAfter(kLevelCodes, 32766), kEG2);
  EXPECT_EQ(CodeAfter(kDcCodes, 3), kEG3);
}

}  // namespace
}  // namespace prores
