// SPDX-License-Identifier: BSD-2-Clause
#include "base/FramePool.h"

#include "base/Limits.h"
#include "vix/WorkflowStepImplementation.h"

namespace vixprores {
namespace {

// Smaller frames are not worth asking the system how much memory is in use.
constexpr std::uint32_t kCheckedBytes = 1U << 20U;

}  // namespace

FramePool::FramePool()
    : allocator_(vix::ImplementElement<vix::ElementFactoryType::MemoryBlockAllocator>(
          "vix", "Recycler", nullptr)) {}

std::shared_ptr<vix::IBuffer> FramePool::MakeFrame(std::uint32_t bytes) const {
  if (bytes >= kCheckedBytes) CheckRoom(bytes);
  auto frame = vix::CreateBuffer(allocator_, nullptr);
  frame->Allocate(bytes);
  return frame;
}

// Idle memory is in use already.
void FramePool::CheckRoom(std::uint32_t bytes) const {
  const auto& recycler = dynamic_cast<const vix::IRecyclerStatistics&>(*allocator_);
  if (recycler.GetStatistics().idleBytes < bytes) CheckMemory("frames", bytes);
}

}  // namespace vixprores
