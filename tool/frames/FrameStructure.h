// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_FRAMES_FRAMESTRUCTURE_H
#define TOOL_FRAMES_FRAMESTRUCTURE_H

/// @file
/// The structure of a ProRes frame: headers, pictures and slices, without decoding them.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "base/Limits.h"
#include "bitstream/PictureGeometry.h"
#include "bitstream/PictureHeader.h"
#include "bitstream/SliceHeader.h"
#include "bitstream/SliceLayout.h"
#include "frames/FrameHeaders.h"

namespace vixprores {

/// One slice. Borrows the bytes of the frame.
struct SliceStructure {
  std::uint32_t row = 0;                ///< macroblock row in its picture
  std::uint32_t index = 0;              ///< in that row, from the left
  prores::SliceSpan span{};             ///< macroblocks in that row
  std::size_t offset = 0;               ///< from the first byte of the frame
  std::span<const std::uint8_t> bytes;  ///< header and components
  bool intact = false;                  ///< header and component sizes fit the bytes
  prores::SliceHeader header{};         ///< of an intact one
};

/// One picture: a progressive frame or a field.
struct PictureStructure {
  std::size_t offset = 0;  ///< of its header, from the first byte of the frame
  prores::PictureHeader header;
  prores::PictureGeometry geometry{};
  std::uint32_t rows = 0;  ///< coded macroblock rows
  std::uint32_t slicesPerRow = 0;
  std::vector<SliceStructure> slices;  ///< row by row from the left
};

/// One frame with its prefix. Borrows its bytes.
struct FrameStructure {
  /// Why parsing stopped early; empty = it reached the end. The other members hold what was parsed.
  std::string fault;
  bool hasHeader = false;         ///< the frame header is valid
  std::uint32_t statedBytes = 0;  ///< frame_size
  ParsedHeader header;
  std::vector<PictureStructure> pictures;

  /// Returns the number of slices whose headers do not fit their bytes.
  std::size_t CountDamagedSlices() const;
};

/// Parses a frame of any content.
/// @param header from ParseHeader()
FrameStructure ReadFrameStructure(std::span<const std::uint8_t> frame,
                                  const std::optional<ParsedHeader>& header);
inline FrameStructure ReadFrameStructure(std::span<const std::uint8_t> frame) {
  return ReadFrameStructure(frame, ParseHeader(frame));
}

/// The slices of a frame by their place in the picture, both fields in one grid: bytes are added,
/// quantisers averaged. Where the fields are divided differently the columns are the narrower ones,
/// and a wider slice counts in each column that it covers.
struct SliceGrid {
  std::vector<prores::SliceSpan> columns;  ///< of each row, from the left
  std::uint32_t rows = 0;
  std::uint32_t rowLines = 0;      ///< lines of the frame in a row
  std::uint32_t macroblocks = 0;   ///< of each row
  double lastRowShare = 1;         ///< part of the last row's lines that is inside the picture
  double lastMacroblockShare = 1;  ///< part of the last macroblock's columns that is
  std::vector<double> quantisers;  ///< row by row; 0 = no intact slice
  std::vector<double> bytes;       ///< row by row

  std::size_t Count() const { return columns.size() * rows; }
  /// Returns the cells of a slice as indices of `quantisers` and `bytes`; none if its row is coded
  /// but not shown.
  std::vector<std::size_t> FindCells(std::uint32_t row, const prores::SliceSpan& span) const;
};

/// Returns an empty grid if no slice could be located, or if there are more than kMostGridCells.
SliceGrid LayOutSlices(const FrameStructure& frame);

}  // namespace vixprores

#endif  // TOOL_FRAMES_FRAMESTRUCTURE_H
