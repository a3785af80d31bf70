// SPDX-License-Identifier: BSD-2-Clause
#ifndef CODEC_PIXEL_PLANARSTRIP_H
#define CODEC_PIXEL_PLANARSTRIP_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "ProRes/ProRes.h"
#include "bitstream/BlockOrder.h"
#include "pixel/RgbConversion.h"
#include "pixel/UnpackRows.h"

namespace prores {

/// Number of the plane of alpha, after those of the components.
inline constexpr unsigned kAlphaPlane = kComponents;

/// Returns the columns of a plane of a picture that is `width` pixels wide.
constexpr std::size_t ColumnCount(ChromaFormat format, std::size_t width, unsigned plane) {
  const bool halved = format == ChromaFormat::k422 && plane != 0;
  return halved ? (width + 1) / 2 : width;
}

/// Converts packed rows to lines of a strip.
struct RowReader {
  UnpackRow unpack;
  decltype(&RgbToYCbCr) toYCbCr = nullptr;  ///< null unless rows are RGB
  const RgbMatrix* matrix = nullptr;        ///< likewise

  void operator()(const std::uint8_t* row, std::size_t width, const PlanarRow& line) const {
    unpack(row, width, line);
    if (toYCbCr != nullptr) toYCbCr(*matrix, width, line);
  }
};

/// One macroblock row of planar samples, extended to whole macroblocks by repeating the last
/// column and the last line: three planes of 4:2:2, or four of 4:4:4 with alpha. Does not own the
/// samples.
class PlanarStrip {
 public:
  /// Returns the samples of a strip of so many macroblocks.
  static std::size_t Samples(ChromaFormat format, std::size_t macroblocks) {
    return (format == ChromaFormat::k422 ? 2 : 4) * Stride(format, 0, macroblocks) *
           kMacroblockSize;
  }

  /// @param samples Samples(format, macroblocks) samples.
  PlanarStrip(std::span<std::uint16_t> samples, ChromaFormat format, std::size_t macroblocks);

  /// Samples from one line of a plane to the next.
  std::size_t Stride(unsigned plane) const { return Stride(format_, plane, macroblocks_); }

  /// Returns the first sample of a line (0..15).
  std::uint16_t* Line(unsigned plane, std::size_t line) const {
    return planes_[plane] + line * Stride(plane);
  }

  /// Unpacks `lines` (1..16) rows of `source` that are `pitch` bytes apart.
  void Unpack(const std::uint8_t* row, std::size_t pitch, std::size_t lines,
              const PixelBufferRecord& source, const RowReader& reader) const;

 private:
  /// Columns after the last macroblock, where an unpacker's last group may end.
  static constexpr std::size_t kSpareColumns = kMacroblockSize;
  static_assert(kSpareColumns >= kUnpackGroupPixels);

  static std::size_t Stride(ChromaFormat format, unsigned plane, std::size_t macroblocks) {
    return ColumnCount(format, macroblocks * kMacroblockSize + kSpareColumns, plane);
  }

  void Extend(std::size_t width, std::size_t lines) const;

  ChromaFormat format_;
  std::size_t macroblocks_;
  unsigned planeCount_;
  std::array<std::uint16_t*, kComponents + 1> planes_{};
};

}  // namespace prores

#endif  // CODEC_PIXEL_PLANARSTRIP_H
