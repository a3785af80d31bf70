// SPDX-License-Identifier: BSD-2-Clause
#ifndef CODEC_DECODE_STRIP_H
#define CODEC_DECODE_STRIP_H

#include <cstdint>

#include "bitstream/SliceLayout.h"
#include "bitstream/SliceTable.h"

namespace prores {

/// One macroblock row of a picture, and the rows of the destination that it covers.
struct Strip {
  SliceRow slices;
  SliceLayout layout;
  std::uint32_t firstRow;
  std::uint32_t rowStep;
  std::uint32_t rows;  ///< 1 to 16
  std::uint32_t damagedSlices = 0;

  bool IsLost() const { return damagedSlices == layout.SlicesPerRow(); }
  std::uint32_t LastRow() const { return firstRow + (rows - 1) * rowStep; }
};

/// A slice of a strip between entropy decoding and packing.
struct DecodedSlice {
  SliceSpan span;
  unsigned quantizerScale;
  bool intact;
  std::uint32_t firstComponent;  ///< of three successive CodedComponents, where the slice is intact
};

}  // namespace prores

#endif  // CODEC_DECODE_STRIP_H
