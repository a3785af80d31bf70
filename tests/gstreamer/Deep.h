// SPDX-License-Identifier: BSD-2-Clause
#ifndef TESTS_GSTREAMER_DEEP_H
#define TESTS_GSTREAMER_DEEP_H

/// @file
/// Pictures of 16 bits with alpha ("Y416" is AYUV64, "b64A" is ARGB64_BE), and frames of 4444. The
/// functions are those of Harness.h for such pictures.

#include <string>

#include "../plugin4444/Pictures.h"
#include "Harness.h"
#include "ProRes/ProRes.h"

namespace vix::test {

using DeepShape = test4444::Shape;

inline constexpr DeepShape kDeep;
inline constexpr DeepShape kDeepRgb{.fourcc = kFourCC_b64A};

/// Returns the stream without what only deep pictures have.
Shape PlainOf(const DeepShape& shape);

std::string RawCaps(const DeepShape& shape);
std::string ProResCaps(const DeepShape& shape, const std::string& variant = "4444");

GstBuffer* MakeRawBuffer(const DeepShape& shape, unsigned number);
GstBuffer* MakePaddedBuffer(const DeepShape& shape, unsigned number, std::size_t padding);

/// Returns the frame that the codec library makes of picture `number`.
Bytes EncodeDirectly(const DeepShape& shape, unsigned number, WPRCodecType type = kWPRCodec4444,
                     int alphaBits = 16);
GstBuffer* MakeProResBuffer(const DeepShape& shape, unsigned number);

/// Returns the picture that the codec library decodes from a frame.
Bytes DecodeDirectly(const Bytes& frame, const Shape& shape, FourCC fourcc);

/// Returns the bytes of a picture without padding.
Bytes RowsOf(const BufferPointer& buffer, const DeepShape& shape);

/// Expects picture `number` of a stream with its time: colours within the codec's error, alpha of
/// that many bits exactly.
void ExpectDecoded(const BufferPointer& buffer, const DeepShape& shape, unsigned number,
                   int alphaBits = 16);

}  // namespace vix::test

#endif  // TESTS_GSTREAMER_DEEP_H
