// SPDX-License-Identifier: BSD-2-Clause
#ifndef FUZZ_FUZZINPUT_H
#define FUZZ_FUZZINPUT_H

#include <cstddef>
#include <cstdint>
#include <vector>

/// Reads values from the front of a fuzzer's bytes; zeros once none are left.
class FuzzInput {
 public:
  FuzzInput(const std::uint8_t* data, std::size_t size) : data_(data), size_(size) {}

  std::uint8_t Byte() {
    if (size_ == 0) return 0;
    --size_;
    return *data_++;
  }
  std::uint32_t Word() {
    const std::uint32_t high = Byte();
    return high << 8 | Byte();
  }
  std::size_t Left() const { return size_; }
  /// Returns the next `bytes` bytes (fewer at the end) in a buffer of exactly their size, so that
  /// the address sanitizer detects every read after them.
  std::vector<std::uint8_t> Take(std::size_t bytes) {
    if (bytes > size_) bytes = size_;
    std::vector<std::uint8_t> taken(data_, data_ + bytes);
    data_ += bytes;
    size_ -= bytes;
    return taken;
  }
  std::vector<std::uint8_t> Rest() { return Take(size_); }

 private:
  const std::uint8_t* data_;
  std::size_t size_;
};

#endif  // FUZZ_FUZZINPUT_H
