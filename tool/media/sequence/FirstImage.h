// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_MEDIA_SEQUENCE_FIRSTIMAGE_H
#define TOOL_MEDIA_SEQUENCE_FIRSTIMAGE_H

/// @file
/// What the first file of an image sequence states, in the terms of streams.

#include <cstdint>
#include <optional>
#include <string>

#include "format/StreamFormat.h"
#include "media/sequence/ImageModule.h"
#include "media/sequence/SequenceName.h"

namespace vixprores {

/// @throws Failure that names the file, if its header cannot be read
ImageHeader ReadFirstHeader(const ImageFiles& images);

/// Returns the rate that a header means by a number; nullopt if it is none of the usual ones.
std::optional<Rational> FindRate(double rate);

/// Returns the width to height of a pixel; 0 for square ones and unlikely values.
Rational FindAspect(double aspect);

/// Returns the bits of a timecode as "HH:MM:SS:FF", or with ";FF" for drop frame.
std::string TimecodeText(std::uint32_t timecode);

/// Returns text like ".png images, RGB with alpha, 16 bits".
std::string DescribeStored(const ImageHeader& header);

}  // namespace vixprores

#endif  // TOOL_MEDIA_SEQUENCE_FIRSTIMAGE_H
