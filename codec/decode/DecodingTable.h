// SPDX-License-Identifier: BSD-2-Clause
#ifndef CODEC_DECODE_DECODINGTABLE_H
#define CODEC_DECODE_DECODINGTABLE_H

/// @file
/// A table that decodes all codewords that are complete within the next eight bits at once.
///
/// The codes of the next codewords depend on the previous ones in 80 ways, the states of the
/// decoder. The table has a row for each state. A codeword of more than eight bits does not fit an
/// entry: the entry of its zeros leads to a row for "so many zeros of a codeword in this state are
/// read", where the rest fits. Codewords that are too long even so, or whose value does not fit an
/// entry, have entries of length 0 and are read with ReadInState().
///
/// Tables for more bits need fewer lookups, of which fewer hit the first level cache. Measured, 9
/// bits are as fast as 8; 7 and 10 are slower.

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "bitstream/Codewords.h"

namespace prores {

/// Bits that select an entry of a row.
inline constexpr int kIndexBits = 8;

/// Lookups between two refills of the bit window, which has 56 bits.
inline constexpr std::uint32_t kRoundSteps = 7;

/// Kind and code of the next codeword: a run, a level with its sign, or a difference of DCs. States
/// of runs and levels contain the classes of the previous run and level, that is, which of the six
/// different codes of kRunCodes and kLevelCodes apply next to each.
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

/// Returns the state at the first run of a component.
State InitialRunState();

/// Returns the state after `difference` of DCs.
constexpr State StateAfterDc(std::int32_t difference) {
  const auto magnitude = static_cast<std::uint32_t>(difference < 0 ? -difference : difference);
  const std::uint32_t last = kDcCodes.size() - 1;
  return kFirstDcState + 2 * (magnitude < last ? magnitude : last) + (difference < 0 ? 1u : 0u);
}

/// A codeword, a level's sign included.
struct Symbol {
  std::int32_t length;  ///< bits
  std::uint32_t run;    ///< positions to skip, in a run state
  std::int32_t level;   ///< level to store at the next position, in the other states
  State next;
};

/// Reads any codeword at the top of `window`. A codeword that is too long to be legal gives a run
/// or level far outside 16 bits.
Symbol ReadInState(std::uint64_t window, State state);

/// An entry: the combined effect of the codewords within the bits of its index.
struct Entry {
  std::array<std::int8_t, 4> levels;  ///< levels of the next four positions, 0 where none is coded
  std::uint32_t move;

  /// Bit offsets of the fields of `move`.
  static constexpr int kAdvanceShift = 6;
  static constexpr int kRowShift = 12;
  static constexpr std::uint32_t kMaxAdvance = (1u << (kRowShift - kAdvanceShift)) - 1;

  /// Consumed bits, 0 to 8. 0 = the next codeword is not in the table.
  static constexpr std::uint32_t Length(std::uint32_t move) { return move & 63; }
  /// Positions to advance.
  static constexpr std::uint32_t Advance(std::uint32_t move) {
    return move >> kAdvanceShift & kMaxAdvance;
  }
  /// First entry of the next row.
  static constexpr std::uint32_t Row(std::uint32_t move) { return move >> kRowShift; }
};
static_assert(sizeof(Entry) == 8);

/// Returns the first entry of the row of `state`, with nothing of the codeword read.
constexpr std::uint32_t RowOf(State state) {
  return state << kIndexBits;
}

/// Meaning of a row.
struct RowMeaning {
  State state;
  int zeros;  ///< leading zeros of the codeword that are read already
};
RowMeaning MeaningOf(std::uint32_t row);

/// Returns the entries of all rows. The first call makes them in about a millisecond; they live for
/// ever.
std::span<const Entry> DecodingTable();

}  // namespace prores

#endif  // CODEC_DECODE_DECODINGTABLE_H
