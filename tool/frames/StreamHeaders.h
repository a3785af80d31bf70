// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_FRAMES_STREAMHEADERS_H
#define TOOL_FRAMES_STREAMHEADERS_H

/// @file
/// The frame headers of one stream.

#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "base/FramePool.h"
#include "bitstream/FrameHeader.h"
#include "format/StreamFormat.h"

namespace vixprores {

/// The header of a frame with its prefix; none where it cannot be read.
std::optional<prores::FrameHeader> ParseHeader(std::span<const std::uint8_t> frame);

/// How a frame differs from its stream so that decoders would take it amiss without saying so.
struct HeaderMismatch {
  std::string found;   ///< to go behind the frame's number
  std::string advice;  ///< what to do about it
};

/// What matters beside the size.
struct HeaderDemands {
  bool sameScan = false;    ///< all frames are scanned alike
  bool anyVersion = false;  ///< also bitstream version 1, which is valid, but not decoded
};

/// @param stream what the first frame's header said
std::optional<HeaderMismatch> FindMismatch(const prores::FrameHeader& header,
                                           const StreamFormat& stream,
                                           const HeaderDemands& demands);

}  // namespace vixprores

#endif  // TOOL_FRAMES_STREAMHEADERS_H
