// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_FRAMES_SLICEGRID_H
#define TOOL_FRAMES_SLICEGRID_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include "frames/FrameStructure.h"

namespace vixprores {

/// The slices of a frame as they lie on its picture, those of two fields together: their bytes
/// added, and of their quantisers the mean.
struct SliceGrid {
  std::vector<prores::SliceSpan> columns;  ///< of each row, from the left
  std::uint32_t rows = 0;
  std::uint32_t rowLines = 0;      ///< lines of the frame that a row is high
  std::uint32_t macroblocks = 0;   ///< of each row
  double lastRowShare = 1;         ///< of the last row's lines that belong to the picture
  double lastMacroblockShare = 1;  ///< of the last macroblock's columns that do
  std::vector<double> quantisers;  ///< row by row; 0 = no slice there is intact
  std::vector<double> bytes;       ///< row by row

  std::size_t Count() const { return columns.size() * rows; }
};

/// Empty where nothing of the frame could be taken apart.
SliceGrid LayOutSlices(const FrameStructure& frame);

}  // namespace vixprores

#endif  // TOOL_FRAMES_SLICEGRID_H
