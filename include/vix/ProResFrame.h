// SPDX-License-Identifier: BSD-2-Clause
#ifndef VIX_PRORESFRAME_H
#define VIX_PRORESFRAME_H

/// @file
/// What the header of a ProRes frame states, for hosts whose containers state less. Encoders leave
/// the labels of their frames unspecified: elements do not receive them, except for the matrix
/// coefficients of 4444. Any thread may call every function.

#include <cstddef>
#include <cstdint>
#include <optional>

#include "vix/Export.h"
#include "vix/StreamDescription.h"
#include "vix/Types.h"

namespace vix {

/// Labels of a stream. They do not change how its slices are decoded. The matrix decides how frames
/// become RGB.
struct ProResLabels {
  std::int32_t primaries = 2;  ///< code point of ISO/IEC 23091-2; 2 = unspecified, as below
  std::int32_t transfer = 2;   ///< transfer characteristics
  std::int32_t matrix = 2;     ///< matrix coefficients
  EditRate frameRate{0, 1};    ///< frames per second; numerator 0 = unknown
  EditRate pixelAspect{0, 1};  ///< width to height of a pixel; numerator 0 = unknown
  std::optional<FieldOrder> fieldOrder = std::nullopt;  ///< nullopt = progressive
};

/// What the header of a frame states.
struct ProResFrameHeader {
  std::uint32_t width = 0;                 ///< pixels
  std::uint32_t height = 0;                ///< rows of the whole frame
  VideoChroma chroma = VideoChroma::C422;  ///< 4:2:2 or 4:4:4
  ProResLabels labels;                     ///< as the header states them
  std::uint32_t version = 0;               ///< of the bitstream: 0 or 1
};

/// Reads the header of a frame with or without the 8-byte prefix.
/// @throws VIXError (Truncated, Damaged or Unsupported) if the header is invalid
VIX_API ProResFrameHeader ReadProResFrameHeader(const std::uint8_t* frame, std::size_t bytes);

/// Writes labels into the header of an encoded frame with prefix, in place. The header has codes
/// for usual frame rates only (23.976 to 120), for square pixels and for pictures of 4:3 and 16:9;
/// it states any other value as unknown. SetProResFieldOrder() sets the field order; nullopt keeps
/// it.
/// @throws VIXError (Truncated, Damaged or Unsupported) if the frame is invalid; it is unchanged
VIX_API void LabelProResFrame(const ProResLabels& labels, std::uint8_t* frame, std::size_t bytes);

/// Sets the field order of an interlaced frame with prefix, in place. Each of its two pictures
/// keeps its lines, so the pictures change places. A progressive frame does not change.
/// @throws VIXError as LabelProResFrame()
VIX_API void SetProResFieldOrder(FieldOrder order, std::uint8_t* frame, std::size_t bytes);

/// Sets version 0 of the bitstream in the header of a frame with or without prefix, in place. The
/// version only states which decoders read a frame. The decoder "vix" refuses version 1, as frames
/// of 4444 have, but decodes such a frame as 4:2:2 if its version is lowered; it ignores alpha.
/// @throws VIXError as ReadProResFrameHeader()
VIX_API void LowerProResVersion(std::uint8_t* frame, std::size_t bytes);

}  // namespace vix

#endif  // VIX_PRORESFRAME_H
