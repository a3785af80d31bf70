// SPDX-License-Identifier: BSD-2-Clause
#ifndef CODEC_BITSTREAM_FRAMEHEADER_H
#define CODEC_BITSTREAM_FRAMEHEADER_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "Status.h"

namespace prores {

enum class ChromaFormat : std::uint8_t { k422 = 2, k444 = 3 };

enum class InterlaceMode : std::uint8_t {
  kProgressive = 0,
  kTopFieldFirst = 1,
  kBottomFieldFirst = 2,
};

enum class AlphaType : std::uint8_t { kNone = 0, k8Bit = 1, k16Bit = 2 };

/// Quantisation weights in raster order: entry 8 * v + u weighs vertical frequency v, horizontal
/// frequency u. Never zero.
using QuantMatrix = std::array<std::uint8_t, 64>;

/// The matrix in force if none is transmitted: all weights 4.
inline constexpr QuantMatrix kDefaultQuantMatrix = [] {
  QuantMatrix matrix{};
  matrix.fill(4);
  return matrix;
}();

/// Frame container and frame header (RDD 36, frame syntax and frame header semantics).
struct FrameHeader {
  std::uint8_t version = 0;  ///< bitstream_version: 0 or 1
  std::array<std::uint8_t, 4> encoderIdentifier{};
  std::uint16_t width = 0;   ///< luma samples per line, 1 to 65535
  std::uint16_t height = 0;  ///< luma lines of the whole frame, 1 to 65535
  ChromaFormat chromaFormat = ChromaFormat::k422;
  InterlaceMode interlaceMode = InterlaceMode::kProgressive;
  std::uint8_t aspectRatio = 0;  ///< aspect_ratio_information code; 0 = unknown
  std::uint8_t frameRate = 0;    ///< frame_rate_code; 0 = unknown
  std::uint8_t colorPrimaries = 2;
  std::uint8_t transferCharacteristic = 2;
  std::uint8_t matrixCoefficients = 2;
  AlphaType alphaType = AlphaType::kNone;
  QuantMatrix lumaMatrix = kDefaultQuantMatrix;    ///< in force, transmitted or not
  QuantMatrix chromaMatrix = kDefaultQuantMatrix;  ///< in force, transmitted or not
};

/// Bytes of frame_size and frame_identifier, which precede the frame header.
inline constexpr std::size_t kFramePrefixBytes = 8;

/// Returns true if `frame` begins with a frame_size of any value and the frame_identifier.
bool HasFramePrefix(std::span<const std::uint8_t> frame);

/// Writes kFramePrefixBytes bytes.
/// @param frameBytes size of the whole frame, the prefix included.
void WriteFramePrefix(std::uint32_t frameBytes, std::uint8_t* destination);

/// Parses the start of `frame`.
/// Ignores the frame_size field in favour of the size of `frame`.
/// @param pictures receives the bytes after the header, where the first picture starts.
/// @return kTruncated when the header does not fit `frame`; kUnsupported for a bitstream version
///         above 1; kBadHeader for every other violation. On failure the outputs are unspecified.
Status ParseFrameHeader(std::span<const std::uint8_t> frame, FrameHeader& header,
                        std::span<const std::uint8_t>& pictures);

/// Parses the start of a frame without its prefix, as ParseFrameHeader() does.
Status ParseBareFrameHeader(std::span<const std::uint8_t> frame, FrameHeader& header,
                            std::span<const std::uint8_t>& pictures);

/// Returns the bytes that WriteFrameHeader() writes for `header`: 28, or 156 with matrices.
std::size_t FrameHeaderBytes(const FrameHeader& header);

/// Writes container and frame header. Transmits both matrices, or none if both are the default, so
/// that readers need no rule for a single missing matrix.
/// @param frameBytes  size of the whole frame, this header included.
/// @param destination room for FrameHeaderBytes(header) bytes.
void WriteFrameHeader(const FrameHeader& header, std::uint32_t frameBytes,
                      std::uint8_t* destination);

}  // namespace prores

#endif  // CODEC_BITSTREAM_FRAMEHEADER_H
