// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_MEDIA_CONTAINER_MUXERSETUP_H
#define TOOL_MEDIA_CONTAINER_MUXERSETUP_H

/// @file
/// Translates the description of a movie into the input of the container library's muxers.

#include <cstdint>
#include <string>
#include <vector>

#include "format/MovieContent.h"
#include "media/container/Libav.h"

namespace vixprores {

/// Returns a muxer with the movie's tracks and metadata, and without a byte stream. Stream 0 is the
/// video; the sound tracks follow.
/// @param name name of the muxer in the container library: "mov", "matroska", ...
Muxer MakeMuxer(const std::string& name, const MovieContent& content);

/// Writes the container's header.
/// @param isFragmented as a .mov without an index at its end
/// @return the library's result code
int WriteHeader(AVFormatContext& muxer, const MovieContent& content, bool isFragmented);

/// Returns a .mov without media that holds the tracks and all metadata; empty if the library cannot
/// write one for these tracks.
std::vector<std::uint8_t> DescribeMovie(const MovieContent& content);

}  // namespace vixprores

#endif  // TOOL_MEDIA_CONTAINER_MUXERSETUP_H
