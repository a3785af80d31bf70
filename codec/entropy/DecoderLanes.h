// SPDX-License-Identifier: BSD-2-Clause
#ifndef CODEC_ENTROPY_DECODERLANES_H
#define CODEC_ENTROPY_DECODERLANES_H

/// @file
/// Several components that are decoded alternately: one alone would wait most of the time for its
/// next table entry. The rounds of table lookups are the business of the lane loops, which are made
/// for each CpuLevel; here is what happens between rounds, with the begin and end of a component,
/// and with codewords that the table does not hold.
///
/// Lanes do not judge damage. What they cannot decode to a proper end is decoded anew by
/// DecodeComponents(), so the results are its results whatever the data.

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <span>

#include "bitstream/BigEndian.h"
#include "bitstream/CoefficientDecoder.h"
#include "entropy/DecodingTable.h"

namespace prores {

/// How far a lane has come. A lane loop keeps it in registers.
struct LaneCursor {
  std::uint64_t window = 0;      ///< the coming bits, a one behind them, then only zeros
  std::uint32_t row = 0;         ///< first entry of the row of DecodingTable() to look up next
  std::int16_t* next = nullptr;  ///< where a run of 0 puts the next level
};

/// A component in work.
class Lane {
 public:
  LaneCursor cursor;

  /// Passes over the bytes that a round has used up.
  /// @return false = no further round without Continue().
  bool Pass(std::uint64_t window, const std::int16_t* next) {
    bytes_ += std::countr_zero(window) >> 3;
    return bytes_ <= lastLoad_ && next <= limit_;
  }

  /// Behind Pass(): the window with at least 56 bits.
  std::uint64_t Refilled(std::uint64_t window) const { return Load(std::countr_zero(window) & 7); }

  /// Takes a component in work.
  /// @return false = no round is needed, the component is done.
  bool Start(CodedComponent& component);

  /// Behind Pass(), with the cursor in place: does what the loop cannot, and refills the window.
  /// @param stuck the codeword that comes is not in the table.
  /// @return false = the component is done.
  bool Continue(bool stuck);

 private:
  enum class Outcome { kGoesOn, kEnded, kUnclear };

  /// The tail of the data, fewer than 8 bytes, with zeros behind. Codewords that take some of those
  /// are cut off, and have at most 33 bits. Then nothing but zeros is left, in which no codeword is
  /// found: no load is more than 7 + 5 bytes behind the first.
  static constexpr std::size_t kTailBytes = 24;
  static constexpr std::size_t kLastTailLoad = kTailBytes - sizeof(std::uint64_t);

  std::uint64_t Load(int skip) const { return (ReadU64(bytes_) | 1) << skip; }
  std::uint64_t ComingBits() const { return ReadU64(bytes_) << skip_; }
  bool InDcs() const { return limit_ < component_->coefficients + component_->blocks; }

  Outcome Begin();
  Outcome Advance(bool stuck);
  bool Settle(Outcome outcome);
  void Skip(std::int32_t bits);
  void EnterTail();
  bool ReadOne();
  bool FinishDcs();
  bool IsAtEnd() const;

  CodedComponent* component_ = nullptr;
  const std::uint8_t* bytes_ = nullptr;     // the first with unused bits
  const std::uint8_t* lastLoad_ = nullptr;  // last address that eight bytes can be read from
  const std::uint8_t* end_ = nullptr;       // behind the data
  const std::int16_t* limit_ = nullptr;     // the loop must not go on with cursor.next behind it
  std::int32_t skip_ = 0;                   // used bits of *bytes_; out of date within rounds
  std::array<std::uint8_t, kTailBytes> tail_;
};

/// The lanes of a loop, and the components that wait for one.
class LaneSet {
 public:
  static constexpr std::size_t kMaxLanes = 5;

  explicit LaneSet(std::span<CodedComponent> components);

  std::size_t Active() const { return active_; }
  Lane& operator[](std::size_t i) { return *lanes_[i]; }

  /// Continues lane `i`, with the next component where one is done.
  /// @return false = none is left. Lane `i` should then be removed.
  bool Continue(std::size_t i, bool stuck) {
    return lanes_[i]->Continue(stuck) || Start(*lanes_[i]);
  }

  /// Takes lane `i` out. The last one takes its place.
  void Remove(std::size_t i) { lanes_[i] = lanes_[--active_]; }

 private:
  bool Start(Lane& lane);

  std::span<CodedComponent> waiting_;
  std::array<Lane, kMaxLanes> memory_;
  std::array<Lane*, kMaxLanes> lanes_{};
  std::size_t active_ = 0;
};

}  // namespace prores

#endif  // CODEC_ENTROPY_DECODERLANES_H
