// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_FRAMES_FRAMECHECK_H
#define TOOL_FRAMES_FRAMECHECK_H

/// @file
/// Whether a frame is what an encoder wrote, as far as the frame itself can tell.

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace vixprores {

/// A slice whose header or codewords do not fit it; decoders conceal it.
struct DamagedSlice {
  unsigned picture = 0;     ///< 0, or 1 = the second field
  std::uint32_t row = 0;    ///< macroblock row in its picture
  std::uint32_t index = 0;  ///< in that row, from the left
  std::size_t offset = 0;   ///< from the first byte of the frame
};

/// What is wrong with a frame.
struct FrameCheck {
  /// Each a few words to go behind the frame's number. Whoever knows more of the frame, such as its
  /// checksum, adds to them.
  std::vector<std::string> faults;
  /// As many as the codec library conceals, where it decodes the frame at all.
  std::vector<DamagedSlice> slices;

  bool IsIntact() const { return faults.empty() && slices.empty(); }
  /// What another check of the same frame has found is added.
  void Add(FrameCheck other);
  /// The faults, and how many slices are damaged; empty for an intact frame.
  std::string Describe() const;
};

/// Checks headers, sizes and slices, and reads every codeword. Whatever the bytes are, nothing
/// outside them is read. May be called from any thread.
FrameCheck CheckFrame(std::span<const std::uint8_t> frame);

/// True where all bytes are zero, as those between the parts of a frame are.
bool IsPadding(std::span<const std::uint8_t> bytes);

}  // namespace vixprores

#endif  // TOOL_FRAMES_FRAMECHECK_H
