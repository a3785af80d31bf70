// SPDX-License-Identifier: BSD-2-Clause
#include "Pictures.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <random>

namespace vix::test4444 {
namespace {

constexpr std::size_t kComponents = 4;
constexpr std::size_t kPixelBytes = 8;

/// Alpha and three colours.
using Pixel = std::array<int, kComponents>;

Pixel Draw(unsigned number, std::uint32_t x, std::uint32_t y) {
  const int column = static_cast<int>(x);
  const int row = static_cast<int>(y);
  const int shift = 600 * static_cast<int>(number % 10);
  const std::uint32_t alpha = (x * 40503 + y * 9973 + number * 7919) * 2654435761u >> 16;
  return {static_cast<int>(alpha), 12000 + 200 * column + 100 * row + shift,
          24000 + 100 * column - 150 * row + shift, 44000 - 200 * column + 80 * row - shift};
}

int AlphaOf(int alpha, int bits) {
  switch (bits) {
    case 0:
      return 65535;
    case 8:
      return (alpha + 128) / 257 * 257;  // the nearest multiple
    default:
      return alpha;
  }
}

}  // namespace

std::vector<std::uint8_t> DrawPicture(const Shape& shape, unsigned number) {
  const bool isBigEndian = shape.fourcc == kFourCC_b64A;
  std::vector<std::uint8_t> bytes;
  for (std::uint32_t y = 0; y < shape.height; ++y) {
    for (std::uint32_t x = 0; x < shape.width; ++x) {
      for (const int component : Draw(number, x, y)) {
        const auto high = static_cast<std::uint8_t>(component >> 8);
        const auto low = static_cast<std::uint8_t>(component);
        bytes.push_back(isBigEndian ? high : low);
        bytes.push_back(isBigEndian ? low : high);
      }
    }
  }
  return bytes;
}

std::vector<std::uint8_t> DrawNoise(const Shape& shape) {
  std::vector<std::uint8_t> bytes(std::size_t{shape.width} * shape.height * kPixelBytes);
  std::minstd_rand random(1);
  for (std::uint8_t& byte : bytes) byte = static_cast<std::uint8_t>(random() >> 8);
  return bytes;
}

int ReadComponent(FourCC fourcc, const std::vector<std::uint8_t>& bytes, std::size_t pixel,
                  std::size_t index) {
  const std::size_t offset = pixel * kPixelBytes + index * 2;
  const int first = bytes.at(offset);
  const int second = bytes.at(offset + 1);
  return fourcc == kFourCC_b64A ? first << 8 | second : second << 8 | first;
}

Difference Compare(const Shape& shape, unsigned number, const std::vector<std::uint8_t>& bytes,
                   int alphaBits) {
  Difference most;
  EXPECT_EQ(bytes.size(), std::size_t{shape.width} * shape.height * kPixelBytes);
  if (bytes.size() != std::size_t{shape.width} * shape.height * kPixelBytes) return {65536, 65536};
  for (std::uint32_t y = 0; y < shape.height; ++y) {
    for (std::uint32_t x = 0; x < shape.width; ++x) {
      const Pixel drawn = Draw(number, x, y);
      const std::size_t pixel = std::size_t{y} * shape.width + x;
      const int alpha = ReadComponent(shape.fourcc, bytes, pixel, 0);
      most.alpha = std::max(most.alpha, std::abs(alpha - AlphaOf(drawn[0], alphaBits)));
      for (std::size_t i = 1; i < kComponents; ++i) {
        const int colour = ReadComponent(shape.fourcc, bytes, pixel, i);
        most.colour = std::max(most.colour, std::abs(colour - drawn[i]));
      }
    }
  }
  return most;
}

}  // namespace vix::test4444
