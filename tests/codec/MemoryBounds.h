// SPDX-License-Identifier: BSD-2-Clause
#ifndef TESTS_CODEC_MEMORYBOUNDS_H
#define TESTS_CODEC_MEMORYBOUNDS_H

/// @file
/// The memory that a handle of the codec needs at most, as docs/host-guide.md states it.

#include <cstddef>
#include <cstdint>

namespace prores::test {

inline constexpr std::size_t kBaseBytes = std::size_t{64} << 10;

constexpr std::size_t MostDecoderBytes(std::uint32_t width, std::uint32_t height,
                                       std::uint32_t threads) {
  constexpr std::size_t kPerColumn = 448;  // and thread
  constexpr std::size_t kPerLine = 16;
  return kBaseBytes + threads * kPerColumn * (std::size_t{width} + 15) + kPerLine * height;
}

/// Pixels count as in a picture with whole macroblocks in both fields, and in the widest slices
/// where they may have alpha.
constexpr std::size_t MostEncoderBytes(std::uint32_t width, std::uint32_t height, bool alpha,
                                       std::uint32_t threads) {
  constexpr std::size_t kPerColumn = 256;  // and thread
  const std::size_t perPixel = alpha ? 11 : 7;
  const std::size_t unit = alpha ? 128 : 16;
  const std::size_t columns = (width + unit - 1) / unit * unit;
  const std::size_t lines = (std::size_t{height} + 31) / 32 * 32;
  return kBaseBytes + threads * kPerColumn * (std::size_t{width} + 15) + perPixel * columns * lines;
}

}  // namespace prores::test

#endif  // TESTS_CODEC_MEMORYBOUNDS_H
