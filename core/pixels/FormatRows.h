// SPDX-License-Identifier: BSD-2-Clause
#ifndef CORE_PIXELS_FORMATROWS_H
#define CORE_PIXELS_FORMATROWS_H

/// @file
/// The table of pixel formats, and the conversion of pictures. A part of a row at a time is read to
/// a strip in cache, changed in depth and written.

#include <array>
#include <cstddef>
#include <cstdint>

#include "pixels/SampleRows.h"
#include "vix/PixelConversion.h"

namespace vix::pixels {

/// Pixels that are converted at a time: whole padded groups of V210, and few enough for the cache.
inline constexpr std::size_t kStripPixels = 960;

/// Up to kStripPixels pixels of a row. Formats of 8 bits are read to and written from `bytes`, all
/// others `words`. The last group of an unpacker may end in the spare samples.
struct Strip {
  static constexpr std::size_t kSpare = 64;
  static_assert(kSpare >= prores::kUnpackGroupPixels);

  struct Bytes {
    alignas(64) std::array<std::uint8_t, kStripPixels + kSpare> y;
    alignas(64) std::array<std::uint8_t, kStripPixels + kSpare> cbcr;  ///< alternating
  } bytes;
  struct Words {
    alignas(64) std::array<std::uint16_t, kStripPixels + kSpare> y;
    alignas(64) std::array<std::uint16_t, (kStripPixels + kSpare) / 2> cb;
    alignas(64) std::array<std::uint16_t, (kStripPixels + kSpare) / 2> cr;
  } words;
};

/// Where the pixels of a strip begin in each plane.
using SourceRow = std::array<const std::uint8_t*, kMaxPixelPlanes>;
using TargetRow = std::array<std::uint8_t*, kMaxPixelPlanes>;

/// Pixels that share the bytes of one plane.
struct PixelGroup {
  std::size_t pixels;
  std::size_t bytes;
};

/// A pixel format and its row functions.
struct Format {
  PixelFormat format;
  std::size_t planes;
  std::array<PixelGroup, kMaxPixelPlanes> groups;  ///< smallest unit of a row in each plane
  int bits;                                        ///< of a sample
  int shift;                                       ///< place of its lowest bit in its word or byte
  void (*read)(const RowKernels& kernels, const Format& format, const SourceRow& row,
               std::size_t pixels, Strip& strip);
  /// Scales words with `scale`, which gives them the format's depth and place. May change the
  /// strip.
  void (*write)(const RowKernels& kernels, const SampleScale& scale, Strip& strip,
                std::size_t pixels, const TargetRow& row);

  /// Returns the bytes of a row of one plane.
  std::size_t RowBytes(std::size_t plane, std::size_t width) const {
    return (width + groups[plane].pixels - 1) / groups[plane].pixels * groups[plane].bytes;
  }
};

/// Returns null if the format is unknown.
const Format* FindFormat(PixelFormat format);

/// Converts pictures that ConvertPixels() accepts.
void ConvertPicture(const RowKernels& kernels, const ConstPixelPicture& source,
                    const PixelPicture& destination);

}  // namespace vix::pixels

#endif  // CORE_PIXELS_FORMATROWS_H
