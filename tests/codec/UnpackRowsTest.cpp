// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <random>
#include <vector>

#include "pixel/PixelFormat.h"
#include "pixel/UnpackRows.h"

namespace prores {
namespace {

struct Planes {
  explicit Planes(std::size_t width)
      : luma(width + kUnpackGroupPixels - 1),
        cb((width + 1) / 2 + kUnpackGroupPixels / 2 - 1),
        cr(cb.size()) {}

  PlanarRow Row() { return {luma.data(), cb.data(), cr.data()}; }

  std::vector<std::uint16_t> luma, cb, cr;
};

/// A row of exactly the bytes that an unpacker may read, on the heap for the address sanitizer.
std::vector<std::uint8_t> RandomRow(std::uint32_t format, std::uint32_t width) {
  std::vector<std::uint8_t> row(PackedRowBytes(format, width));
  row.shrink_to_fit();
  std::mt19937 random(width);
  for (std::uint8_t& byte : row) byte = static_cast<std::uint8_t>(random());
  return row;
}

TEST(UnpackRows, Reads8BitSamplesInTheOrderCbYCrY) {
  for (std::uint32_t width = 1; width < 70; ++width) {
    const std::vector<std::uint8_t> row = RandomRow(kWPRPixelFormat2vuy, width);
    Planes planes(width);
    UnpackRow2vuy(row.data(), width, planes.Row());
    for (std::size_t x = 0; x < width; ++x) {
      ASSERT_EQ(planes.luma[x], 4 * row[2 * x + 1]) << width;
      ASSERT_EQ(planes.cb[x / 2], 4 * row[x / 2 * 4]) << width;
      ASSERT_EQ(planes.cr[x / 2], 4 * row[x / 2 * 4 + 2]) << width;
    }
  }
}

/// Component `index` of a row, counted in the order Cb Y Cr Y ...: each 32-bit word has three.
unsigned V210Component(const std::vector<std::uint8_t>& row, std::size_t index) {
  std::uint32_t bits;
  std::memcpy(&bits, &row[index / 3 * 4], sizeof bits);
  return bits >> (10 * (index % 3)) & 1023;
}

TEST(UnpackRows, ReadsThree10BitSamplesFromEachWord) {
  for (std::uint32_t width = 1; width < 70; ++width) {
    const std::vector<std::uint8_t> row = RandomRow(kWPRPixelFormatV210, width);
    Planes planes(width);
    UnpackRowV210(row.data(), width, planes.Row());
    for (std::size_t x = 0; x < width; ++x) {
      ASSERT_EQ(planes.luma[x], V210Component(row, 2 * x + 1)) << width;
      ASSERT_EQ(planes.cb[x / 2], V210Component(row, x / 2 * 4)) << width;
      ASSERT_EQ(planes.cr[x / 2], V210Component(row, x / 2 * 4 + 2)) << width;
    }
  }
}

}  // namespace
}  // namespace prores
