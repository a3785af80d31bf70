// SPDX-License-Identifier: BSD-2-Clause
#ifndef CODEC_BITSTREAM_COEFFICIENTDECODER_H
#define CODEC_BITSTREAM_COEFFICIENTDECODER_H

#include <cstdint>
#include <span>

namespace prores {

/// Decodes the quantised coefficients of one component of a slice (RDD 36, coefficient coding).
/// @param data         the coded component. Any number of zero bits may follow the last codeword.
/// @param blocks       number of blocks N, a power of two from 2 to 32.
/// @param coefficients 64 * N values, zero on entry; receive the coefficients in coded order, that
///                     is at scan position * N + block.
/// @return the number of scan positions up to the last that a coefficient is coded for, 1 to 64:
/// all
///         behind are zero. 0 when the data is damaged: cut off, longer than the blocks, or with a
///         value outside 16 bits (a legal product of value, weight and scale fits 16 bits). The
///         coefficients are then unspecified.
[[nodiscard]] std::uint32_t DecodeCoefficients(std::span<const std::uint8_t> data,
                                               std::uint32_t blocks, std::int16_t* coefficients);

/// Scan positions that the first `coefficients` coefficients in coded order touch.
constexpr std::uint32_t ScanPositions(std::uint32_t coefficients, std::uint32_t blocks) {
  return (coefficients + blocks - 1) / blocks;
}

/// A component of a slice that is to be decoded.
struct CodedComponent {
  std::span<const std::uint8_t> data;
  std::uint32_t blocks;        ///< as for DecodeCoefficients()
  std::int16_t* coefficients;  ///< likewise, with room for kCoefficientSlack values behind them

  // Results:
  bool intact = false;          ///< whether the data is undamaged
  std::uint32_t positions = 0;  ///< the answer of DecodeCoefficients()
};

/// Values behind the coefficients of a component that a decoder may overwrite: it writes several at
/// a time, and may find out late that the data is damaged. The number keeps the coefficients
/// aligned for vectors; that it is enough is a matter of the DecodingTable().
inline constexpr std::uint32_t kCoefficientSlack = 224;

/// Decodes components that stand in different memory and do not depend on each other.
void DecodeComponents(std::span<CodedComponent> components);

}  // namespace prores

#endif  // CODEC_BITSTREAM_COEFFICIENTDECODER_H
