// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_FRAMES_HEADERCODES_H
#define TOOL_FRAMES_HEADERCODES_H

/// @file
/// The codes of a ProRes frame header (RDD 36, frame header semantics) in the terms of a
/// StreamFormat, and back.

#include <cstdint>

#include "bitstream/FrameHeader.h"
#include "format/StreamFormat.h"

namespace vixprores {

/// The rate of a frame_rate_code; numerator 0 for one that stands for none.
Rational RateOfCode(std::uint8_t code);
/// The frame_rate_code of a rate; 0, unknown, for one that has none.
std::uint8_t CodeOfRate(Rational rate);

/// Pixel aspect that the header's aspect_ratio_information (square pixels, or a picture of 4:3 or
/// 16:9) makes of its size; numerator 0 = unknown.
Rational SampleAspectOf(const prores::FrameHeader& header);

FieldOrder FieldOrderOf(prores::InterlaceMode mode);

/// The code points of the header. It has 0 for unknown too, which ISO/IEC 23091-2 expresses by 2.
Colour ColourOf(const prores::FrameHeader& header);

/// What the header alone says of the stream; the code is left 0.
StreamFormat FormatOf(const prores::FrameHeader& header);

}  // namespace vixprores

#endif  // TOOL_FRAMES_HEADERCODES_H
