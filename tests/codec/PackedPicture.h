// SPDX-License-Identifier: BSD-2-Clause
#ifndef TESTS_CODEC_PACKEDPICTURE_H
#define TESTS_CODEC_PACKEDPICTURE_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "ProRes/ProRes.h"

/// A packed picture in its own memory that detects writes to bytes that belong to no pixel: before
/// it, after it, and in the padding of its rows.
class PackedPicture {
 public:
  PackedPicture(std::uint32_t format, std::uint32_t width, std::uint32_t height,
                std::uint32_t rowPadding = 0)
      : format_(format), width_(width), height_(height), rowBytes_(PixelBytes() + rowPadding) {
    bytes_.assign(2 * kGuardBytes + std::size_t{rowBytes_} * height, kUntouched);
  }

  PixelBufferRecord Record() {
    return {bytes_.data() + kGuardBytes, rowBytes_, format_, width_, height_};
  }

  /// Bytes of the pixels of a row.
  std::uint32_t PixelBytes() const {
    if (HasAlpha()) return 8 * width_;
    return format_ == kWPRPixelFormat2vuy ? (width_ + 1) / 2 * 4 : (width_ + 5) / 6 * 16;
  }

  bool HasAlpha() const { return format_ == kWPRPixelFormatY416 || format_ == kWPRPixelFormatB64a; }

  /// Bits of a picture of 4:2:2.
  int Bits() const { return format_ == kWPRPixelFormat2vuy ? 8 : 10; }

  const std::uint8_t* Row(std::uint32_t y) const {
    return bytes_.data() + kGuardBytes + std::size_t{rowBytes_} * y;
  }

  /// Returns the word of component 0..3, the last one being alpha, in a picture of 4:4:4.
  int Word(int component, int x, int y) const {
    const int place = 8 * x + 2 * ((component + 1) % 4);
    const int high = format_ == kWPRPixelFormatB64a ? 0 : 1;
    const std::uint8_t* const row = Row(static_cast<std::uint32_t>(y));
    return row[place + high] << 8 | row[place + 1 - high];
  }

  /// Sample of component 0..2 at column x (of the component) of row y in a picture of 4:2:2.
  int Sample(int component, int x, int y) const {
    const std::uint8_t* const row = Row(static_cast<std::uint32_t>(y));
    if (format_ == kWPRPixelFormat2vuy) {
      const int place = component == 0 ? 2 * x + 1 : 4 * x + (component == 1 ? 0 : 2);
      return row[place];
    }
    // The components in the order of a row: Cb Y Cr Y, three to a word.
    const int order = component == 0 ? 2 * x + 1 : 4 * x + (component == 1 ? 0 : 2);
    std::uint32_t word = 0;
    for (int i = 3; i >= 0; --i) word = word << 8 | row[order / 3 * 4 + i];
    return static_cast<int>(word >> (order % 3 * 10) & 1023);
  }

  bool GuardsAreUntouched() const {
    const auto untouched = [](std::uint8_t byte) { return byte == kUntouched; };
    if (!std::all_of(bytes_.begin(), bytes_.begin() + kGuardBytes, untouched)) return false;
    if (!std::all_of(bytes_.end() - kGuardBytes, bytes_.end(), untouched)) return false;
    for (std::uint32_t y = 0; y < height_; ++y) {
      if (!std::all_of(Row(y) + PixelBytes(), Row(y) + rowBytes_, untouched)) return false;
    }
    return true;
  }

  /// Resets all bytes to those of a new picture.
  void Reset() { std::ranges::fill(bytes_, kUntouched); }

  bool IsUntouched() const {
    return std::ranges::all_of(bytes_, [](std::uint8_t byte) { return byte == kUntouched; });
  }

  friend bool operator==(const PackedPicture&, const PackedPicture&) = default;

 private:
  static constexpr int kGuardBytes = 64;
  static constexpr std::uint8_t kUntouched = 0xA5;

  std::uint32_t format_;
  std::uint32_t width_;
  std::uint32_t height_;
  std::uint32_t rowBytes_;
  std::vector<std::uint8_t> bytes_;
};

#endif  // TESTS_CODEC_PACKEDPICTURE_H
