// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_BASE_FRAMEPOOL_H
#define TOOL_BASE_FRAMEPOOL_H

#include <cstdint>
#include <memory>
#include <span>

#include "vix/Buffers.h"

namespace vixprores {

/// Returns the bytes of a frame; they are valid as long as its buffer is.
inline std::span<const std::uint8_t> BytesOf(const vix::IBuffer& frame) {
  return {frame.GetData(), frame.GetSize()};
}

/// New buffers whose memory is recycled. May be used by any thread; the buffers may outlive it.
class FramePool {
 public:
  FramePool();
  /// Returns a buffer of `bytes` bytes, contents unspecified.
  /// @throws MemoryLimitError
  std::shared_ptr<vix::IBuffer> MakeFrame(std::uint32_t bytes) const;

 private:
  void CheckRoom(std::uint32_t bytes) const;

  std::shared_ptr<vix::IMemoryBlockAllocator> allocator_;
};

}  // namespace vixprores

#endif  // TOOL_BASE_FRAMEPOOL_H
