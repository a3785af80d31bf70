// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "decode/ComponentDecoder.h"
#include "decode/DecodingTable.h"

namespace prores {
namespace {

constexpr std::uint32_t kRowEntries = 1u << kIndexBits;

/// Returns the most positions that a lane can advance in `steps` lookups, from any row.
std::uint32_t LargestAdvance(std::uint32_t steps) {
  const auto table = DecodingTable();
  std::vector<std::uint32_t> largest(table.size() / kRowEntries);
  for (; steps > 0; --steps) {
    std::vector<std::uint32_t> longer(largest.size());
    for (std::size_t i = 0; i < table.size(); ++i) {
      const std::uint32_t move = table[i].move;
      const std::uint32_t whole = Entry::Advance(move) + largest[Entry::Row(move) / kRowEntries];
      longer[i / kRowEntries] = std::max(longer[i / kRowEntries], whole);
    }
    largest = longer;
  }
  return *std::ranges::max_element(largest);
}

TEST(DecodingTable, KeepsARoundWithinTheSlack) {
  // A round starts within the component. Each lookup writes before it advances.
  const auto written = static_cast<std::uint32_t>(Entry{}.levels.size());
  EXPECT_LE(LargestAdvance(kRoundSteps - 1) + written, kCoefficientSlack);
}

TEST(DecodingTable, LeadsToItsOwnRowsOnly) {
  const auto table = DecodingTable();
  for (const Entry& entry : table) {
    EXPECT_LT(Entry::Row(entry.move), table.size());
    EXPECT_EQ(Entry::Row(entry.move) % kRowEntries, 0u);
    EXPECT_LE(Entry::Length(entry.move), static_cast<std::uint32_t>(kIndexBits));
  }
}

TEST(DecodingTable, EntersOneDcAtATime) {
  const auto table = DecodingTable();
  for (std::uint32_t i = 0; i < table.size(); ++i) {
    if (ComesDc(MeaningOf(i).state)) {
      EXPECT_LE(Entry::Advance(table[i].move), 1u);
    }
  }
}

TEST(DecodingTable, HasNoEntryForUnknownCodewords) {
  const auto table = DecodingTable();
  int stuck = 0;
  for (std::uint32_t i = 0; i < table.size(); ++i) {
    if (Entry::Length(table[i].move) != 0) continue;
    ++stuck;
    EXPECT_EQ(Entry::Advance(table[i].move), 0u);
    EXPECT_EQ(Entry::Row(table[i].move), i / kRowEntries * kRowEntries);
    EXPECT_EQ(table[i].levels, Entry{}.levels);
  }
  EXPECT_GE(stuck, static_cast<int>(kStates));  // all zeros, for one
}

/// Combined effect of the codewords at the top of `window`, read one by one for `length` bits.
Entry ReadOneByOne(std::uint64_t window, RowMeaning row, int length) {
  window >>= row.zeros;
  length += row.zeros;
  Entry entry{};
  std::uint32_t advance = 0;
  State state = row.state;
  for (;;) {
    const Symbol symbol = ReadInState(window, state);
    if (symbol.length > length) break;
    if (!ComesRun(state)) entry.levels[advance++] = static_cast<std::int8_t>(symbol.level);
    advance += symbol.run;
    length -= symbol.length;
    window <<= symbol.length;
    state = symbol.next;
  }
  // The remaining bits are zeros of the next codeword.
  EXPECT_EQ(window >> 1 >> (63 - length), 0u);
  entry.move = advance << Entry::kAdvanceShift;
  return entry;
}

TEST(DecodingTable, EqualsTheCodewordsReadOneByOne) {
  const auto table = DecodingTable();
  for (std::uint32_t i = 0; i < table.size(); ++i) {
    const std::uint32_t move = table[i].move;
    // A one follows the zeros of a codeword, otherwise the row would be another.
    if (MeaningOf(i).zeros != 0 && i % kRowEntries < kRowEntries / 2) continue;
    const std::uint64_t window = std::uint64_t{i % kRowEntries} << (64 - kIndexBits);
    const Entry expected =
        ReadOneByOne(window, MeaningOf(i), static_cast<int>(Entry::Length(move)));
    ASSERT_EQ(table[i].levels, expected.levels) << i;
    ASSERT_EQ(Entry::Advance(move), Entry::Advance(expected.move)) << i;
  }
}

}  // namespace
}  // namespace prores
