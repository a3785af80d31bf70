// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_FRAMES_FRAMESTRUCTURE_H
#define TOOL_FRAMES_FRAMESTRUCTURE_H

/// @file
/// What a ProRes frame is made of: headers, pictures and slices, without decoding any of them.

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "bitstream/FrameHeader.h"
#include "bitstream/PictureGeometry.h"
#include "bitstream/PictureHeader.h"
#include "bitstream/SliceHeader.h"
#include "bitstream/SliceLayout.h"

namespace vixprores {

/// One slice. Borrows the bytes of the frame.
struct SliceStructure {
  std::uint32_t row = 0;                ///< macroblock row in its picture
  std::uint32_t index = 0;              ///< in that row, from the left
  prores::SliceSpan span{};             ///< macroblocks in that row
  std::size_t offset = 0;               ///< from the first byte of the frame
  std::span<const std::uint8_t> bytes;  ///< header and components
  bool intact = false;                  ///< header and components fit the bytes
  prores::SliceHeader header{};         ///< of an intact one
};

/// One picture: a progressive frame or a field.
struct PictureStructure {
  std::size_t offset = 0;  ///< of its header, from the first byte of the frame
  prores::PictureHeader header;
  prores::PictureGeometry geometry{};
  std::uint32_t rows = 0;  ///< macroblock rows that are coded
  std::uint32_t slicesPerRow = 0;
  std::vector<SliceStructure> slices;  ///< row by row from the left
};

/// One frame with its prefix. Borrows its bytes.
struct FrameStructure {
  /// Why the frame cannot be taken apart any further; empty when it could be, to its end. What was
  /// found before stands in the other members.
  std::string fault;
  bool hasHeader = false;         ///< the frame header could be read
  std::uint32_t statedBytes = 0;  ///< frame_size
  prores::FrameHeader header;
  std::size_t headerBytes = 0;  ///< prefix and frame header
  std::vector<PictureStructure> pictures;

  /// Slices whose headers do not fit them.
  std::size_t CountDamagedSlices() const;
};

/// Takes a frame apart. Whatever the bytes are, nothing outside them is read.
FrameStructure ReadFrameStructure(std::span<const std::uint8_t> frame);

}  // namespace vixprores

#endif  // TOOL_FRAMES_FRAMESTRUCTURE_H
