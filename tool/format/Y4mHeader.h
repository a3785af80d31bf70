// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_FORMAT_Y4MHEADER_H
#define TOOL_FORMAT_Y4MHEADER_H

#include <string>
#include <string_view>

#include "format/StreamFormat.h"

namespace vixprores {

/// What every YUV4MPEG2 ("Y4M") stream starts with, and what every frame in it starts with.
inline constexpr std::string_view kY4mMagic = "YUV4MPEG2";
inline constexpr std::string_view kY4mFrameMagic = "FRAME";

/// The format that a stream header (one line without its newline) describes: pictures of 8 bits
/// are called "UYVY", those of 10 bits "V210", after what they are packed into. Refuses, with a
/// Failure, what is no such header and what the encoder cannot take.
/// @param inputName for messages
StreamFormat ParseY4mHeader(std::string_view header, const std::string& inputName);

/// The header of a stream of that format, newline included. Frame rate, pixel aspect, field order
/// and colour range are told; the format has no words for the other colour properties.
std::string MakeY4mHeader(const StreamFormat& format);

}  // namespace vixprores

#endif  // TOOL_FORMAT_Y4MHEADER_H
