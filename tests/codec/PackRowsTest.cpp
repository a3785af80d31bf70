// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>

#include <cstddef>
#include <vector>

#include "pixel/ChromaFilter.h"
#include "pixel/PackRows.h"
#include "pixel/PixelFormat.h"

namespace prores {
namespace {

using Bytes = std::vector<std::uint8_t>;
using Samples = std::vector<std::uint16_t>;

/// Packs from exactly the samples of a row to exactly its bytes.
Bytes Packed(std::uint32_t format, const Samples& luma, const Samples& cb, const Samples& cr) {
  const auto width = static_cast<std::uint32_t>(luma.size());
  Bytes row(PackedRowBytes(format, width), 0xEE);
  const PackRow pack = format == kWPRPixelFormat2vuy ? PackRow2vuy : PackRowV210;
  pack({luma.data(), cb.data(), cr.data()}, width, row.data());
  return row;
}

TEST(PackRows, InterleavesBytes) {
  EXPECT_EQ(Packed(kWPRPixelFormat2vuy, {1, 2, 3, 4}, {5, 6}, {7, 8}),
            (Bytes{5, 1, 7, 2, 6, 3, 8, 4}));
}

TEST(PackRows, RepeatsTheLastLumaSampleOfAnOddWidth) {
  EXPECT_EQ(Packed(kWPRPixelFormat2vuy, {1, 2, 3}, {5, 6}, {7, 8}),
            (Bytes{5, 1, 7, 2, 6, 3, 8, 3}));
  EXPECT_EQ(Packed(kWPRPixelFormat2vuy, {9}, {5}, {7}), (Bytes{5, 9, 7, 9}));
}

TEST(PackRows, PutsThreeComponentsIntoAWord) {
  const Bytes expected{
      0x04, 0x04, 0xB4, 0x3F,  // Cb 4, Y 257, Cr 1019
      0x00, 0x06, 0x10, 0x18,  // Y 512, Cb 1, Y 385
      0x02, 0x00, 0x30, 0x20,  // Cr 2, Y 0, Cb 515
      0xFF, 0x0F, 0x50, 0x00,  // Y 1023, Cr 3, Y 5
  };
  EXPECT_EQ(Packed(kWPRPixelFormatV210, {257, 512, 385, 0, 1023, 5}, {4, 1, 515}, {1019, 2, 3}),
            expected);
}

TEST(PackRows, ZeroesTheRestOfTheLastGroup) {
  const Samples full(6, 1023);
  const Samples chroma(3, 1023);
  for (std::size_t width = 1; width < 6; ++width) {
    const std::size_t pairs = (width + 1) / 2;
    Samples luma(full.begin(), full.begin() + static_cast<std::ptrdiff_t>(width));
    Samples half(chroma.begin(), chroma.begin() + static_cast<std::ptrdiff_t>(pairs));
    const Bytes row = Packed(kWPRPixelFormatV210, luma, half, half);
    ASSERT_EQ(row.size(), 16u);
    luma.resize(6);
    half.resize(3);
    EXPECT_EQ(row, Packed(kWPRPixelFormatV210, luma, half, half)) << width;
  }
}

TEST(PixelFormat, CountsTheBytesOfWholeGroups) {
  EXPECT_EQ(PackedRowBytes(kWPRPixelFormat2vuy, 1), 4u);
  EXPECT_EQ(PackedRowBytes(kWPRPixelFormat2vuy, 720), 1440u);
  EXPECT_EQ(PackedRowBytes(kWPRPixelFormatV210, 1), 16u);
  EXPECT_EQ(PackedRowBytes(kWPRPixelFormatV210, 6), 16u);
  EXPECT_EQ(PackedRowBytes(kWPRPixelFormatV210, 7), 32u);
  EXPECT_EQ(PackedRowBytes(kWPRPixelFormatV210, 1920), 5120u);
  EXPECT_EQ(PackedRowBytes(kWPRPixelFormatY416, 1), 8u);
  EXPECT_EQ(PackedRowBytes(kWPRPixelFormatB64a, 1919), 15352u);
}

TEST(PackRows, ShiftsTwelveBitsUpAndKeepsAlpha) {
  const Samples luma{0x0000, 0x0FFF}, cb{0x0123, 0x0800}, cr{0x0ABC, 0x0001};
  const Samples alpha{0xFFFF, 0x1234};
  Bytes row(16);
  PackRowY416({luma.data(), cb.data(), cr.data(), alpha.data()}, 2, row.data());
  const Bytes expected{
      0xFF, 0xFF, 0x00, 0x00, 0x30, 0x12, 0xC0, 0xAB,  // A Y Cb Cr, low bytes first
      0x34, 0x12, 0xF0, 0xFF, 0x00, 0x80, 0x10, 0x00,
  };
  EXPECT_EQ(row, expected);
}

TEST(PackRows, WritesRgbWithHighBytesFirst) {
  const Samples green{0x1122, 0xFFFF}, blue{0x3344, 0x0001}, red{0x5566, 0x0100};
  const Samples alpha{0x7788, 0x8000};
  Bytes row(16);
  PackRowB64a({green.data(), blue.data(), red.data(), alpha.data()}, 2, row.data());
  const Bytes expected{
      0x77, 0x88, 0x55, 0x66, 0x11, 0x22, 0x33, 0x44,  // A R G B
      0x80, 0x00, 0x01, 0x00, 0xFF, 0xFF, 0x00, 0x01,
  };
  EXPECT_EQ(row, expected);
}

Samples Halved(const Samples& line, const SampleDepth& depth) {
  Samples padded(line.size() + 2 * kChromaMargin);
  std::copy(line.begin(), line.end(), padded.begin() + kChromaMargin);
  Samples half((line.size() + 1) / 2);
  HalveChroma(padded.data() + kChromaMargin, static_cast<std::uint32_t>(line.size()), depth,
              half.data());
  return half;
}

TEST(ChromaFilter, KeepsFlatChroma) {
  for (std::size_t width = 1; width < 12; ++width) {
    EXPECT_EQ(Halved(Samples(width, 700), k10Bits), Samples((width + 1) / 2, 700));
    EXPECT_EQ(Halved(Samples(width, 700), k8Bits), Samples((width + 1) / 2, 175));
  }
}

TEST(ChromaFilter, KeepsTheEvenSamplesOfARamp) {
  Samples ramp;
  for (std::uint16_t i = 0; i < 20; ++i) ramp.push_back(static_cast<std::uint16_t>(400 + 4 * i));
  const Samples half = Halved(ramp, k10Bits);
  for (std::size_t i = 2; i < 8; ++i) EXPECT_EQ(half[i], ramp[2 * i]);
}

TEST(ChromaFilter, SuppressesTheHighestFrequency) {
  Samples line;
  for (int i = 0; i < 20; ++i) line.push_back(i % 2 == 0 ? 400 : 600);
  const Samples half = Halved(line, k10Bits);
  for (std::size_t i = 2; i < 8; ++i) EXPECT_EQ(half[i], 500);
}

TEST(ChromaFilter, SpreadsAnImpulseByItsTaps) {
  Samples line(15, 512);
  line[6] += 64;
  EXPECT_EQ(Halved(line, k10Bits), (Samples{512, 512, 512, 544, 512, 512, 512, 512}));
  line[6] = 512;
  line[7] += 64;
  EXPECT_EQ(Halved(line, k10Bits), (Samples{512, 512, 510, 530, 530, 510, 512, 512}));
}

TEST(ChromaFilter, RepeatsTheEdgesOfThePicture) {
  // (16 * 100 + 9 * (100 + 200) - 100 - 400) / 32, and mirrored.
  EXPECT_EQ(Halved({100, 200, 300, 400, 500, 600, 700}, k10Bits).front(), 119);
  EXPECT_EQ(Halved({700, 600, 500, 400, 300, 200, 100}, k10Bits).back(), 119);
}

TEST(ChromaFilter, ClampsOvershoot) {
  EXPECT_EQ(Halved({4, 4, 4, 4, 4, 1019, 1019}, k10Bits)[1], 4);
  EXPECT_EQ(Halved({1019, 1019, 1019, 1019, 1019, 4, 4}, k8Bits)[1], 254);
}

Samples Doubled(const Samples& half, std::uint32_t width) {
  Samples padded(half.size() + 2 * kChromaMargin);
  std::copy(half.begin(), half.end(), padded.begin() + kChromaMargin);
  Samples line(width);
  DoubleChroma(padded.data() + kChromaMargin, width, k12Bits, line.data());
  return line;
}

TEST(ChromaFilter, DoublesFlatChroma) {
  for (std::uint32_t width = 1; width < 12; ++width) {
    EXPECT_EQ(Doubled(Samples((width + 1) / 2, 2800), width), Samples(width, 2800));
  }
}

TEST(ChromaFilter, ContinuesARampBetweenItsSamples) {
  Samples half;
  for (std::uint16_t i = 0; i < 10; ++i) half.push_back(static_cast<std::uint16_t>(1000 + 8 * i));
  const Samples line = Doubled(half, 20);
  for (std::size_t i = 2; i < 17; ++i) EXPECT_EQ(line[i], 1000 + 4 * i);
}

TEST(ChromaFilter, InterpolatesAnImpulseByItsTaps) {
  const Samples expected{2048, 2048, 2048, 2044, 2048, 2084, 2112, 2084, 2048, 2044, 2048};
  EXPECT_EQ(Doubled({2048, 2048, 2048, 2112, 2048, 2048}, 11), expected);
}

TEST(ChromaFilter, RepeatsTheEdgesOfThePictureWhereItInterpolates) {
  // (9 * (100 + 200) - (100 + 400) + 8) / 16, and at the end (9 * (400 + 400) - (200 + 400) + 8)
  // / 16.
  EXPECT_EQ(Doubled({100, 200, 400}, 6), (Samples{100, 138, 200, 306, 400, 413}));
  EXPECT_EQ(Doubled({100, 200, 400}, 5), (Samples{100, 138, 200, 306, 400}));
  EXPECT_EQ(Doubled({100}, 1), (Samples{100}));
}

TEST(ChromaFilter, ClampsInterpolatedOvershoot) {
  EXPECT_EQ(Doubled({4079, 16, 16, 4079}, 7)[3], 16);
  EXPECT_EQ(Doubled({16, 4079, 4079, 16}, 7)[3], 4079);
}

}  // namespace
}  // namespace prores
