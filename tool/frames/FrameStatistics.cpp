// SPDX-License-Identifier: BSD-2-Clause
#include "frames/FrameStatistics.h"

namespace vixprores {
namespace {

std::string FindFault(const FrameStructure& structure, std::size_t bytes) {
  if (!structure.fault.empty()) return structure.fault;
  if (structure.statedBytes > bytes) {
    return "states " + std::to_string(structure.statedBytes) + " bytes, of which " +
           std::to_string(bytes) + " are there";
  }
  const std::size_t damaged = structure.CountDamagedSlices();
  if (damaged == 0) return {};
  return std::to_string(damaged) + (damaged == 1 ? " slice" : " slices") +
         " whose header does not fit the bytes";
}

void AddSlice(const SliceStructure& slice, FrameStatistics& frame) {
  ++frame.slices;
  if (!slice.intact) return;
  frame.quantisers.Add(slice.header.quantizationIndex);
  std::size_t known = slice.header.headerBytes;
  for (std::size_t i = 0; i < frame.componentBytes.size(); ++i) {
    frame.componentBytes[i] += slice.header.componentBytes[i];
    known += slice.header.componentBytes[i];
  }
  frame.alphaBytes += slice.bytes.size() - known;
}

}  // namespace

std::vector<SliceStatistics> ListSlices(const FrameStructure& structure) {
  std::vector<SliceStatistics> list;
  for (std::uint32_t i = 0; i < structure.pictures.size(); ++i) {
    for (const SliceStructure& slice : structure.pictures[i].slices) {
      list.push_back({i, slice.row, slice.index, slice.span, slice.offset, slice.bytes.size(),
                      slice.intact, slice.header});
    }
  }
  return list;
}

FrameStatistics MeasureFrame(const FrameStructure& structure, std::span<const std::uint8_t> frame) {
  FrameStatistics statistics;
  statistics.bytes = frame.size();
  statistics.fault = FindFault(structure, frame.size());
  for (const PictureStructure& picture : structure.pictures) {
    for (const SliceStructure& slice : picture.slices) AddSlice(slice, statistics);
  }
  return statistics;
}

}  // namespace vixprores
