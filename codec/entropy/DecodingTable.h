// SPDX-License-Identifier: BSD-2-Clause
#ifndef CODEC_ENTROPY_DECODINGTABLE_H
#define CODEC_ENTROPY_DECODINGTABLE_H

/// @file
/// A table that decodes all the codewords that are whole among the next eight bits at once.
///
/// What the decoder of a component has read so far decides how it goes on in 80 ways, its states.
/// The table has a row for each state. A codeword of more than eight bits would not fit any entry:
/// the entry of its zeros leads to a row for "so many zeros of a codeword in this state are read",
/// where the rest fits. Codewords that are too long for that as well, or whose value does not fit
/// an entry, move nothing (length 0) and are left to ReadInState().
///
/// Eight bits: with more of them fewer lookups are needed, but fewer of them hit the first level
/// cache. 9 bits are as fast, 7 and 10 slower.

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "bitstream/Codewords.h"

namespace prores {

/// Bits that select an entry of a row.
inline constexpr int kIndexBits = 8;

/// Lookups that are done with one filling of the bit window, which is good for 56 bits.
inline constexpr std::uint32_t kRoundSteps = 7;

/// What comes next: the codeword of a run, of a level and its sign, or of a difference of DCs; and
/// in which code. Runs and levels know the classes of the previous run and level, that is which of
/// the six different codes of kRunCodes and kLevelCodes follow; the other one is needed later.
using State = std::uint32_t;

inline constexpr std::uint32_t kValueClasses = 6;
inline constexpr State kFirstRunState = 0;
inline constexpr State kFirstLevelState = kValueClasses * kValueClasses;
inline constexpr State kFirstDcState = 2 * kFirstLevelState;
inline constexpr State kStates = kFirstDcState + 2 * kDcCodes.size();

constexpr bool ComesRun(State state) {
  return state < kFirstLevelState;
}
constexpr bool ComesDc(State state) {
  return state >= kFirstDcState;
}

/// State at the first run of a component.
State InitialRunState();

/// State behind `difference` of DCs.
constexpr State StateAfterDc(std::int32_t difference) {
  const auto magnitude = static_cast<std::uint32_t>(difference < 0 ? -difference : difference);
  const std::uint32_t last = kDcCodes.size() - 1;
  return kFirstDcState + 2 * (magnitude < last ? magnitude : last) + (difference < 0 ? 1u : 0u);
}

/// A codeword, a level's sign included.
struct Symbol {
  std::int32_t length;  ///< bits
  std::uint32_t run;    ///< positions to pass over, in a run state
  std::int32_t level;   ///< to be stored at the next position, in the others
  State next;
};

/// Reads any codeword at the top of `window`. One that is too long to be legal has a run or level
/// far outside 16 bits.
Symbol ReadInState(std::uint64_t window, State state);

/// An entry: what the codewords among the bits that it is looked up by amount to.
struct Entry {
  std::array<std::int8_t, 4> levels;  ///< of the next four positions, 0 where none is coded
  std::uint32_t move;

  /// Where the fields of `move` start.
  static constexpr int kAdvanceShift = 6;
  static constexpr int kRowShift = 12;
  static constexpr std::uint32_t kMaxAdvance = (1u << (kRowShift - kAdvanceShift)) - 1;

  /// Bits used up, 0 to 8. 0 = the next codeword is not in the table.
  static constexpr std::uint32_t Length(std::uint32_t move) { return move & 63; }
  /// Positions passed over.
  static constexpr std::uint32_t Advance(std::uint32_t move) {
    return move >> kAdvanceShift & kMaxAdvance;
  }
  /// First entry of the row to go on with.
  static constexpr std::uint32_t Row(std::uint32_t move) { return move >> kRowShift; }
};
static_assert(sizeof(Entry) == 8);

/// First entry of the row of `state`, nothing of the codeword read.
constexpr std::uint32_t RowOf(State state) {
  return state << kIndexBits;
}

/// What a row stands for.
struct RowMeaning {
  State state;
  int zeros;  ///< how many zeros of the codeword are read
};
RowMeaning MeaningOf(std::uint32_t row);

/// The entries of all rows. Made by the first call, in about a millisecond; lives for ever.
std::span<const Entry> DecodingTable();

}  // namespace prores

#endif  // CODEC_ENTROPY_DECODINGTABLE_H
