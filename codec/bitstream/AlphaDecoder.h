// SPDX-License-Identifier: BSD-2-Clause
#ifndef CODEC_BITSTREAM_ALPHADECODER_H
#define CODEC_BITSTREAM_ALPHADECODER_H

#include <cstdint>
#include <span>

#include "bitstream/FrameHeader.h"

namespace prores {

/// Decodes the alpha samples of a slice.
/// @param data    the coded samples. Whatever follows the last sample is ignored.
/// @param type    not kNone.
/// @param samples receives the samples in raster order, 65535 = opaque. Samples of 8 bits are
///                multiplied by 257.
/// @return false if `data` ends before the last sample. The samples are then unspecified.
[[nodiscard]] bool DecodeAlpha(std::span<const std::uint8_t> data, AlphaType type,
                               std::span<std::uint16_t> samples);

}  // namespace prores

#endif  // CODEC_BITSTREAM_ALPHADECODER_H
