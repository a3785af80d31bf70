// SPDX-License-Identifier: BSD-2-Clause
#include "vix/Buffers.h"

#include <cassert>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <string>
#include <utility>

#include "Allocators.h"
#include "vix/Error.h"

namespace vix {
namespace {

std::uint32_t CapacityOf(const IMemoryBlock& block) {
  if (block.GetSize() > std::numeric_limits<std::uint32_t>::max()) {
    throw VIXRuntimeError("CreateBuffer got a block of " + std::to_string(block.GetSize()) +
                          " bytes; the largest buffer has 4294967295");
  }
  return static_cast<std::uint32_t>(block.GetSize());
}

class Buffer final : public IBuffer {
 public:
  Buffer(std::shared_ptr<IMemoryBlockAllocator> allocator, std::shared_ptr<IMemoryBlock> block)
      : allocator_(std::move(allocator)),
        block_(std::move(block)),
        capacity_(block_ ? CapacityOf(*block_) : 0),
        size_(capacity_) {}

  std::uint8_t* GetData() const override { return block_ ? block_->GetData() : nullptr; }
  std::uint32_t GetSize() const override { return size_; }
  std::uint32_t GetCapacity() const override { return capacity_; }

  void SetSize(std::uint32_t bytes) override {
    if (bytes > capacity_) {
      throw VIXRuntimeError("SetSize got " + std::to_string(bytes) +
                            " bytes; the capacity of the buffer is " + std::to_string(capacity_));
    }
    size_ = bytes;
  }

  void Allocate(std::uint32_t bytes) override { Replace(ObtainBlock(bytes), bytes); }

  void Resize(std::uint32_t bytes) override {
    if (bytes > capacity_) {
      auto larger = ObtainBlock(bytes);
      if (size_ != 0) std::memcpy(larger->GetData(), GetData(), size_);
      Replace(std::move(larger), bytes);
    }
    size_ = bytes;
  }

 private:
  std::shared_ptr<IMemoryBlock> ObtainBlock(std::uint32_t bytes) const {
    const auto allocator = allocator_ ? allocator_ : GetSystemAllocator();
    auto block = allocator->AllocateBlock(bytes);
    if (!block || block->GetSize() < bytes) {
      throw VIXRuntimeError("The buffer's allocator returned no block of " + std::to_string(bytes) +
                            " bytes");
    }
    return block;
  }

  void Replace(std::shared_ptr<IMemoryBlock> block, std::uint32_t bytes) {
    assert(block && block->GetSize() >= bytes);
    block_ = std::move(block);
    capacity_ = bytes;
    size_ = bytes;
  }

  std::shared_ptr<IMemoryBlockAllocator> allocator_;
  std::shared_ptr<IMemoryBlock> block_;
  std::uint32_t capacity_;
  std::uint32_t size_;
};

}  // namespace

std::shared_ptr<IBuffer> CreateBuffer(std::shared_ptr<IMemoryBlockAllocator> allocator,
                                      std::shared_ptr<IMemoryBlock> block) {
  return std::make_shared<Buffer>(std::move(allocator), std::move(block));
}

}  // namespace vix
