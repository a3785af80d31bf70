// SPDX-License-Identifier: BSD-2-Clause
#ifndef CODEC_ENCODE_RATE_VARIANT_H
#define CODEC_ENCODE_RATE_VARIANT_H

#include <cstddef>
#include <cstdint>

#include "bitstream/FrameHeader.h"
#include "encode/rate/QuantiserLadder.h"

/**
 * @file
 * The variants of the codec. They differ in chroma format, target size and quantisation weights.
 */

namespace prores {

/// Variants in the order of their rates.
enum class Variant : std::uint8_t { kProxy, kLT, kStandard, kHQ, k4444, kXQ };
inline constexpr std::size_t kVariantCount = 6;

struct VariantProfile {
  std::uint32_t codecType;  ///< the WPRCodecType
  Variant variant;
  ChromaFormat chroma;
  bool mayHalveWeights;  ///< whether frames have them halved that would leave bytes unused
  struct Weights {
    const QuantMatrix& luma;
    const QuantMatrix& chroma;
  };
  Weights frame;  ///< weights of progressive frames
  Weights field;  ///< weights of interlaced frames
};

/// Returns the header of a frame of that variant, without alpha.
FrameHeader HeaderOf(const VariantProfile& profile, std::uint32_t width, std::uint32_t height,
                     InterlaceMode mode, const WeightFactors& factors);

/// Returns the profile with that code, or null.
const VariantProfile* FindVariant(std::uint32_t codecType);

}  // namespace prores

#endif  // CODEC_ENCODE_RATE_VARIANT_H
