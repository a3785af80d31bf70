// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <vector>

#include "pixel/PlanarStrip.h"

namespace prores {
namespace {

constexpr std::uint32_t kWidth = 18;  // two columns of the second macroblock
constexpr std::size_t kMacroblocks = 2;
constexpr std::size_t kLines = 5;

/// A '2vuy' picture with a different value at each place.
std::vector<std::uint8_t> MakePicture() {
  std::vector<std::uint8_t> bytes(kLines * 2 * kWidth);
  for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<std::uint8_t>(1 + i);
  return bytes;
}

class PlanarStripTest : public testing::Test {
 protected:
  PlanarStripTest() { strip.Unpack(picture.data(), 2 * kWidth, kLines, record, {UnpackRow2vuy}); }

  std::uint16_t Sample(unsigned component, std::size_t line, std::size_t column) const {
    return strip.Line(component, line)[column];
  }

  std::vector<std::uint8_t> picture = MakePicture();
  const PixelBufferRecord record{.baseAddress = picture.data(),
                                 .rowBytes = 2 * kWidth,
                                 .pixelFormat = kWPRPixelFormat2vuy,
                                 .width = kWidth,
                                 .height = kLines};
  std::vector<std::uint16_t> samples =
      std::vector<std::uint16_t>(PlanarStrip::Samples(ChromaFormat::k422, kMacroblocks));
  const PlanarStrip strip{samples, ChromaFormat::k422, kMacroblocks};
};

TEST_F(PlanarStripTest, HoldsThePlanesOfThePicture) {
  for (std::size_t line = 0; line < kLines; ++line) {
    const std::uint8_t* const row = picture.data() + 2 * kWidth * line;
    for (std::size_t x = 0; x < kWidth; ++x) EXPECT_EQ(Sample(0, line, x), 4 * row[2 * x + 1]);
    for (std::size_t x = 0; x < kWidth / 2; ++x) {
      EXPECT_EQ(Sample(1, line, x), 4 * row[4 * x]);
      EXPECT_EQ(Sample(2, line, x), 4 * row[4 * x + 2]);
    }
  }
}

TEST_F(PlanarStripTest, RepeatsTheLastColumnAndTheLastLine) {
  for (unsigned component = 0; component < kComponents; ++component) {
    const std::size_t columns = ColumnCount(ChromaFormat::k422, kWidth, component);
    const std::size_t covered =
        ColumnCount(ChromaFormat::k422, kMacroblocks * kMacroblockSize, component);
    for (std::size_t line = 0; line < kMacroblockSize; ++line) {
      const std::size_t source = std::min(line, kLines - 1);
      for (std::size_t x = 0; x < covered; ++x) {
        EXPECT_EQ(Sample(component, line, x), Sample(component, source, std::min(x, columns - 1)))
            << "component " << component << ", line " << line << ", column " << x;
      }
    }
  }
}

TEST(PlanarStrip, HoldsFourPlanesOfPicturesWithAlpha) {
  constexpr std::size_t kRows = 3;
  std::vector<std::uint8_t> picture(kRows * kWidth * 8);
  for (std::size_t i = 0; i < picture.size(); ++i) picture[i] = static_cast<std::uint8_t>(7 * i);
  const PixelBufferRecord record{picture.data(), 8 * kWidth, kWPRPixelFormatY416, kWidth, kRows};
  std::vector<std::uint16_t> samples(PlanarStrip::Samples(ChromaFormat::k444, kMacroblocks));
  const PlanarStrip strip(samples, ChromaFormat::k444, kMacroblocks);
  strip.Unpack(picture.data(), 8 * kWidth, kRows, record, {UnpackRowY416});

  std::array<std::vector<std::uint16_t>, 4> row;
  for (auto& plane : row) plane.resize(kWidth);
  for (std::size_t line = 0; line < kMacroblockSize; ++line) {
    UnpackRowY416(picture.data() + std::min(line, kRows - 1) * 8 * kWidth, kWidth,
                  {row[0].data(), row[1].data(), row[2].data(), row[3].data()});
    for (unsigned plane = 0; plane < row.size(); ++plane) {
      for (std::size_t x = 0; x < kMacroblocks * kMacroblockSize; ++x) {
        ASSERT_EQ(strip.Line(plane, line)[x], row[plane][std::min<std::size_t>(x, kWidth - 1)])
            << "plane " << plane << ", line " << line << ", column " << x;
      }
    }
  }
}

}  // namespace
}  // namespace prores
