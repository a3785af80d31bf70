// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <numeric>
#include <random>
#include <vector>

#include "pixel/PackRows.h"
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

/// Unpacks two pixels and returns luma, Cb, Cr and alpha in this order.
std::vector<std::uint16_t> UnpackedPair(UnpackRow unpack, const std::vector<std::uint8_t>& row) {
  std::vector<std::uint16_t> samples(8);
  unpack(row.data(), 2, {&samples[0], &samples[2], &samples[4], &samples[6]});
  return samples;
}

TEST(UnpackRows, RoundsColoursToTwelveBitsAndKeepsAlpha) {
  const std::vector<std::uint8_t> row{
      0xFF, 0xFF, 0x37, 0x12, 0x38, 0x12, 0x00, 0x80,  // A Y Cb Cr, low bytes first
      0x34, 0x12, 0xF7, 0xFF, 0xF8, 0xFF, 0x07, 0x00,
  };
  EXPECT_EQ(UnpackedPair(UnpackRowY416, row), (std::vector<std::uint16_t>{
                                                  0x0123, 0x0FFF,  // Y
                                                  0x0124, 0x0FFF,  // Cb, clamped
                                                  0x0800, 0x0000,  // Cr
                                                  0xFFFF, 0x1234,  // A
                                              }));
}

TEST(UnpackRows, ReadsRgbWithHighBytesFirst) {
  const std::vector<std::uint8_t> row{
      0x77, 0x88, 0x55, 0x66, 0x11, 0x22, 0x33, 0x44,  // A R G B
      0x80, 0x00, 0x01, 0x00, 0xFF, 0xFF, 0x00, 0x01,
  };
  EXPECT_EQ(UnpackedPair(UnpackRowB64a, row), (std::vector<std::uint16_t>{
                                                  0x1122, 0xFFFF,  // G
                                                  0x3344, 0x0001,  // B
                                                  0x5566, 0x0100,  // R
                                                  0x7788, 0x8000,  // A
                                              }));
}

TEST(UnpackRows, ReadTwelveBitsAsTheyWerePacked) {
  std::vector<std::uint16_t> values(4096);
  std::iota(values.begin(), values.end(), std::uint16_t{0});
  const std::uint16_t* const plane = values.data();
  std::vector<std::uint8_t> row(8 * values.size());
  PackRowY416({plane, plane, plane, plane}, 4096, row.data());
  std::vector<std::uint16_t> luma(4096), cb(4096), cr(4096), alpha(4096);
  UnpackRowY416(row.data(), 4096, {luma.data(), cb.data(), cr.data(), alpha.data()});
  for (const auto& unpacked : {luma, cb, cr, alpha}) EXPECT_EQ(unpacked, values);
}

}  // namespace
}  // namespace prores
