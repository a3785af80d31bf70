// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_MEDIA_DECODE_SIDEDATA_H
#define TOOL_MEDIA_DECODE_SIDEDATA_H

/// @file
/// What decoded pictures have beside their pixels.

#include <cstdint>
#include <vector>

#include "format/InputFormat.h"

struct AVFrame;

namespace vixprores {

/// Returns the CEA-608 captions of the first field (NumberedFrame::captions), which a track can
/// hold.
std::vector<std::uint8_t> FindCaptions(const AVFrame& picture);

/// Adds the metadata of HDR that only the coded stream has.
void AddHdrMetadata(const AVFrame& first, StreamFormat& format);

/// Adds a track for captions to the description if the first picture has some, and lists what no
/// output keeps. Returns true if there is a track.
/// @param keepsCaptions the pictures are those that were coded, one by one
bool DescribeSideData(const AVFrame& first, bool keepsCaptions, InputDescription& description);

}  // namespace vixprores

#endif  // TOOL_MEDIA_DECODE_SIDEDATA_H
