// SPDX-License-Identifier: BSD-2-Clause
#ifndef CORE_PIXELS_FORMATROWS_H
#define CORE_PIXELS_FORMATROWS_H

/// @file
/// Conversion of rows between every pixel format and planar 16-bit samples in cache.

#include <array>
#include <cstddef>
#include <cstdint>

#include "pixels/SampleRows.h"
#include "vix/PixelConversion.h"

namespace vix::pixels {

/// Pixels that are converted at a time: whole padded groups of V210, and few enough for the cache.
inline constexpr std::size_t kStripPixels = 1920;

/// Samples of up to kStripPixels pixels of a row. The last group of an unpacker may end in the
/// spare samples.
struct Strip {
  static constexpr std::size_t kSpare = 64;
  static_assert(kSpare >= prores::kUnpackGroupPixels);

  alignas(64) std::array<std::uint16_t, kStripPixels + kSpare> y;
  alignas(64) std::array<std::uint16_t, (kStripPixels + kSpare) / 2> cb;
  alignas(64) std::array<std::uint16_t, (kStripPixels + kSpare) / 2> cr;
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
  int stripBits;                                   ///< of the samples that `read` returns
  void (*read)(const RowKernels& kernels, const Format& format, const SourceRow& row,
               std::size_t pixels, Strip& strip);
  /// Scales samples to `bits` and `shift` with `scale`. May change the strip.
  void (*write)(const RowKernels& kernels, Strip& strip, const SampleScale& scale,
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
