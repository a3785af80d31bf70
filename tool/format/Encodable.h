// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_FORMAT_ENCODABLE_H
#define TOOL_FORMAT_ENCODABLE_H

/// @file
/// What the encoder can take, and what to do with the rest.

#include <string>

#include "format/StreamFormat.h"

namespace vixprores {

/// Filters of ffmpeg that make a full range limited, which is what players expect.
inline constexpr const char* kToLimitedRange = "scale=out_range=tv,format=yuv422p10le";

/// Refuses, with a Failure, a format that the encoder does not take.
void CheckEncodable(const StreamFormat& format, const std::string& inputName);

/// Refuses an input that has to be converted first.
/// @param found   what the input holds, for example "4:2:0 pictures (yuv420p)"
/// @param filters comma-separated filters that the conversion needs; may be empty
/// @throws Failure with the command that converts it, always
[[noreturn]] void RefuseUnconverted(const std::string& inputName, const std::string& found,
                                    const std::string& filters = {});

/// The command that converts an input to progressive or interlaced V210 in a .mov, with the sound
/// as PCM.
/// @param inputName as messages call it; for standard input the command reads that, too
std::string ConversionCommand(const std::string& inputName, const std::string& filters);

/// `text` as one word of a shell command.
std::string QuoteForShell(const std::string& text);

}  // namespace vixprores

#endif  // TOOL_FORMAT_ENCODABLE_H
