// SPDX-License-Identifier: BSD-2-Clause
#ifndef CODEC_RATE_VARIANT_H
#define CODEC_RATE_VARIANT_H

#include <cstddef>
#include <cstdint>

#include "bitstream/FrameHeader.h"
#include "rate/QuantiserLadder.h"

/**
 * @file
 * What tells the variants of the codec apart: the stream is the same for all, they differ in size
 * and in how the size is spent.
 */

namespace prores {

/// In the order of their rates.
enum class Variant : std::uint8_t { kProxy, kLT, kStandard, kHQ };
inline constexpr std::size_t kVariantCount = 4;

struct VariantProfile {
  std::uint32_t codecType;  ///< the WPRCodecType
  Variant variant;
  struct Weights {
    const QuantMatrix& luma;
    const QuantMatrix& chroma;
  };
  Weights frame;  ///< of progressive frames
  Weights field;  ///< of interlaced ones
};

/// The header of a frame of that variant.
FrameHeader HeaderOf(const VariantProfile& profile, std::uint32_t width, std::uint32_t height,
                     InterlaceMode mode, const WeightFactors& factors);

/// The profile with that code, or null if there is none.
const VariantProfile* FindVariant(std::uint32_t codecType);

}  // namespace prores

#endif  // CODEC_RATE_VARIANT_H
