// SPDX-License-Identifier: BSD-2-Clause
#include "Pictures.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "vix/RawVideoUtils.h"

namespace vix::test {
namespace {

/// Components of a row of pairs of pixels, in the order Cb Y Cr Y.
constexpr std::uint32_t kComponentsPerPair = 4;

std::uint32_t PairsOf(const Shape& shape) {
  return (shape.width + 1) / 2;
}

/// Returns a component of picture `number` with 10 bits.
int ComponentAt(const Shape& shape, unsigned number, std::uint32_t component, std::uint32_t row) {
  const auto along = static_cast<int>(60 * component / (kComponentsPerPair * PairsOf(shape)));
  const auto down = static_cast<int>(40 * row / shape.height);
  if (component % kComponentsPerPair == 0) return 300 + 50 * static_cast<int>(number % 7) + along;
  if (component % kComponentsPerPair == 2) return 700 - 60 * static_cast<int>(number % 5) + down;
  const bool isSecondField = shape.scanMode == ScanMode::Interlaced && row % 2 == 1;
  return 120 + 40 * static_cast<int>(number % 11) + along + down + (isSecondField ? 160 : 0);
}

std::uint32_t StrideOf(const Shape& shape) {
  return RawVideoUtils::GetStrides(shape.fourcc, VideoChroma::C422, shape.width, shape.height)
      .front();
}

void WriteComponent(FourCC fourcc, std::uint8_t* row, std::uint32_t component, int value) {
  if (fourcc == kFourCC_UYVY) {
    row[component] = static_cast<std::uint8_t>(value / 4);
    return;
  }
  std::uint32_t word = 0;
  std::uint8_t* const place = row + component / 3 * sizeof(word);
  std::memcpy(&word, place, sizeof(word));
  word |= static_cast<std::uint32_t>(value) << (component % 3 * 10);
  std::memcpy(place, &word, sizeof(word));
}

int ReadComponent(FourCC fourcc, const std::uint8_t* row, std::uint32_t component) {
  if (fourcc == kFourCC_UYVY) return row[component] * 4 + 2;
  std::uint32_t word = 0;
  std::memcpy(&word, row + component / 3 * sizeof(word), sizeof(word));
  return static_cast<int>(word >> (component % 3 * 10) & 0x3ff);
}

}  // namespace

std::vector<std::uint8_t> DrawPicture(const Shape& shape, unsigned number) {
  const std::uint32_t stride = StrideOf(shape);
  std::vector<std::uint8_t> bytes(std::size_t{stride} * shape.height);
  for (std::uint32_t row = 0; row < shape.height; ++row) {
    std::uint8_t* const start = &bytes[std::size_t{row} * stride];
    for (std::uint32_t i = 0; i < kComponentsPerPair * PairsOf(shape); ++i) {
      WriteComponent(shape.fourcc, start, i, ComponentAt(shape, number, i, row));
    }
  }
  return bytes;
}

int MostDifference(const Shape& shape, unsigned number, const PictureMemory& picture) {
  const std::uint32_t step = picture.isFirstField ? 2 : 1;
  // The last luma sample of a row of odd width is padding.
  const std::uint32_t components = kComponentsPerPair * PairsOf(shape) - shape.width % 2;
  int most = 0;
  const std::uint8_t* start = picture.data;
  for (std::uint32_t row = 0; row + step <= shape.height; row += step, start += picture.stride) {
    for (std::uint32_t i = 0; i < components; ++i) {
      const int value = ReadComponent(picture.fourcc, start, i);
      most = std::max(most, std::abs(value - ComponentAt(shape, number, i, row)));
    }
  }
  return most;
}

}  // namespace vix::test
