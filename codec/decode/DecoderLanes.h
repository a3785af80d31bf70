// SPDX-License-Identifier: BSD-2-Clause
#ifndef CODEC_DECODE_DECODERLANES_H
#define CODEC_DECODE_DECODERLANES_H

/// @file
/// Decodes several components alternately, because one alone would wait most of the time for its
/// next table entry. The lane loops, compiled for each CpuLevel, do rounds of table lookups. The
/// classes here handle everything else: the begin and end of a component, and codewords that the
/// table does not contain.
///
/// Lanes do not judge damage. Components that they cannot decode to a proper end are decoded again
/// by DecodeComponents(), so the results equal its results for any data.

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <span>

#include "bitstream/BigEndian.h"
#include "decode/ComponentDecoder.h"
#include "decode/DecodingTable.h"

namespace prores {

/// State of a lane, which a lane loop keeps in registers.
struct LaneCursor {
  std::uint64_t window = 0;      ///< the next bits, a one after them, then only zeros
  std::uint32_t row = 0;         ///< first entry of the row of DecodingTable() to look up next
  std::int16_t* next = nullptr;  ///< position of the next level after a run of 0
};

/// A component that is being decoded.
class Lane {
 public:
  LaneCursor cursor;

  /// Skips the bytes that a round has consumed.
  /// @return false = Continue() must be called before another round.
  bool Pass(std::uint64_t window, const std::int16_t* next) {
    bytes_ += std::countr_zero(window) >> 3;
    return bytes_ <= lastLoad_ && next <= limit_;
  }

  /// Returns the window with at least 56 bits, after Pass().
  std::uint64_t Refilled(std::uint64_t window) const { return Load(std::countr_zero(window) & 7); }

  /// Starts a component.
  /// @return false = the component is finished without a round.
  bool Start(CodedComponent& component);

  /// Handles the cases that the loop cannot, and refills the window. Called after Pass(), with the
  /// cursor stored.
  /// @param stuck the next codeword is not in the table.
  /// @return false = the component is finished.
  bool Continue(bool stuck);

 private:
  enum class Outcome { kGoesOn, kEnded, kUnclear };

  /// Copy of the tail of the data, fewer than 8 bytes, with zeros after it. A truncated codeword
  /// takes at most 33 bits of the tail and the zeros. Only zeros are left then, which are no
  /// codeword, so no load is more than 7 + 5 bytes after the first.
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
  const std::uint8_t* bytes_ = nullptr;     // first byte with unused bits
  const std::uint8_t* lastLoad_ = nullptr;  // last address from which eight bytes are readable
  const std::uint8_t* end_ = nullptr;       // end of the data
  const std::int16_t* limit_ = nullptr;     // the loop must stop with cursor.next after it
  std::int32_t skip_ = 0;                   // used bits of *bytes_; not updated within rounds
  std::array<std::uint8_t, kTailBytes> tail_;
};

/// The lanes of a loop, and the queue of components.
class LaneSet {
 public:
  static constexpr std::size_t kMaxLanes = 5;

  explicit LaneSet(std::span<CodedComponent> components);

  std::size_t Active() const { return active_; }
  Lane& operator[](std::size_t i) { return *lanes_[i]; }

  /// Continues lane `i`, with the next component where its own is finished.
  /// @return false = no component is left; lane `i` must then be removed.
  bool Continue(std::size_t i, bool stuck) {
    return lanes_[i]->Continue(stuck) || Start(*lanes_[i]);
  }

  /// Removes lane `i`. The last lane takes its place.
  void Remove(std::size_t i) { lanes_[i] = lanes_[--active_]; }

 private:
  bool Start(Lane& lane);

  std::span<CodedComponent> waiting_;
  std::array<Lane, kMaxLanes> memory_;
  std::array<Lane*, kMaxLanes> lanes_{};
  std::size_t active_ = 0;
};

}  // namespace prores

#endif  // CODEC_DECODE_DECODERLANES_H
