// SPDX-License-Identifier: BSD-2-Clause
#ifndef CODEC_ENCODE_COMPONENTENCODER_H
#define CODEC_ENCODE_COMPONENTENCODER_H

#include <cstddef>
#include <cstdint>
#include <span>

#include "cpu/CpuLevel.h"
#include "encode/Quantiser.h"
#include "encode/SparseComponent.h"

/**
 * @file
 * Quantisation (encode/Quantiser.h) and entropy coding (encode/CoefficientEncoder.h) of one
 * component of a slice.
 *
 * Coefficients are those of ForwardTransform(), of magnitudes up to kMaxCoefficient. Coefficients
 * that the component leaves out count as zero.
 */

namespace prores {

/// Most bytes of a component: each coefficient takes at most a run of 23 bits, a level of 29 and a
/// sign, seven bytes.
inline constexpr std::size_t kMaxComponentBytes = kMaxSliceBlocks * kBlockSamples * 7;
static_assert(kMaxComponentBytes < 1 << 16);

/// Returns the exact number of bytes that WriteComponent() produces.
std::size_t CountComponentBytes(const Quantiser& quantiser, const SparseComponent& component);

/// Writes the component, padded to a whole byte with zero bits.
/// @return false when the bytes do not fill `destination` exactly; nothing is written outside it.
[[nodiscard]] bool WriteComponent(const Quantiser& quantiser, const SparseComponent& component,
                                  std::span<std::uint8_t> destination);

/// Return the fastest forms of these functions for `level`.
decltype(&CountComponentBytes) CountComponentBytesFor(CpuLevel level);
decltype(&WriteComponent) WriteComponentFor(CpuLevel level);

}  // namespace prores

#endif  // CODEC_ENCODE_COMPONENTENCODER_H
