// SPDX-License-Identifier: BSD-2-Clause
#ifndef CODEC_ENCODE_RATE_FRAMETARGET_H
#define CODEC_ENCODE_RATE_FRAMETARGET_H

#include <cstdint>

#include "Status.h"
#include "bitstream/FrameHeader.h"
#include "encode/rate/Variant.h"

/**
 * @file
 * Target and largest size of compressed frames. All sizes are bytes of a whole frame.
 */

namespace prores {

/// log2 of the slice width that the encoder uses, in macroblocks.
inline constexpr unsigned kLog2SliceWidth = 3;

/// Checks whether the encoder supports frames of that size.
/// @return kBadArgument for a side outside 2..65535, kUnsupported where MaxFrameBytes() exceeds 32
///         bits.
Status CheckFrameSize(const VariantProfile& profile, std::uint32_t width, std::uint32_t height);

/// Returns the bytes of everything except the slices' payload: container and frame header, and for
/// each picture its header, slice table and slice headers.
std::uint64_t OverheadBytes(const FrameHeader& header);

/// Returns the largest overhead of a variant's frames with any factors of the weights.
std::uint64_t LargestOverheadBytes(const VariantProfile& profile, std::uint32_t width,
                                   std::uint32_t height, InterlaceMode mode);

/**
 * Returns the size that the encoder aims at, without alpha; simple pictures fall short of it.
 *
 * At sizes with published target rates it is the least of rate / 8 / frames per second over the
 * listed frame rates, because the encoder does not know the frame rate. Sizes between them are
 * interpolated linearly by their number of macroblocks; smaller and larger sizes keep the bytes per
 * macroblock of the nearest one. A frame of few macroblocks gets at least its overhead and two
 * bytes per block. More macroblocks never mean a smaller target.
 */
std::uint64_t TargetFrameBytes(const VariantProfile& profile, std::uint32_t width,
                               std::uint32_t height);

/**
 * Returns the size that no frame exceeds: the target, or the overhead and 32 bytes per block if
 * that is more; and for variants of 4:4:4 the most that alpha may add.
 *
 * A frame above its target is on the coarsest rung everywhere: quantisation index 224, and with
 * weights of 4 or more a step t of at least 2048. In the unit of the coefficients, samples within
 * 512 of mid grey give a block the energy 64 x (4 x 512)^2 <= 64 t^2 at most (Parseval).
 * - A level L takes a coefficient of at least |L| - 1/2 steps. So the levels of a block satisfy
 *   sum (|L| - 1/2)^2 <= 64 over those that are not zero.
 * - The bits of a run, a level and its sign depend on these and on the codes that the previous run
 *   and level select. At a price of 2.9 bits per position and 0.5 bits per (|L| - 1/2)^2, no
 * sequence of triples costs more than its price: the graph of the pairs of codes has no walk with a
 * gain. (The tests of the frame target verify this.)
 * - So the 63 AC levels of a block take at most 2.9 x 63 + 0.5 x 64 < 215 bits on average over a
 *   component, its DC level 11 bits, and the filling of the last byte less than 8 per component, of
 *   two blocks or more: 230 bits, below 32 bytes.
 * In the same way (t = 2, with half the weights; prices 18.4 and 0.0000025) a block takes at
 * most 172 bytes with the finest quantiser, so the sizes of slices of 8 macroblocks fit 16 bits,
 * with the at most 4608 bytes of their alpha.
 */
std::uint64_t MaxFrameBytes(const VariantProfile& profile, std::uint32_t width,
                            std::uint32_t height);

}  // namespace prores

#endif  // CODEC_ENCODE_RATE_FRAMETARGET_H
