// SPDX-License-Identifier: BSD-2-Clause
#ifndef CODEC_ENTROPY_COMPONENTENCODER_H
#define CODEC_ENTROPY_COMPONENTENCODER_H

#include <cstddef>
#include <cstdint>
#include <span>

#include "transform/Quantise.h"

/**
 * @file
 * From the coefficients of one component of a slice to its coded bytes: quantisation
 * (transform/Quantise.h) and entropy coding (entropy/CoefficientEncoder.h) in one go.
 *
 * Coefficients stand in coded order, as the forward transform leaves them, of magnitudes up to
 * kMaxCoefficient; 64 for each of 2, 4, 8, 16 or 32 blocks.
 */

namespace prores {

/// Exact number of bytes that WriteComponent() produces.
std::size_t CountComponentBytes(const Quantiser& quantiser,
                                std::span<const std::int16_t> coefficients);

/// Writes the component, filled up to a whole byte with zero bits.
/// @return false when the bytes do not fill `destination` exactly; nothing is written outside it.
[[nodiscard]] bool WriteComponent(const Quantiser& quantiser,
                                  std::span<const std::int16_t> coefficients,
                                  std::span<std::uint8_t> destination);

}  // namespace prores

#endif  // CODEC_ENTROPY_COMPONENTENCODER_H
