// SPDX-License-Identifier: BSD-2-Clause
#ifndef CODEC_BITSTREAM_SLICEHEADER_H
#define CODEC_BITSTREAM_SLICEHEADER_H

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "bitstream/FrameHeader.h"

namespace prores {

/// Finest and coarsest quantization_index.
inline constexpr unsigned kMinQuantizationIndex = 1;
inline constexpr unsigned kMaxQuantizationIndex = 224;

/// qScale of a quantization_index (RDD 36, inverse quantisation): the index itself up to 128, four
/// per step above it. Indices outside 1 to 224 act as the nearest legal one.
constexpr unsigned QuantizerScale(unsigned quantizationIndex) {
  const unsigned index =
      std::clamp(quantizationIndex, kMinQuantizationIndex, kMaxQuantizationIndex);
  return index <= 128 ? index : 128 + 4 * (index - 128);
}

/// Returns the quantization_index of a scale that has one.
constexpr unsigned QuantizationIndex(unsigned scale) {
  return scale <= 128 ? scale : 128 + (scale - 128) / 4;
}

/// Header of a slice: its quantiser and the sizes of its coded components (RDD 36, slice header).
struct SliceHeader {
  /// Bytes without the size of Cr, the least that a header can have, and with it.
  static constexpr std::size_t kLeastBytes = 6;
  static constexpr std::size_t kBytesWithCrSize = 8;

  std::uint8_t headerBytes = kLeastBytes;         ///< size of this header, 6 to 31
  std::uint8_t quantizationIndex = 1;             ///< as coded, 0 to 255
  std::array<std::uint16_t, 3> componentBytes{};  ///< Y, Cb, Cr, back to back after the header
};

/// Parses the header of `slice`, whose bytes the slice table defines. Bytes after Cr are the alpha
/// channel.
/// @return false when header or components do not fit the slice; then `header` is unspecified.
[[nodiscard]] bool ParseSliceHeader(std::span<const std::uint8_t> slice, SliceHeader& header);

/// Returns the bytes of the headers that an encoder writes. Without alpha, Cr is what remains of
/// the slice, so its size is not written.
constexpr std::size_t SliceHeaderBytes(AlphaType alpha) {
  return alpha == AlphaType::kNone ? SliceHeader::kLeastBytes : SliceHeader::kBytesWithCrSize;
}

/// Writes the header to the `header.headerBytes` bytes at `destination`.
/// @param header headerBytes is a result of SliceHeaderBytes().
void WriteSliceHeader(const SliceHeader& header, std::uint8_t* destination);

}  // namespace prores

#endif  // CODEC_BITSTREAM_SLICEHEADER_H
