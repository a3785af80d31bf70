// SPDX-License-Identifier: BSD-2-Clause
#ifndef CODEC_BITSTREAM_BITREADER_H
#define CODEC_BITSTREAM_BITREADER_H

#include <algorithm>
#include <cstdint>
#include <span>

#include "bitstream/BigEndian.h"

namespace prores {

/// Reads bits, most significant first, through a window of 64 bits. Never reads outside its bytes:
/// after the last one it supplies zeros, and records whether they were consumed.
class BitReader {
 public:
  /// Bits that may be skipped after one Refill().
  static constexpr int kRefilledBits = 57;

  explicit BitReader(std::span<const std::uint8_t> bytes)
      : next_(bytes.data()), end_(bytes.data() + bytes.size()) {}

  /// Loads the window with at least kRefilledBits bits, or all that are left.
  void Refill() {
    if (end_ - next_ >= 8) {
      // The next refill ORs the bits of a partly counted byte in again, which does not change them.
      window_ |= ReadU64(next_) >> bits_;
      next_ += (63 - bits_) >> 3;
      bits_ |= 56;
      return;
    }
    for (; bits_ <= 56 && next_ != end_; bits_ += 8) {
      window_ |= std::uint64_t{*next_++} << (56 - bits_);
    }
  }

  /// Returns the next bits, the first one on top.
  std::uint64_t Window() const { return window_; }

  /// Skips `bits` bits, at most kRefilledBits in all since the last Refill().
  void Skip(int bits) {
    window_ <<= bits;
    bits_ -= bits;
  }

  /// Returns whether bits after the end were skipped.
  bool PastEnd() const { return bits_ < 0; }

  /// Whether only zero bits are left and no bit after the end was skipped. Requires that the
  /// window of a refilled reader is zero.
  bool OnlyZerosLeft() const {
    return !PastEnd() && std::all_of(next_, end_, [](std::uint8_t byte) { return byte == 0; });
  }

 private:
  const std::uint8_t* next_;  // first byte that is not completely counted in bits_
  const std::uint8_t* end_;
  std::uint64_t window_ = 0;
  int bits_ = 0;  // bits of the window that are accounted for; negative after the end
};

}  // namespace prores

#endif  // CODEC_BITSTREAM_BITREADER_H
