// SPDX-License-Identifier: BSD-2-Clause
#ifndef CODEC_ENTROPY_COMPONENTENCODER_H
#define CODEC_ENTROPY_COMPONENTENCODER_H

#include <cstddef>
#include <cstdint>
#include <span>

#include "entropy/SparseComponent.h"
#include "transform/Quantise.h"

/**
 * @file
 * From the coefficients of one component of a slice to its coded bytes: quantisation
 * (transform/Quantise.h) and entropy coding (entropy/CoefficientEncoder.h) in one go.
 *
 * Coefficients are those of the forward transform, of magnitudes up to kMaxCoefficient. Those that
 * the component leaves out count as zero.
 */

namespace prores {

/// Exact number of bytes that WriteComponent() produces.
std::size_t CountComponentBytes(const Quantiser& quantiser, const SparseComponent& component);

/// Writes the component, filled up to a whole byte with zero bits.
/// @return false when the bytes do not fill `destination` exactly; nothing is written outside it.
[[nodiscard]] bool WriteComponent(const Quantiser& quantiser, const SparseComponent& component,
                                  std::span<std::uint8_t> destination);

}  // namespace prores

#endif  // CODEC_ENTROPY_COMPONENTENCODER_H
