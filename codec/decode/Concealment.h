// SPDX-License-Identifier: BSD-2-Clause
#ifndef CODEC_DECODE_CONCEALMENT_H
#define CODEC_DECODE_CONCEALMENT_H

#include <cstddef>
#include <cstdint>
#include <span>

#include "ProRes/ProRes.h"
#include "decode/InverseTransform.h"
#include "decode/Strip.h"

/// @file
/// Fills the holes that damaged slices leave: from the neighbours in the same strip where there are
/// any, else from the nearest strip.

namespace prores {

/// Fills one component of the damaged slices of a strip. A hole repeats the column to its left;
/// holes at the left end repeat the first column to their right; a strip without an intact slice
/// becomes `midGrey`.
/// @param slices             all slices of the strip, from left to right.
/// @param macroblockColumns  columns of the component in a macroblock.
/// @param area               the component's samples of the whole strip.
void ConcealSlices(std::span<const DecodedSlice> slices, std::size_t macroblockColumns,
                   std::uint16_t midGrey, const SampleArea& area);

/// Replaces the rows of strips without an intact slice by the nearest row of an intact strip: one
/// of the same picture if there is any, because the other field shows another moment. A frame
/// without an intact slice stays as it is.
/// @param strips             of the first picture, then of the second.
/// @param firstPictureStrips strips of the first picture.
/// @param destination        the packed picture.
void ConcealLostStrips(std::span<const Strip> strips, std::size_t firstPictureStrips,
                       const PixelBufferRecord& destination);

}  // namespace prores

#endif  // CODEC_DECODE_CONCEALMENT_H
