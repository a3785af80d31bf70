// SPDX-License-Identifier: BSD-2-Clause
#ifndef CODEC_ENCODE_BITAPPENDER_H
#define CODEC_ENCODE_BITAPPENDER_H

#include <cstdint>
#include <cstring>

#include "Ensure.h"

namespace prores {

/// Writes bits, most significant first, without branches or checks for the end of the buffer: each
/// call may write the eight bytes from the first unfinished one on.
class BitAppender {
 public:
  static constexpr unsigned kMaxLength = 56;

  explicit BitAppender(std::uint8_t* buffer) : next_(buffer) {}

  /// Appends the upper `length` bits of `code`; length <= kMaxLength, the bits below are zero.
  void PutAligned(std::uint64_t code, std::uint64_t length) {
    Expect(length <= kMaxLength);
    const std::uint64_t word = pending_ | code >> pendingBits_;
    const std::uint64_t bigEndian = __builtin_bswap64(word);
    std::memcpy(next_, &bigEndian, sizeof bigEndian);
    const std::uint64_t bits = pendingBits_ + length;  // at most 7 + 56
    next_ += bits / 8;
    pending_ = word << (bits & ~std::uint64_t{7});
    pendingBits_ = bits & 7;
  }

  /// Appends the low `length` bits of `code`; 1 <= length <= kMaxLength, the bits above are zero.
  void Put(std::uint64_t code, unsigned length) { PutAligned(code << (64 - length), length); }

  // For callers that pack several codes into one word:

  /// Stores a word in native byte order, `offset` bytes after the first unfinished byte.
  void StoreAt(std::uint64_t offset, std::uint64_t word) {
    std::memcpy(next_ + offset, &word, sizeof word);
  }
  /// Continues `bits` bits after the start of the first unfinished byte. The last byte reached
  /// holds the upper bits of `pending`; the bits below are zero.
  void Advance(std::uint64_t bits, std::uint64_t pending) {
    next_ += bits / 8;
    pendingBits_ = bits & 7;
    pending_ = pending;
  }
  std::uint64_t Pending() const { return pending_; }
  std::uint64_t PendingBits() const { return pendingBits_; }

  /// Returns the end of the last byte that has bits.
  const std::uint8_t* End() const { return next_ + (pendingBits_ != 0 ? 1 : 0); }

 private:
  std::uint8_t* next_;
  std::uint64_t pending_ = 0;  ///< left-aligned: bits of the byte at next_, stored already
  std::uint64_t pendingBits_ = 0;
};

}  // namespace prores

#endif  // CODEC_ENCODE_BITAPPENDER_H
