// SPDX-License-Identifier: BSD-2-Clause
#ifndef CODEC_ENCODE_BITWRITER_H
#define CODEC_ENCODE_BITWRITER_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>

#include "Ensure.h"

namespace prores {

/// Writes bits, most significant first, into a buffer of fixed size.
///
/// Bits that do not fit are dropped: nothing is written after the buffer, and Finish() reports it.
class BitWriter {
 public:
  explicit BitWriter(std::span<std::uint8_t> buffer)
      : next_(buffer.data()), end_(buffer.data() + buffer.size()) {}

  /// Appends the low `length` bits of `code`; 1 <= length <= 64, the bits above are zero.
  void Put(std::uint64_t code, unsigned length) {
    Expect(length >= 1 && length <= 64);
    if (length < free_) {
      free_ -= length;
      pending_ |= code << free_;
      return;
    }
    const unsigned rest = length - free_;
    StoreWord(pending_ | code >> rest);
    free_ = 64 - rest;
    pending_ = code << 1 << (free_ - 1);  // two steps: a shift by 64 is undefined
  }

  /// Fills the last byte with zero bits and stores what is pending. Nothing may follow.
  /// @return whether everything fitted.
  [[nodiscard]] bool Finish() {
    for (unsigned pendingBits = 64 - free_; pendingBits > 0;
         pendingBits -= pendingBits < 8 ? pendingBits : 8) {
      if (next_ == end_) {
        overflow_ = true;
        break;
      }
      *next_++ = static_cast<std::uint8_t>(pending_ >> 56);
      pending_ <<= 8;
    }
    free_ = 64;
    return !overflow_;
  }

  /// Returns the end of the last byte that was stored.
  const std::uint8_t* Position() const { return next_; }

 private:
  void StoreWord(std::uint64_t word) {
    if (static_cast<std::size_t>(end_ - next_) < sizeof word) {
      overflow_ = true;
      return;
    }
    const std::uint64_t bigEndian = __builtin_bswap64(word);
    std::memcpy(next_, &bigEndian, sizeof bigEndian);
    next_ += sizeof bigEndian;
  }

  std::uint8_t* next_;
  std::uint8_t* end_;
  std::uint64_t pending_ = 0;  ///< left-aligned
  unsigned free_ = 64;         ///< unused low bits of pending_, 1..64
  bool overflow_ = false;
};

}  // namespace prores

#endif  // CODEC_ENCODE_BITWRITER_H
