// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_FORMAT_OUTPUTFORMAT_H
#define TOOL_FORMAT_OUTPUTFORMAT_H

/// @file
/// The kinds of output files, what each can hold, and which one a name asks for.

#include <string>
#include <vector>

#include "format/MovieContent.h"
#include "format/StreamFormat.h"

namespace vixprores {

enum class OutputKind { Headless, Y4m, Container };

/// One kind of output file.
struct OutputFormat {
  const char* extension;  ///< of the file name; null for headless frames
  OutputKind kind;
  const char* muxer;  ///< the container library's name for it; null where it has no part
  bool takesProRes;
  bool takesRawVideo;
  bool keepsFieldOrder;
  bool keepsColour;  ///< primaries, transfer and matrix
  bool keepsColourRange;
  bool keepsTimecode;
  bool makesTimecode;  ///< has one from 00:00:00:00 on where none is known
  bool keepsChannelLayout;
};

/// The format for a ProRes stream by that file name: .mov for "-". Any other extension than those
/// of its table is a UsageError that lists them.
const OutputFormat& FindProResOutput(const std::string& path);
/// Returns the format for uncompressed video by that file name: raw frames for "-" and for names
/// without a format of their own, such as .uyvy, .v210, .raw or none. A name that means a format
/// which is not written (.png, .mp4, .yuv, ...) is a UsageError that lists those that are.
const OutputFormat& FindRawVideoOutput(const std::string& path);

/// Refuses, with a Failure that gives the reason, a stream that the format would hold wrongly.
void CheckStorable(const OutputFormat& output, const StreamFormat& stream);
/// What the output tells of the stream: unknown is what the format cannot hold.
StreamFormat KeptFormat(const OutputFormat& output, StreamFormat stream);
/// The properties that are known of the content and that the format cannot hold, in words.
std::vector<std::string> FindLostProperties(const OutputFormat& output,
                                            const MovieContent& content);

}  // namespace vixprores

#endif  // TOOL_FORMAT_OUTPUTFORMAT_H
