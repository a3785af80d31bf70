// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_BASE_BUFFERBYTES_H
#define TOOL_BASE_BUFFERBYTES_H

#include <cstdint>
#include <span>

#include "vix/Buffers.h"

namespace vixprores {

/// The bytes of a frame, good as long as its buffer is.
inline std::span<const std::uint8_t> BytesOf(const vix::IBuffer& frame) {
  return {frame.GetData(), frame.GetSize()};
}

}  // namespace vixprores

#endif  // TOOL_BASE_BUFFERBYTES_H
