// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_FORMAT_DEEPPICTURE_H
#define TOOL_FORMAT_DEEPPICTURE_H

/// @file
/// Packed "Y416" pictures, which have no gaps between rows, to and from planes of 4:4:4, and from
/// the packed formats of 4:2:2.
///
/// Planes follow each other: Y, Cb, Cr. Samples of 8 bits are bytes, others take two, the lower
/// byte first.

#include <cstdint>
#include <span>

#include "format/StreamFormat.h"

namespace vixprores {

/// A pixel of "Y416" in memory.
struct DeepPixel {
  std::uint16_t alpha, y, cb, cr;
};
static_assert(sizeof(DeepPixel) == 8);

/// Packs planes into an opaque picture.
/// @param bits depth of the planes, 8 to 16; samples are shifted up to 16 bits
void PackDeepPicture(unsigned bits, std::span<const std::uint8_t> planar,
                     std::span<std::uint8_t> packed);

/// Unpacks a picture, without its alpha, into planes of 12 bits. Rounds as the codec does.
void UnpackDeepPicture(std::span<const std::uint8_t> packed, std::span<std::uint8_t> planar);

/// Unpacks the alpha of a picture.
void UnpackAlpha(std::span<const std::uint8_t> packed, std::span<std::uint16_t> alpha);

/// Converts a packed 4:2:2 picture to an opaque "Y416" picture of the same size. Doubles chroma as
/// the codec's decoder does: even samples are copied, odd ones interpolated with the filter
/// [-1 9 9 -1] / 16. Samples are shifted up to 16 bits.
void DeepenPicture(const StreamFormat& format, std::span<const std::uint8_t> packed,
                   std::span<std::uint8_t> deep);

/// Converts a "b64A" picture to a "Y416" picture of the same size, as the codec's encoder does.
void ConvertRgbPicture(const vix::RgbMatrix& matrix, std::span<const std::uint8_t> packed,
                       std::span<std::uint8_t> deep);

}  // namespace vixprores

#endif  // TOOL_FORMAT_DEEPPICTURE_H
