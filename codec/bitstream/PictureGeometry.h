// SPDX-License-Identifier: BSD-2-Clause
#ifndef CODEC_BITSTREAM_PICTUREGEOMETRY_H
#define CODEC_BITSTREAM_PICTUREGEOMETRY_H

#include <cstdint>

#include "bitstream/FrameHeader.h"
#include "bitstream/SliceLayout.h"

namespace prores {

/// Pictures in a frame: one, or two fields.
constexpr unsigned PictureCount(InterlaceMode mode) {
  return mode == InterlaceMode::kProgressive ? 1 : 2;
}

/// The lines of a frame that one of its pictures covers.
struct PictureGeometry {
  std::uint32_t firstLine;  ///< frame line of the picture's first line
  std::uint32_t lineStep;   ///< frame lines from one line of the picture to the next
  std::uint32_t lines;      ///< lines of the picture; 0 for the bottom field of a one-line frame

  /// Macroblock rows that cover the lines.
  constexpr std::uint32_t MacroblockRows() const { return MacroblocksFor(lines); }
};

/// Returns the geometry of picture `index` (in stream order) of a frame of `frameHeight` lines. The
/// top field has the lines 0, 2, 4, ..., so it is the taller one in a frame of odd height.
constexpr PictureGeometry GeometryOf(std::uint32_t frameHeight, InterlaceMode mode,
                                     unsigned index) {
  if (mode == InterlaceMode::kProgressive) return {0, 1, frameHeight};
  const std::uint32_t firstLine = (mode == InterlaceMode::kTopFieldFirst ? 0u : 1u) ^ index;
  return {firstLine, 2, (frameHeight + 1 - firstLine) / 2};
}

/// Returns the macroblock rows that a picture's slice table describes. Where the fields of a frame
/// differ in macroblock rows (height modulo 32 is 1), some encoders give the shorter field as many
/// rows as the taller one, which the number of slices in the picture header reveals.
/// @param sliceCount deprecated_number_of_slices of the picture header.
constexpr std::uint32_t CodedMacroblockRows(std::uint32_t frameHeight, InterlaceMode mode,
                                            unsigned index, std::uint32_t slicesPerRow,
                                            std::uint16_t sliceCount) {
  const std::uint32_t rows = GeometryOf(frameHeight, mode, index).MacroblockRows();
  if (mode == InterlaceMode::kProgressive) return rows;
  const std::uint32_t tallerRows = GeometryOf(frameHeight, mode, index ^ 1).MacroblockRows();
  return tallerRows > rows && std::uint64_t{tallerRows} * slicesPerRow == sliceCount ? tallerRows
                                                                                     : rows;
}

}  // namespace prores

#endif  // CODEC_BITSTREAM_PICTUREGEOMETRY_H
