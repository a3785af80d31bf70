// SPDX-License-Identifier: BSD-2-Clause
#include "Allocators.h"

#include <cstddef>
#include <map>
#include <memory>
#include <mutex>
#include <new>
#include <string>
#include <utility>

#include "vix/Error.h"

namespace vix {
namespace {

constexpr const char* kExtBufferAllocatorName = "ExtBufferAllocator";

class SystemBlock final : public IMemoryBlock {
 public:
  explicit SystemBlock(std::size_t bytes) : memory_(ObtainAlignedMemory(bytes)), bytes_(bytes) {
    if (!memory_) ThrowOutOfMemory(bytes);
  }

  std::uint8_t* GetData() const override { return memory_.get(); }
  std::size_t GetSize() const override { return bytes_; }

 private:
  AlignedMemory memory_;
  std::size_t bytes_;
};

class SystemAllocator final : public IMemoryBlockAllocator {
 public:
  std::shared_ptr<IMemoryBlock> AllocateBlock(std::size_t bytes) override {
    return std::make_shared<SystemBlock>(bytes);
  }
};

/// A block over memory that the caller owns.
class ForeignBlock final : public IMemoryBlock {
 public:
  ForeignBlock(std::uint8_t* data, std::size_t bytes, std::function<void()> release)
      : data_(data), bytes_(bytes), release_(std::move(release)) {}
  ~ForeignBlock() override {
    if (release_) release_();
  }
  ForeignBlock(const ForeignBlock&) = delete;
  ForeignBlock& operator=(const ForeignBlock&) = delete;

  std::uint8_t* GetData() const override { return data_; }
  std::size_t GetSize() const override { return bytes_; }

 private:
  std::uint8_t* data_;
  std::size_t bytes_;
  std::function<void()> release_;
};

/// A block from the host program's callbacks.
class ExtBlock final : public IMemoryBlock {
 public:
  ExtBlock(std::shared_ptr<const ExtBufferCallbacks> callbacks, std::size_t bytes)
      : callbacks_(std::move(callbacks)), data_(callbacks_->allocate(bytes)), bytes_(bytes) {
    if (data_ == nullptr) ThrowOutOfMemory(bytes);
  }
  ~ExtBlock() override { callbacks_->release(data_, bytes_); }
  ExtBlock(const ExtBlock&) = delete;
  ExtBlock& operator=(const ExtBlock&) = delete;

  std::uint8_t* GetData() const override { return data_; }
  std::size_t GetSize() const override { return bytes_; }

 private:
  std::shared_ptr<const ExtBufferCallbacks> callbacks_;
  std::uint8_t* data_;
  std::size_t bytes_;
};

class ExtBufferAllocator final : public IMemoryBlockAllocator {
 public:
  explicit ExtBufferAllocator(ExtBufferCallbacks callbacks)
      : callbacks_(std::make_shared<ExtBufferCallbacks>(std::move(callbacks))) {}

  std::shared_ptr<IMemoryBlock> AllocateBlock(std::size_t bytes) override {
    return std::make_shared<ExtBlock>(callbacks_, bytes);
  }

 private:
  std::shared_ptr<const ExtBufferCallbacks> callbacks_;
};

struct NamedAllocators {
  std::mutex mutex;
  std::map<std::string, std::shared_ptr<IMemoryBlockAllocator>> byName;
  std::uint64_t namesMade = 0;
};

// Never destroyed: destructors of static objects may still use it.
NamedAllocators& GetNamedAllocators() {
  static auto& allocators = *new NamedAllocators;
  return allocators;
}

}  // namespace

AlignedMemory ObtainAlignedMemory(std::size_t bytes) {
  return AlignedMemory(
      static_cast<std::uint8_t*>(::operator new(bytes, kMemoryAlignment, std::nothrow)));
}

void ThrowOutOfMemory(std::size_t bytes) {
  throw VIXError(ErrorCode::OutOfMemory,
                 "Out of memory: cannot allocate " + std::to_string(bytes) + " bytes");
}

std::shared_ptr<IMemoryBlockAllocator> GetSystemAllocator() {
  // Never destroyed: buffers in static objects may still grow.
  static auto& allocator =
      *new std::shared_ptr<IMemoryBlockAllocator>(std::make_shared<SystemAllocator>());
  return allocator;
}

std::shared_ptr<IMemoryBlock> CreateMemoryBlock(std::uint8_t* data, std::size_t bytes,
                                                std::function<void()> release) {
  if (data == nullptr && bytes != 0) {
    throw VIXRuntimeError("CreateMemoryBlock got null for " + std::to_string(bytes) + " bytes");
  }
  return std::make_shared<ForeignBlock>(data, bytes, std::move(release));
}

std::shared_ptr<IMemoryBlockAllocator> GetAllocator(const std::string& name) {
  NamedAllocators& allocators = GetNamedAllocators();
  const std::lock_guard lock(allocators.mutex);
  const auto found = allocators.byName.find(name);
  return found == allocators.byName.end() ? nullptr : found->second;
}

void SetExtBufferCallbacks(ExtBufferCallbacks callbacks) {
  if (!callbacks.allocate != !callbacks.release) {
    throw VIXError(ErrorCode::BadArgument,
                   std::string(kExtBufferAllocatorName) + " needs both callbacks or neither");
  }
  std::shared_ptr<IMemoryBlockAllocator> allocator;
  if (callbacks.allocate) allocator = std::make_shared<ExtBufferAllocator>(std::move(callbacks));
  NamedAllocators& allocators = GetNamedAllocators();
  // The local outlives the lock, so the old callbacks are destroyed without it.
  const std::lock_guard lock(allocators.mutex);
  allocators.byName[kExtBufferAllocatorName].swap(allocator);
}

NamedAllocator::NamedAllocator(std::shared_ptr<IMemoryBlockAllocator> allocator) {
  NamedAllocators& allocators = GetNamedAllocators();
  const std::lock_guard lock(allocators.mutex);
  name_ = "Driver " + std::to_string(++allocators.namesMade);
  allocators.byName[name_] = std::move(allocator);
}

NamedAllocator::~NamedAllocator() {
  NamedAllocators& allocators = GetNamedAllocators();
  std::shared_ptr<IMemoryBlockAllocator> removed;  // outlives the lock, as above
  const std::lock_guard lock(allocators.mutex);
  const auto found = allocators.byName.find(name_);
  removed = std::move(found->second);
  allocators.byName.erase(found);
}

}  // namespace vix
