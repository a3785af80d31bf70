// SPDX-License-Identifier: BSD-2-Clause
#ifndef CODEC_BITSTREAM_HEADERCODES_H
#define CODEC_BITSTREAM_HEADERCODES_H

/// @file
/// Codes of the frame header as the values that they stand for (RDD 36, frame header semantics).

#include <cstddef>
#include <cstdint>

namespace prores {

/// Offsets of version and labels from the first byte of a frame with prefix (RDD 36, frame header
/// syntax).
inline constexpr std::size_t kVersionOffset = 11;
inline constexpr std::size_t kInterlaceModeOffset = 20;  // bits 2 and 3
inline constexpr std::size_t kAspectAndRateOffset = 21;  // four bits each
inline constexpr std::size_t kPrimariesOffset = 22;
inline constexpr std::size_t kTransferOffset = 23;
inline constexpr std::size_t kMatrixOffset = 24;

/// A fraction; numerator 0 = unknown. The denominator is positive.
struct Ratio {
  std::int32_t numerator = 0;
  std::int32_t denominator = 1;
};

/// Code point of colour that is not specified.
inline constexpr std::int32_t kUnspecifiedColour = 2;

/// Returns the code point of ISO/IEC 23091-2 of color_primaries, transfer_characteristic or
/// matrix_coefficients. For unspecified, the header has 0 as well as 2.
constexpr std::int32_t CodePointOf(std::uint8_t headerValue) {
  return headerValue == 0 ? kUnspecifiedColour : headerValue;
}

/// Returns the frames per second of a frame_rate_code.
Ratio FrameRateOfCode(std::uint8_t code);
/// Returns the frame_rate_code of a rate; 0, unknown, if it has none.
std::uint8_t CodeOfFrameRate(Ratio rate);

/// Returns the width to height of a pixel in lowest terms, which follows from
/// aspect_ratio_information (square pixels, or a picture of 4:3 or 16:9) and the size.
Ratio PixelAspectOfCode(std::uint8_t code, std::uint16_t width, std::uint16_t height);
/// Returns the aspect_ratio_information of pixels of that aspect: 1 = square pixels, 2 = a 4:3
/// picture, 3 = a 16:9 picture, 0 = any other or unknown.
std::uint8_t CodeOfPixelAspect(Ratio pixel, std::uint32_t width, std::uint32_t height);

}  // namespace prores

#endif  // CODEC_BITSTREAM_HEADERCODES_H
