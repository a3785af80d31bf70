// SPDX-License-Identifier: BSD-2-Clause
#ifndef CODEC_ENCODE_ALPHAENCODER_H
#define CODEC_ENCODE_ALPHAENCODER_H

#include <cstddef>
#include <cstdint>
#include <span>

#include "bitstream/FrameHeader.h"

namespace prores {

/// Codes the alpha samples of a slice.
/// @param samples     samples in raster order, 65535 = opaque; at least one.
/// @param type        not kNone. k8Bit codes the nearest multiples of 257; k16Bit is lossless.
/// @param destination room for MostAlphaBytes().
/// @return the bytes written. The last one is filled with zero bits.
std::size_t EncodeAlpha(std::span<const std::uint16_t> samples, AlphaType type,
                        std::span<std::uint8_t> destination);

}  // namespace prores

#endif  // CODEC_ENCODE_ALPHAENCODER_H
