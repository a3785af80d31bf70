// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_RUN_DECODERWATCH_H
#define TOOL_RUN_DECODERWATCH_H

/// @file
/// The decoder element conceals damaged slices without a word, although the codec library tells it
/// of them. So the program listens in: it has a WPRDecodeFrame() of its own, which the plug-in's
/// calls reach, and which passes them on to the library.

#include <cstdint>

namespace vixprores {

/// What the codec library answered to the last frame that this thread had it decode, or tried to;
/// 0 where there was none since the last call. The codes are those of WPRDecodeFrame(): a positive
/// one is the number of damaged slices.
std::int32_t TakeDecoderAnswer();

}  // namespace vixprores

#endif  // TOOL_RUN_DECODERWATCH_H
