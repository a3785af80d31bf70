// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_FORMAT_PLANARPICTURE_H
#define TOOL_FORMAT_PLANARPICTURE_H

/// @file
/// Planar 4:2:2 pictures as Y4M streams hold them, to and from the packed formats of the elements.
///
/// A planar picture is the Y plane, then Cb, then Cr, rows without gaps; a chroma row has half the
/// width, rounded up. "UYVY" goes with samples of one byte, "V210" with samples of 10 bits in two
/// bytes, the lower one first.

#include <cstdint>
#include <span>

#include "format/StreamFormat.h"

namespace vixprores {

/// Bytes of a planar picture of that format. Refuses, with a Failure, more than a buffer holds.
std::uint32_t PlanarBytes(const StreamFormat& format);

/// Packs a planar picture of PlanarBytes() bytes into one of `format.FrameBytes()` bytes. Where a
/// row ends inside a group the last pixel is repeated in it; the padding behind is zero.
void PackPicture(const StreamFormat& format, std::span<const std::uint8_t> planar,
                 std::span<std::uint8_t> packed);

/// The reverse of PackPicture(); padding is not looked at.
void UnpackPicture(const StreamFormat& format, std::span<const std::uint8_t> packed,
                   std::span<std::uint8_t> planar);

}  // namespace vixprores

#endif  // TOOL_FORMAT_PLANARPICTURE_H
