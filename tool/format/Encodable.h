// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_FORMAT_ENCODABLE_H
#define TOOL_FORMAT_ENCODABLE_H

/// @file
/// The formats that the encoder accepts, and the command that converts others.

#include <string>

#include "format/StreamFormat.h"

namespace vixprores {

/// Filters of ffmpeg that convert full range to limited range, which players expect.
inline constexpr const char* kToLimitedRange = "scale=out_range=tv,format=yuv422p10le";

/// Fails if the encoder does not accept the format.
void CheckEncodable(const StreamFormat& format, const std::string& inputName);

/// Throws a Failure with the command that converts an input.
/// @param found   what the input holds, for example "4:2:0 pictures (yuv420p)"
/// @param filters comma-separated filters for the conversion; may be empty
[[noreturn]] void RefuseUnconverted(const std::string& inputName, const std::string& found,
                                    const std::string& filters = {});

/// Returns the command that converts an input to V210 in a .mov, with the sound as PCM.
/// @param inputName name in messages; for standard input the command reads that as well
std::string ConversionCommand(const std::string& inputName, const std::string& filters);

/// Quotes `text` as one word of a shell command, if it needs quotes.
std::string QuoteForShell(const std::string& text);

}  // namespace vixprores

#endif  // TOOL_FORMAT_ENCODABLE_H
