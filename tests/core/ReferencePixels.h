// SPDX-License-Identifier: BSD-2-Clause
#ifndef TESTS_CORE_REFERENCEPIXELS_H
#define TESTS_CORE_REFERENCEPIXELS_H

/// @file
/// A second implementation of the pixel formats, one sample at a time, for comparison.

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

#include "vix/PixelConversion.h"

namespace vix::test {

inline constexpr PixelFormat kAllFormats[] = {
    PixelFormat::UYVY, PixelFormat::YUY2, PixelFormat::V210, PixelFormat::I422,
    PixelFormat::I210, PixelFormat::I216, PixelFormat::NV16, PixelFormat::P210};

/// Index of a component.
enum Component : std::size_t { kY, kCb, kCr };

inline unsigned BitsOf(PixelFormat format) {
  switch (format) {
    case PixelFormat::V210:
    case PixelFormat::I210:
    case PixelFormat::P210:
      return 10;
    case PixelFormat::I216:
      return 16;
    default:
      return 8;
  }
}

/// Returns the bytes of a row of each plane; 0 for planes that the format does not have.
inline std::array<std::size_t, 3> ReferenceRowBytes(PixelFormat format, std::size_t width) {
  const std::size_t half = (width + 1) / 2;
  switch (format) {
    case PixelFormat::UYVY:
    case PixelFormat::YUY2:
      return {4 * half, 0, 0};
    case PixelFormat::V210:
      return {(width + 47) / 48 * 128, 0, 0};
    case PixelFormat::I422:
      return {width, half, half};
    case PixelFormat::I210:
    case PixelFormat::I216:
      return {2 * width, 2 * half, 2 * half};
    case PixelFormat::NV16:
      return {width, 2 * half, 0};
    case PixelFormat::P210:
      return {2 * width, 4 * half, 0};
  }
  return {};
}

/// Place of a sample: `bits` bits from bit `shift` on of the little-endian word of `bytes` bytes.
struct SamplePlace {
  std::size_t plane;
  std::size_t offset;
  std::size_t bytes;
  unsigned shift;
};

inline SamplePlace PlaceOf(PixelFormat format, Component component, std::size_t index) {
  // Position in the sequence Cb Y Cr Y Cb ...
  const std::size_t position =
      component == kY ? 2 * index + 1 : 4 * index + (component == kCr ? 2 : 0);
  const std::size_t interleaved = 2 * index + (component == kCr ? 1 : 0);
  switch (format) {
    case PixelFormat::UYVY:
      return {0, position, 1, 0};
    case PixelFormat::YUY2:
      return {0, position ^ 1, 1, 0};
    case PixelFormat::V210:
      return {0, position / 3 * 4, 4, static_cast<unsigned>(position % 3 * 10)};
    case PixelFormat::I422:
      return {component, index, 1, 0};
    case PixelFormat::I210:
    case PixelFormat::I216:
      return {component, 2 * index, 2, 0};
    case PixelFormat::NV16:
      return component == kY ? SamplePlace{0, index, 1, 0} : SamplePlace{1, interleaved, 1, 0};
    case PixelFormat::P210:
      return component == kY ? SamplePlace{0, 2 * index, 2, 6}
                             : SamplePlace{1, 2 * interleaved, 2, 6};
  }
  return {};
}

template <typename Byte>
Byte* RowOf(const BasicPixelPicture<Byte>& picture, std::size_t plane, std::size_t row) {
  return picture.planes[plane].data + row * picture.planes[plane].stride;
}

/// Returns a sample, limited to the largest value of the format.
template <typename Byte>
std::uint32_t GetSample(const BasicPixelPicture<Byte>& picture, Component component,
                        std::size_t row, std::size_t index) {
  const SamplePlace place = PlaceOf(picture.format, component, index);
  const Byte* const bytes = RowOf(picture, place.plane, row) + place.offset;
  std::uint32_t word = 0;
  for (std::size_t i = 0; i < place.bytes; ++i) word |= std::uint32_t{bytes[i]} << 8 * i;
  word >>= place.shift;
  const std::uint32_t largest = (1u << BitsOf(picture.format)) - 1;
  return picture.format == PixelFormat::V210 ? word & largest : std::min(word, largest);
}

/// Sets the bits of a sample whose bits are zero.
inline void PutSample(const PixelPicture& picture, Component component, std::size_t row,
                      std::size_t index, std::uint32_t value) {
  const SamplePlace place = PlaceOf(picture.format, component, index);
  std::uint8_t* const bytes = RowOf(picture, place.plane, row) + place.offset;
  const std::uint32_t word = value << place.shift;
  for (std::size_t i = 0; i < place.bytes; ++i) {
    bytes[i] = static_cast<std::uint8_t>(bytes[i] | word >> 8 * i);
  }
}

inline std::uint32_t ChangeDepth(std::uint32_t sample, unsigned from, unsigned to) {
  if (to >= from) return sample << (to - from);
  const std::uint32_t step = 1u << (from - to);
  return std::min((sample + step / 2) / step, (1u << to) - 1);
}

/// Does what ConvertPixels() promises.
inline void ReferenceConvert(const ConstPixelPicture& source, const PixelPicture& destination) {
  const auto rowBytes = ReferenceRowBytes(destination.format, destination.width);
  for (std::size_t row = 0; row < source.height; ++row) {
    for (std::size_t plane = 0; plane < rowBytes.size(); ++plane) {
      if (rowBytes[plane] != 0) std::fill_n(RowOf(destination, plane, row), rowBytes[plane], 0);
    }
    const auto convert = [&](Component component, std::size_t from, std::size_t to) {
      PutSample(destination, component, row, to,
                ChangeDepth(GetSample(source, component, row, from), BitsOf(source.format),
                            BitsOf(destination.format)));
    };
    for (std::size_t x = 0; x < source.width; ++x) convert(kY, x, x);
    for (std::size_t x = 0; x < (source.width + 1) / 2; ++x) {
      convert(kCb, x, x);
      convert(kCr, x, x);
    }
    const bool packed = rowBytes[1] == 0;
    if (packed && source.width % 2 != 0) convert(kY, source.width - 1, source.width);
  }
}

}  // namespace vix::test

#endif  // TESTS_CORE_REFERENCEPIXELS_H
