// SPDX-License-Identifier: BSD-2-Clause
#include "driver/HostMemory.h"

#include <cstring>
#include <limits>
#include <string>
#include <utility>

#include "Allocators.h"
#include "driver/Failures.h"
#include "vix/Error.h"

namespace vix {

HostMemory::HostMemory(const FrameMemoryCallbacks& callbacks)
    : callbacks_(callbacks), recycler_(CreateRecycler()) {}

void HostMemory::Expect(const FrameMemoryRequest& picture) {
  expected_ = picture;
  other_.reset();
}

std::shared_ptr<IMemoryBlock> HostMemory::AllocateBlock(std::size_t bytes) {
  if (bytes != expected_.bytes || other_) return recycler_->AllocateBlock(bytes);
  const FrameMemory memory = Allocate(expected_);
  if (memory.stride == 0 || memory.stride == expected_.stride) return Wrap(memory, bytes);
  const std::uint64_t otherBytes = std::uint64_t{memory.stride} * expected_.height;
  other_ = Wrap(memory, otherBytes);
  otherStride_ = memory.stride;
  if (memory.stride < expected_.stride || otherBytes > std::numeric_limits<std::uint32_t>::max()) {
    other_.reset();
    throw VIXError(ErrorCode::BadArgument,
                   "The host's memory has a stride of " + std::to_string(memory.stride) +
                       " bytes; allowed: at least " + std::to_string(expected_.stride) +
                       ", and pictures of less than 4 GiB");
  }
  return recycler_->AllocateBlock(bytes);
}

std::shared_ptr<const IBuffer> HostMemory::Take(std::shared_ptr<const IBuffer> picture) {
  if (!other_) return picture;
  const std::uint8_t* source = picture->GetData();
  std::uint8_t* destination = other_->GetData();
  for (std::uint32_t row = 0; row < expected_.height; ++row) {
    std::memcpy(destination, source, expected_.stride);
    source += expected_.stride;
    destination += otherStride_;
  }
  return CreateBuffer(nullptr, std::move(other_));
}

std::shared_ptr<const IBuffer> HostMemory::Copy(const IBuffer& frame, std::uint32_t width,
                                                std::uint32_t height) {
  const std::size_t bytes = frame.GetSize();
  auto block = Wrap(Allocate({0, width, height, 0, bytes}), bytes);
  std::memcpy(block->GetData(), frame.GetData(), bytes);
  return CreateBuffer(nullptr, std::move(block));
}

FrameMemory HostMemory::Allocate(const FrameMemoryRequest& request) const {
  const FrameMemory memory = CallHost(
      "callback for memory", [&] { return callbacks_.allocate(callbacks_.user, request); });
  if (memory.data == nullptr) ThrowOutOfMemory(request.bytes);
  return memory;
}

std::shared_ptr<IMemoryBlock> HostMemory::Wrap(const FrameMemory& memory, std::size_t bytes) const {
  return CreateMemoryBlock(memory.data, bytes, [callbacks = callbacks_, data = memory.data] {
    callbacks.release(callbacks.user, data);
  });
}

}  // namespace vix
