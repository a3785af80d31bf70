// SPDX-License-Identifier: BSD-2-Clause
#ifndef CODEC_RATE_FRAMETARGET_H
#define CODEC_RATE_FRAMETARGET_H

#include <cstdint>

#include "Status.h"
#include "bitstream/FrameHeader.h"
#include "rate/Variant.h"

/**
 * @file
 * How large compressed frames are meant to be and can be. All sizes are bytes of a whole frame.
 */

namespace prores {

/// log2 of the slice width that the encoder uses, in macroblocks.
inline constexpr unsigned kLog2SliceWidth = 3;

/// Whether the encoder takes frames of that size: kBadArgument for a side outside 2..65535,
/// kUnsupported where MaxFrameBytes() exceeds 32 bits.
Status CheckFrameSize(const VariantProfile& profile, std::uint32_t width, std::uint32_t height);

/// Everything but the slices' payload: container and frame header, and for each picture its header,
/// slice table and slice headers.
std::uint64_t OverheadBytes(const FrameHeader& header);

/// The most that it can be for the frames of a variant, whatever their weights are multiplied by.
std::uint64_t LargestOverheadBytes(const VariantProfile& profile, std::uint32_t width,
                                   std::uint32_t height, InterlaceMode mode);

/**
 * Size that a frame is given if it needs its bytes.
 *
 * At the sizes with published target rates it is the least of rate / 8 / frames per second over
 * the frame rates listed, for the encoder does not know the frame rate. Sizes between them are
 * interpolated linearly by their number of macroblocks; smaller and larger sizes keep the bytes per
 * macroblock of the nearest one. A frame of few macroblocks gets at least its overhead and two
 * bytes per block. More macroblocks never mean a smaller target.
 */
std::uint64_t TargetFrameBytes(const VariantProfile& profile, std::uint32_t width,
                               std::uint32_t height);

/**
 * Size that no frame exceeds: the target, or the overhead and 32 bytes per block if that is more.
 *
 * A frame above its target is on the coarsest rung everywhere: quantisation index 224, and with
 * weights of 4 or more a step t of at least 2048. In the unit of the coefficients, samples within
 * 512 of mid grey give a block the energy 64 x (4 x 512)^2 <= 64 t^2 at most (Parseval).
 * - A level L takes a coefficient of at least |L| - 1/2 steps. So the levels of a block satisfy
 *   sum (|L| - 1/2)^2 <= 64 over those that are not zero.
 * - The bits of a run, a level and its sign depend on these and on the codes that the run and the
 *   level before them select. At the price of 2.9 bits per position passed and 0.5 bits per
 *   (|L| - 1/2)^2, no sequence of triples costs more than its price: the graph of the pairs of
 *   codes has no gaining walk. (The tests of the frame target walk it.)
 * - So the 63 AC levels of a block take at most 2.9 x 63 + 0.5 x 64 < 215 bits on average over a
 *   component, its DC level 11 bits, and the filling of the last byte less than 8 per component, of
 *   two blocks or more: 230 bits, below 32 bytes.
 * In the same way (t = 3, with lower weights of chroma; prices 18.1 and 0.000004) a block takes at
 * most 170 bytes on the finest rung, so the sizes of slices of 8 macroblocks fit 16 bits.
 */
std::uint64_t MaxFrameBytes(const VariantProfile& profile, std::uint32_t width,
                            std::uint32_t height);

}  // namespace prores

#endif  // CODEC_RATE_FRAMETARGET_H
