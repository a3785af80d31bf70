// SPDX-License-Identifier: BSD-2-Clause
#ifndef CODEC_PIXEL_PLANARSTRIP_H
#define CODEC_PIXEL_PLANARSTRIP_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "ProRes/ProRes.h"
#include "bitstream/BlockOrder.h"
#include "pixel/UnpackRows.h"

namespace prores {

/// Returns the columns of a component of a 4:2:2 picture that is `width` pixels wide.
constexpr std::size_t ColumnCount(std::size_t width, unsigned component) {
  return component == 0 ? width : (width + 1) / 2;
}

/// One macroblock row of planar 4:2:2 samples, extended to whole macroblocks by repeating the last
/// column and the last line. Does not own the samples.
class PlanarStrip {
 public:
  /// Returns the samples of a strip of so many macroblocks.
  static std::size_t Samples(std::size_t macroblocks) {
    return 2 * Stride(0, macroblocks) * kMacroblockSize;
  }

  /// @param samples Samples(macroblocks) samples.
  PlanarStrip(std::span<std::uint16_t> samples, std::size_t macroblocks);

  /// Samples from one line of a component to the next.
  std::size_t Stride(unsigned component) const { return Stride(component, macroblocks_); }

  /// Returns the first sample of a line (0..15).
  std::uint16_t* Line(unsigned component, std::size_t line) const {
    return planes_[component] + line * Stride(component);
  }

  /// Unpacks `lines` (1..16) rows of `source` that are `pitch` bytes apart.
  void Unpack(const std::uint8_t* row, std::size_t pitch, std::size_t lines,
              const PixelBufferRecord& source, UnpackRow unpackRow) const;

 private:
  /// Columns after the last macroblock, where an unpacker's last group may end.
  static constexpr std::size_t kSpareColumns = kMacroblockSize;
  static_assert(kSpareColumns >= kUnpackGroupPixels);

  static std::size_t Stride(unsigned component, std::size_t macroblocks) {
    return ColumnCount(macroblocks * kMacroblockSize + kSpareColumns, component);
  }

  void Extend(std::size_t width, std::size_t lines) const;

  std::size_t macroblocks_;
  std::array<std::uint16_t*, kComponents> planes_{};
};

}  // namespace prores

#endif  // CODEC_PIXEL_PLANARSTRIP_H
