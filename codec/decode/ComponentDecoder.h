// SPDX-License-Identifier: BSD-2-Clause
#ifndef CODEC_DECODE_COMPONENTDECODER_H
#define CODEC_DECODE_COMPONENTDECODER_H

#include <cstdint>
#include <span>

#include "cpu/CpuLevel.h"

namespace prores {

/// Values after the coefficients of a component that a decoder may overwrite: it writes several at
/// a time, and may detect damage late. A multiple of the vector size, so that components that
/// follow each other stay aligned. The tests of DecodingTable() verify that it is enough.
inline constexpr std::uint32_t kCoefficientSlack = 224;

/// A component of a slice to decode.
struct CodedComponent {
  std::span<const std::uint8_t> data;
  std::uint32_t blocks;        ///< as for DecodeCoefficients()
  std::int16_t* coefficients;  ///< likewise, with kCoefficientSlack writable values after them

  // Results:
  bool intact = false;          ///< whether the data is undamaged
  std::uint32_t positions = 0;  ///< result of DecodeCoefficients()
};

/// Decodes independent components, whose coefficients do not overlap.
void DecodeComponents(std::span<CodedComponent> components);

/// Returns the fastest form of DecodeComponents() for `level`. SIMD forms decode several components
/// alternately.
decltype(&DecodeComponents) DecodeComponentsFor(CpuLevel level);

}  // namespace prores

#endif  // CODEC_DECODE_COMPONENTDECODER_H
