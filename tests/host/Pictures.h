// SPDX-License-Identifier: BSD-2-Clause
#ifndef TESTS_HOST_PICTURES_H
#define TESTS_HOST_PICTURES_H

/// @file
/// Numbered test pictures: smooth, so that every variant codes them well, and with colours of their
/// own, so that another picture, format, stride or field is recognised as wrong.

#include <cstddef>
#include <cstdint>
#include <vector>

#include "vix/Types.h"

namespace vix::test {

/// A stream of test pictures.
struct Shape {
  std::uint32_t width = 64;   ///< pixels
  std::uint32_t height = 32;  ///< rows of the frame
  ScanMode scanMode = ScanMode::Progressive;
  FourCC fourcc = kFourCC_V210;  ///< of the raw frames
  EditRate rate{25, 1};

  bool operator==(const Shape&) const = default;
};

inline constexpr Shape kSmall;
inline constexpr Shape kInterlaced{.scanMode = ScanMode::Interlaced};

/// Large enough for slices on several threads.
inline constexpr Shape kLarge{.width = 1024, .height = 256};

/// A picture in memory.
struct PictureMemory {
  FourCC fourcc = 0;
  const std::uint8_t* data = nullptr;
  std::uint32_t stride = 0;   ///< bytes
  bool isFirstField = false;  ///< true = every second row of the frame
};

/// Largest difference of a coded test picture, in 10-bit steps.
inline constexpr int kMostCodingError = 24;

/// Returns the bytes of picture `number` of a stream.
std::vector<std::uint8_t> DrawPicture(const Shape& shape, unsigned number);

/// Returns the largest difference between a picture in memory and picture `number` of a stream, in
/// 10-bit steps.
int MostDifference(const Shape& shape, unsigned number, const PictureMemory& picture);

}  // namespace vix::test

#endif  // TESTS_HOST_PICTURES_H
