// SPDX-License-Identifier: BSD-2-Clause
#include "decode/DecodingTable.h"

#include <algorithm>
#include <bit>
#include <cstdlib>

#include "bitstream/CodewordDecoding.h"

namespace prores {
namespace {

/// Returns the class of each previous value. Values with the same code are neighbours.
template <std::size_t kSize>
constexpr std::array<std::uint8_t, kSize> ClassesOf(const std::array<CodeId, kSize>& codes) {
  std::array<std::uint8_t, kSize> classes{};
  for (std::size_t i = 1; i < kSize; ++i) {
    classes[i] = static_cast<std::uint8_t>(classes[i - 1] + (codes[i] != codes[i - 1] ? 1 : 0));
  }
  return classes;
}

constexpr auto kRunClasses = ClassesOf(kRunCodes);
constexpr auto kLevelClasses = ClassesOf(kLevelCodes);
static_assert(kRunClasses.back() + 1 == kValueClasses);
static_assert(kLevelClasses.back() + 1 == kValueClasses);

template <std::size_t kSize>
constexpr std::uint32_t ClassAfter(const std::array<std::uint8_t, kSize>& classes,
                                   std::uint32_t previous) {
  return classes[std::min<std::size_t>(previous, kSize - 1)];
}

constexpr State StateOf(State first, std::uint32_t runClass, std::uint32_t levelClass) {
  return first + runClass * kValueClasses + levelClass;
}

constexpr std::array<CodeId, kStates> kStateCodes = [] {
  std::array<CodeId, kStates> codes{};
  for (std::size_t run = 0; run < kRunCodes.size(); ++run) {
    for (std::size_t level = 0; level < kLevelCodes.size(); ++level) {
      codes[StateOf(kFirstRunState, kRunClasses[run], kLevelClasses[level])] = kRunCodes[run];
      codes[StateOf(kFirstLevelState, kRunClasses[run], kLevelClasses[level])] = kLevelCodes[level];
    }
  }
  for (State state = kFirstDcState; state < kStates; ++state) {
    codes[state] = kDcCodes[(state - kFirstDcState) / 2];
  }
  return codes;
}();

constexpr Symbol ReadSymbol(std::uint64_t window, State state) {
  const auto [value, length] = ReadCodeword(window, kStateCodes[state]);
  const std::uint32_t runClass = state % kFirstLevelState / kValueClasses;
  const std::uint32_t levelClass = state % kValueClasses;
  if (ComesRun(state)) {
    const State next = StateOf(kFirstLevelState, ClassAfter(kRunClasses, value), levelClass);
    return {length, value, 0, next};
  }
  if (ComesDc(state)) {
    const bool flipped = (state - kFirstDcState) % 2 != 0;
    const std::int32_t difference = flipped ? -UnfoldSign(value) : UnfoldSign(value);
    return {length, 0, difference, StateAfterDc(difference)};
  }
  const auto magnitude = static_cast<std::int32_t>(value) + 1;
  const auto sign = static_cast<std::int32_t>(window << length >> 63);
  const State next = StateOf(kFirstRunState, runClass, ClassAfter(kLevelClasses, value));
  return {length + 1, 0, (magnitude ^ -sign) + sign, next};
}

/// The part of the next codewords that fits an entry.
struct Contents {
  std::array<std::int8_t, 4> levels{};
  std::uint32_t advance = 0;

  /// Appends `symbol`.
  /// @return false, with no change, if it does not fit.
  constexpr bool Take(const Symbol& symbol, State state) {
    if (ComesRun(state)) {
      if (symbol.run > Entry::kMaxAdvance - advance) return false;
      advance += symbol.run;
      return true;
    }
    if (advance >= levels.size() || symbol.level < -127 || symbol.level > 127) return false;
    levels[advance++] = static_cast<std::int8_t>(symbol.level);
    return true;
  }
};

/// Whether codewords with so many zeros are too long for an entry, but fit without the zeros.
constexpr bool NeedsRow(State state, int zeros) {
  const std::uint64_t one = std::uint64_t{1} << (63 - zeros);
  const Symbol first = ReadSymbol(one, state);
  const Symbol last = ReadSymbol(one | (one - 1), state);
  return first.length > kIndexBits && first.length - zeros <= kIndexBits &&
         Contents{}.Take(first, state) && Contents{}.Take(last, state);
}

struct Rows {
  std::array<RowMeaning, 512> meanings{};
  std::size_t count = 0;
  /// Row numbers by state and number of zeros (0 to kIndexBits - 1). For one zero or more, 0 = no
  /// row.
  std::array<std::array<std::uint16_t, kIndexBits>, kStates> numbers{};
};

constexpr Rows kRows = [] {
  Rows rows;
  for (int zeros = 0; zeros < kIndexBits; ++zeros) {
    for (State state = 0; state < kStates; ++state) {
      if (zeros != 0 && !NeedsRow(state, zeros)) continue;
      rows.numbers[state][static_cast<std::size_t>(zeros)] = static_cast<std::uint16_t>(rows.count);
      rows.meanings[rows.count++] = {state, zeros};
    }
  }
  return rows;
}();
static_assert(kRows.meanings[kStates - 1].zeros == 0, "the rows of states come first");

/// Returns the row for `zeros` leading zeros of the next codeword in `state`; 0 = none.
constexpr std::uint32_t RowAfterZeros(State state, int zeros) {
  if (zeros == 0 || zeros >= kIndexBits) return 0;
  return kRows.numbers[state][static_cast<std::size_t>(zeros)];
}

Entry MakeEntry(std::uint32_t row, std::uint32_t index) {
  const RowMeaning meaning = kRows.meanings[row];
  std::uint64_t window = (std::uint64_t{index} << (64 - kIndexBits)) >> meaning.zeros;
  const int known = kIndexBits + meaning.zeros;
  int used = 0;
  State state = meaning.state;
  Contents contents;
  for (;;) {
    const Symbol symbol = ReadSymbol(window, state);
    if (used + symbol.length > known || !contents.Take(symbol, state)) break;
    used += symbol.length;
    window <<= symbol.length;
    row = state = symbol.next;
    if (ComesDc(state)) break;  // one at a time, so that a decoder can stop after the last
  }
  const int zeros = std::countl_zero(window);
  const bool whole = ComesDc(state) && used != 0;
  const std::uint32_t zerosRow = whole ? 0 : RowAfterZeros(state, zeros);
  if (zerosRow != 0 && used + zeros < known) {
    row = zerosRow;
    used += zeros;
  }
  const auto length = static_cast<std::uint32_t>(std::max(0, used - meaning.zeros));
  return {contents.levels, length | contents.advance << Entry::kAdvanceShift |
                               row << (Entry::kRowShift + kIndexBits)};
}

using Table = std::array<Entry, kRows.count << kIndexBits>;

}  // namespace

State InitialRunState() {
  return StateOf(kFirstRunState, ClassAfter(kRunClasses, kInitialRun),
                 ClassAfter(kLevelClasses, kInitialLevelSymbol));
}

Symbol ReadInState(std::uint64_t window, State state) {
  return ReadSymbol(window, state);
}

RowMeaning MeaningOf(std::uint32_t row) {
  return kRows.meanings[row >> kIndexBits];
}

std::span<const Entry> DecodingTable() {
  static const Table kTable = [] {
    Table table;
    for (std::uint32_t i = 0; i < table.size(); ++i) {
      table[i] = MakeEntry(i >> kIndexBits, i & ((1u << kIndexBits) - 1));
    }
    return table;
  }();
  return kTable;
}

}  // namespace prores
