// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_FRAMES_FRAMESTATISTICS_H
#define TOOL_FRAMES_FRAMESTATISTICS_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "frames/FrameStructure.h"
#include "frames/Spread.h"

namespace vixprores {

/// One slice of a frame, whose bytes are not needed any more.
struct SliceStatistics {
  std::uint32_t picture = 0;  ///< 0, or 1 for the second field
  std::uint32_t row = 0;      ///< macroblock row in its picture
  std::uint32_t index = 0;    ///< in that row, from the left
  prores::SliceSpan span{};   ///< macroblocks in that row
  std::size_t offset = 0;     ///< from the first byte of the frame
  std::size_t bytes = 0;
  bool intact = false;
  prores::SliceHeader header{};  ///< of an intact one
};

/// What one frame spends its bytes on.
struct FrameStatistics {
  std::int64_t number = 0;             ///< in the stream, from 0
  std::optional<std::int64_t> offset;  ///< in the file, in bytes; none = unknown
  std::int64_t count = 1;              ///< of frames, of which more are missing for one reason
  bool isThere = true;                 ///< it could be read
  std::size_t bytes = 0;
  std::string fault;  ///< why it cannot be taken apart as a whole; empty when it can
  std::size_t slices = 0;
  Spread quantisers;  ///< quantization indices of the slices that are intact
  std::array<std::size_t, 3> componentBytes{};  ///< Y, Cb, Cr
  std::size_t alphaBytes = 0;                   ///< all that stands behind Cr in the slices
  std::vector<SliceStatistics> sliceList;       ///< only where it is asked for
};

/// The slices of a frame, picture by picture and row by row from the left.
std::vector<SliceStatistics> ListSlices(const FrameStructure& structure);

/// Sums up a frame that was taken apart. Number, offset and list of slices are left to the caller.
/// @param frame the bytes that `structure` borrows
FrameStatistics MeasureFrame(const FrameStructure& structure, std::span<const std::uint8_t> frame);

}  // namespace vixprores

#endif  // TOOL_FRAMES_FRAMESTATISTICS_H
