// SPDX-License-Identifier: BSD-2-Clause
#ifndef CORE_DRIVER_HOSTMEMORY_H
#define CORE_DRIVER_HOSTMEMORY_H

#include <cstddef>
#include <cstdint>
#include <memory>

#include "vix/Buffers.h"

namespace vix {

/// Allocator over the host's callbacks: an element writes its picture straight into host memory. If
/// the host returns memory with another stride, the element gets recycled memory, and Take() copies
/// the picture.
class HostMemory final : public IMemoryBlockAllocator {
 public:
  explicit HostMemory(const FrameMemoryCallbacks& callbacks);

  /// Announces the picture of the next AllocateBlock().
  void Expect(const FrameMemoryRequest& picture);
  /// Returns memory of the host for the expected picture, recycled memory for anything else.
  std::shared_ptr<IMemoryBlock> AllocateBlock(std::size_t bytes) override;
  /// Returns the buffer of a decoded picture in host memory: `picture` itself, or a copy.
  std::shared_ptr<const IBuffer> Take(std::shared_ptr<const IBuffer> picture);

  /// Returns a copy of a compressed frame of a picture of that size in host memory.
  std::shared_ptr<const IBuffer> Copy(const IBuffer& frame, std::uint32_t width,
                                      std::uint32_t height);

 private:
  FrameMemory Allocate(const FrameMemoryRequest& request) const;
  std::shared_ptr<IMemoryBlock> Wrap(const FrameMemory& memory, std::size_t bytes) const;

  FrameMemoryCallbacks callbacks_;
  std::shared_ptr<IMemoryBlockAllocator> recycler_;
  FrameMemoryRequest expected_;
  std::uint32_t otherStride_ = 0;
  std::shared_ptr<IMemoryBlock> other_;  ///< host memory with another stride, to be filled
};

}  // namespace vix

#endif  // CORE_DRIVER_HOSTMEMORY_H
