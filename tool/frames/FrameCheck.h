// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_FRAMES_FRAMECHECK_H
#define TOOL_FRAMES_FRAMECHECK_H

/// @file
/// Detects damage of a frame from its own bytes.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "bitstream/SliceLayout.h"
#include "frames/FrameHeaders.h"

namespace vixprores {

/// Damaged slices of a frame that can be decoded, by what decoders do with them.
struct SliceDamage {
  std::uint32_t colours = 0;  ///< concealed from their neighbours; their alpha may be opaque
  std::uint32_t alpha = 0;    ///< others, whose colours are intact: made opaque

  bool IsNone() const { return colours == 0 && alpha == 0; }
  /// Returns text like "2 damaged slices and 1 slice with damaged alpha"; empty if there is none.
  std::string Describe() const;
};

/// A slice whose header, codewords or alpha do not fit its bytes; decoders conceal it.
struct DamagedSlice {
  unsigned picture = 0;      ///< 0, or 1 = the second field
  std::uint32_t row = 0;     ///< macroblock row in its picture
  std::uint32_t index = 0;   ///< in that row, from the left
  std::size_t offset = 0;    ///< from the first byte of the frame
  prores::SliceSpan span{};  ///< macroblocks in that row
  bool hasColours = false;   ///< only its alpha is damaged
};

/// Faults of a frame.
struct FrameCheck {
  /// Each continues "frame N: ". Callers add faults known from elsewhere, such as a wrong checksum.
  std::vector<std::string> faults;
  /// The slices that the codec library conceals, if it decodes the frame at all, with its alpha.
  std::vector<DamagedSlice> slices;

  bool IsIntact() const { return faults.empty() && slices.empty(); }
  SliceDamage CountSlices() const;
  /// Adds the findings of another check of the same frame.
  void Add(FrameCheck other);
  /// Returns the faults and the number of damaged slices in words; empty if the frame is intact.
  std::string Describe() const;
};

/// Checks headers, sizes and slices, and decodes every codeword and the alpha. Accepts any bytes,
/// on any thread.
/// @param header from ParseHeader()
FrameCheck CheckFrame(std::span<const std::uint8_t> frame,
                      const std::optional<ParsedHeader>& header);
inline FrameCheck CheckFrame(std::span<const std::uint8_t> frame) {
  return CheckFrame(frame, ParseHeader(frame));
}

/// Returns whether all bytes are zero, as padding between the parts of a frame is.
bool IsPadding(std::span<const std::uint8_t> bytes);

}  // namespace vixprores

#endif  // TOOL_FRAMES_FRAMECHECK_H
