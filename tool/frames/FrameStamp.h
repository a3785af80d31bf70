// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_FRAMES_FRAMESTAMP_H
#define TOOL_FRAMES_FRAMESTAMP_H

#include "format/StreamFormat.h"
#include "vix/Buffers.h"

namespace vixprores {

/// Writes what is known of the stream into the header of one of its encoded frames: colour, frame
/// rate and aspect, each at its own place and without a change of size (RDD 36, frame header
/// semantics). The encoder element is not told of them and leaves them unspecified; players take
/// the frame's word over the container's.
void StampFrameHeader(const StreamFormat& format, const vix::IBuffer& frame);

}  // namespace vixprores

#endif  // TOOL_FRAMES_FRAMESTAMP_H
