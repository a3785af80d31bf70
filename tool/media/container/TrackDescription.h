// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_MEDIA_CONTAINER_TRACKDESCRIPTION_H
#define TOOL_MEDIA_CONTAINER_TRACKDESCRIPTION_H

/// @file
/// What the container library knows of a video track, in our terms.

#include <array>
#include <cstdint>
#include <optional>

#include "format/StreamFormat.h"

extern "C" {
#include <libavformat/avformat.h>
}

namespace vixprores {

bool IsValid(AVRational value);

/// Containers mean one thing by either top-first value, and so for bottom-first.
FieldOrder ToFieldOrder(AVFieldOrder order);

ColourRange ToColourRange(AVColorRange range);

/// Returns the matrix that turns the picture for display; nullopt if it is shown as it is.
std::optional<std::array<std::int32_t, 9>> FindDisplayMatrix(const AVStream& stream);

bool IsMatroska(const AVFormatContext& context);
bool IsAvi(const AVFormatContext& context);
bool IsMxf(const AVFormatContext& context);

/// The rate that all frames keep to, or most of them where some are missing; 0 = unknown.
/// @param first    its first packet; null = unknown
/// @param hasIndex the library has an index of all frames
Rational FindRate(AVStream& stream, const AVPacket* first, bool isMatroska, bool hasIndex);

/// Seconds from time 0 to the end of the track, as a Matroska file states it; the duration of the
/// file is that of its longest track. None where it states nothing, and for other containers.
std::optional<double> FindStatedDuration(const AVFormatContext& context, const AVStream& stream);

}  // namespace vixprores

#endif  // TOOL_MEDIA_CONTAINER_TRACKDESCRIPTION_H
