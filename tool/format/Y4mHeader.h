// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_FORMAT_Y4MHEADER_H
#define TOOL_FORMAT_Y4MHEADER_H

#include <string>
#include <string_view>

#include "format/StreamFormat.h"

namespace vixprores {

/// First bytes of every YUV4MPEG2 ("Y4M") stream, and of every frame in it.
inline constexpr std::string_view kY4mMagic = "YUV4MPEG2";
inline constexpr std::string_view kY4mFrameMagic = "FRAME";

/// Parses a stream header (one line without its newline). The code is that of the packed pictures:
/// "UYVY" for 8 bits, "V210" for 10 bits. Throws a Failure for invalid headers, and for pictures
/// that the encoder cannot take. The container library's own parser is not used: it replaces what
/// is missing or invalid by defaults (25 frames per second) and reads every frame into new memory.
/// @param inputName for messages
StreamFormat ParseY4mHeader(std::string_view header, const std::string& inputName);

/// Returns the header of a stream, newline included, with frame rate, pixel aspect, field order and
/// colour range; Y4M has no words for other colour properties.
std::string MakeY4mHeader(const StreamFormat& format);

}  // namespace vixprores

#endif  // TOOL_FORMAT_Y4MHEADER_H
