// SPDX-License-Identifier: BSD-2-Clause
#include "frames/SliceGrid.h"

#include <algorithm>

namespace vixprores {
namespace {

// The share of the last of `count` units of `size` that `length` reaches into.
double ShareOfLast(std::uint32_t length, std::uint32_t count, std::uint32_t size) {
  const double rest = length - (count - 1.0) * size;
  return std::clamp(rest / size, 0.0, 1.0);
}

}  // namespace

SliceGrid LayOutSlices(const FrameStructure& frame) {
  SliceGrid grid;
  if (frame.pictures.empty() || frame.pictures.front().slices.empty()) return grid;
  const PictureStructure& first = frame.pictures.front();
  for (std::uint32_t i = 0; i < first.slicesPerRow; ++i) {
    grid.columns.push_back(first.slices[i].span);
  }
  grid.macroblocks = grid.columns.back().firstMacroblock + grid.columns.back().macroblocks;
  for (const PictureStructure& picture : frame.pictures) {
    grid.rows = std::max(grid.rows, picture.geometry.MacroblockRows());
  }
  grid.rowLines = prores::kMacroblockSize * first.geometry.lineStep;
  grid.lastRowShare = ShareOfLast(frame.header.height, grid.rows, grid.rowLines);
  grid.lastMacroblockShare =
      ShareOfLast(frame.header.width, grid.macroblocks, prores::kMacroblockSize);
  grid.quantisers.resize(grid.Count());
  grid.bytes.resize(grid.Count());
  std::vector<unsigned> intact(grid.Count());
  for (const PictureStructure& picture : frame.pictures) {
    for (const SliceStructure& slice : picture.slices) {
      const std::size_t at = slice.row * grid.columns.size() + slice.index;
      if (at >= grid.Count()) continue;  // rows that are coded without being shown
      grid.bytes[at] += static_cast<double>(slice.bytes.size());
      if (!slice.intact) continue;
      grid.quantisers[at] += slice.header.quantizationIndex;
      ++intact[at];
    }
  }
  for (std::size_t i = 0; i < grid.Count(); ++i) {
    if (intact[i] > 0) grid.quantisers[i] /= intact[i];
  }
  return grid;
}

}  // namespace vixprores
