// SPDX-License-Identifier: BSD-2-Clause
#ifndef CODEC_BITSTREAM_COEFFICIENTDECODER_H
#define CODEC_BITSTREAM_COEFFICIENTDECODER_H

#include <cstdint>
#include <span>

namespace prores {

/// Decodes the quantised coefficients of one component of a slice (RDD 36, coefficient coding).
/// @param data         the coded component. Any number of zero bits may follow the last codeword.
/// @param blocks       number of blocks N, a power of two from 2 to 32.
/// @param coefficients 64 * N values, zero on entry; receive the coefficients in coded order: scan
///                     position * N + block.
/// @return the number of scan positions up to the last coded coefficient, 1 to 64; coefficients at
///         all further positions are zero. 0 for damaged data: truncated, longer than the blocks,
///         or with a value outside 16 bits (a legal product of value, weight and scale fits 16
///         bits). The coefficients are then unspecified.
[[nodiscard]] std::uint32_t DecodeCoefficients(std::span<const std::uint8_t> data,
                                               std::uint32_t blocks, std::int16_t* coefficients);

/// Returns the scan positions that the first `coefficients` coefficients in coded order touch.
constexpr std::uint32_t ScanPositions(std::uint32_t coefficients, std::uint32_t blocks) {
  return (coefficients + blocks - 1) / blocks;
}

}  // namespace prores

#endif  // CODEC_BITSTREAM_COEFFICIENTDECODER_H
