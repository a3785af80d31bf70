// SPDX-License-Identifier: BSD-2-Clause
#ifndef CODEC_DECODE_STRIP_H
#define CODEC_DECODE_STRIP_H

#include <cstdint>
#include <span>

#include "bitstream/SliceLayout.h"
#include "bitstream/SliceTable.h"

namespace prores {

/// One macroblock row of a picture, and the rows of the destination that it covers.
struct Strip {
  SliceRow slices;
  SliceLayout layout;
  std::uint32_t firstRow;
  std::uint32_t rowStep;
  std::uint32_t rows;               ///< 1 to 16
  std::uint32_t damagedSlices = 0;  ///< in their colours or their alpha
  std::uint32_t lostSlices = 0;     ///< in their colours

  bool IsLost() const { return lostSlices == layout.SlicesPerRow(); }
  std::uint32_t LastRow() const { return firstRow + (rows - 1) * rowStep; }
};

/// A slice of a strip between entropy decoding and packing.
struct DecodedSlice {
  SliceSpan span;
  unsigned quantizerScale;
  bool intact;                          ///< whether the colours are undamaged
  std::uint32_t firstComponent;         ///< of three CodedComponents, where the slice is intact
  std::span<const std::uint8_t> alpha;  ///< coded; empty where there is none or it is unknown
};

}  // namespace prores

#endif  // CODEC_DECODE_STRIP_H
