// SPDX-License-Identifier: BSD-2-Clause
#ifndef TESTS_PLUGIN4444_PICTURES_H
#define TESTS_PLUGIN4444_PICTURES_H

/// @file
/// Numbered test pictures of 16 bits: smooth colours, so that every variant codes them well, and
/// alpha that differs from pixel to pixel.

#include <cstdint>
#include <vector>

#include "vix/Types.h"

namespace vix::test4444 {

/// A stream of test pictures.
struct Shape {
  std::uint32_t width = 64;   ///< pixels
  std::uint32_t height = 32;  ///< rows of the frame
  ScanMode scanMode = ScanMode::Progressive;
  FourCC fourcc = kFourCC_Y416;
  VideoChroma chroma = VideoChroma::C4444;
  std::int32_t matrix = 0;  ///< matrix coefficients; 0 = not set
  EditRate rate{25, 1};
};

/// Difference of a decoded picture from the drawn one.
struct Difference {
  int alpha = 0;   ///< largest, from the alpha that the bits of alpha allow
  int colour = 0;  ///< largest, in steps of 16 bits
};

/// Largest difference of coded colours: one step of 8 bits.
inline constexpr int kMostCodingError = 256;

/// Returns the bytes of picture `number`.
std::vector<std::uint8_t> DrawPicture(const Shape& shape, unsigned number);

/// Returns a picture of noise, whose frames are larger than any variant aims at.
std::vector<std::uint8_t> DrawNoise(const Shape& shape);

/// Compares bytes with picture `number`.
/// @param alphaBits that were coded: 0 (opaque), 8 or 16
Difference Compare(const Shape& shape, unsigned number, const std::vector<std::uint8_t>& bytes,
                   int alphaBits);

/// Reads component `index` (from 0, in memory order) of pixel `pixel`.
int ReadComponent(FourCC fourcc, const std::vector<std::uint8_t>& bytes, std::size_t pixel,
                  std::size_t index);

}  // namespace vix::test4444

#endif  // TESTS_PLUGIN4444_PICTURES_H
