// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_FRAMES_FRAMELABELS_H
#define TOOL_FRAMES_FRAMELABELS_H

/// @file
/// Corrects the labels of encoded frames without touching their slices.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "base/FramePool.h"
#include "format/StreamFormat.h"
#include "frames/FrameHeaders.h"

namespace vixprores {

/// Labels to correct; nullopt = kept as they are.
struct FrameLabels {
  std::optional<int> primaries, transfer, matrix;
  std::optional<Rational> sampleAspect;
  std::optional<FieldOrder> fields;  ///< of interlaced streams: top or bottom field first

  /// Returns true if the headers of frames are to be changed.
  bool ChangeHeaders() const { return primaries || transfer || matrix || sampleAspect || fields; }
  /// Returns the stream with these labels.
  StreamFormat Correct(StreamFormat stream) const;
};

/// Bytes from the start of a frame that hold all labels of its header.
inline constexpr std::size_t kLabelledBytes = 25;

/// Writes the labels other than the field order into the first bytes of a frame, in place.
/// @param stream with these labels; its size decides on the code of the aspect
/// @param frame  at least kLabelledBytes bytes, with a valid header
void WriteLabels(const FrameLabels& labels, const StreamFormat& stream,
                 std::span<std::uint8_t> frame);

/// Returns an interlaced frame with the requested field order: each of its two pictures keeps its
/// lines, so the pictures change places. Returns the same frame if it is progressive or has that
/// order already, and null if its pictures cannot be found.
std::shared_ptr<vix::IBuffer> SetFieldOrder(FieldOrder order, std::shared_ptr<vix::IBuffer> frame,
                                            const ParsedHeader& header, const FramePool& pool);

}  // namespace vixprores

#endif  // TOOL_FRAMES_FRAMELABELS_H
