// SPDX-License-Identifier: BSD-2-Clause
#ifndef CODEC_ENCODE_COEFFICIENTENCODER_H
#define CODEC_ENCODE_COEFFICIENTENCODER_H

#include <cstddef>
#include <cstdint>
#include <span>

/**
 * @file
 * Entropy coding of the quantised coefficients of one component of a slice (RDD 36, scanned
 * coefficients syntax).
 *
 * Levels are in coded order, scan position x number of blocks + block: first the DC levels of all
 * blocks, then all AC levels. The number of blocks is 2, 4, 8, 16 or 32; the number of levels
 * is 64 times that. Magnitudes are at most 8192.
 */

namespace prores {

/// Returns the exact number of bytes that WriteCoefficients() produces.
std::size_t CountCoefficientBytes(std::span<const std::int16_t> levels);

/// Writes the component, padded to a whole byte with zero bits.
/// @return false when the bytes do not fill `destination` exactly; nothing is written outside it.
[[nodiscard]] bool WriteCoefficients(std::span<const std::int16_t> levels,
                                     std::span<std::uint8_t> destination);

}  // namespace prores

#endif  // CODEC_ENCODE_COEFFICIENTENCODER_H
