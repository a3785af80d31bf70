// SPDX-License-Identifier: BSD-2-Clause
#include "base/FramePool.h"

#include "vix/WorkflowStepImplementation.h"

namespace vixprores {

FramePool::FramePool()
    : allocator_(vix::ImplementElement<vix::ElementFactoryType::MemoryBlockAllocator>(
          "vix", "Recycler", nullptr)) {}

std::shared_ptr<vix::IBuffer> FramePool::MakeFrame(std::uint32_t bytes) const {
  auto frame = vix::CreateBuffer(allocator_, nullptr);
  frame->Allocate(bytes);
  return frame;
}

}  // namespace vixprores
