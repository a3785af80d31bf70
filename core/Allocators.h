// SPDX-License-Identifier: BSD-2-Clause
#ifndef CORE_ALLOCATORS_H
#define CORE_ALLOCATORS_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <string>

#include "vix/Buffers.h"

namespace vix {

/// Alignment of frame memory: a cache line, and the widest vector register.
inline constexpr std::align_val_t kMemoryAlignment{64};

struct AlignedMemoryDeleter {
  void operator()(std::uint8_t* data) const { ::operator delete(data, kMemoryAlignment); }
};

/// Memory from the system, freed by its destructor.
using AlignedMemory = std::unique_ptr<std::uint8_t, AlignedMemoryDeleter>;

/// Allocates `bytes` bytes, or returns null if there is no memory.
AlignedMemory ObtainAlignedMemory(std::size_t bytes);

/// Throws a VIXRuntimeError: `bytes` bytes could not be allocated.
[[noreturn]] void ThrowOutOfMemory(std::size_t bytes);

/// Returns the allocator of buffers without one of their own; it takes every block from the system.
std::shared_ptr<IMemoryBlockAllocator> GetSystemAllocator();

/// Creates a "Recycler" allocator with its own pool. It also implements IRecyclerStatistics.
std::shared_ptr<IMemoryBlockAllocator> CreateRecycler();

/// Makes an allocator available under a name while it exists. Any thread may use it.
class NamedAllocator {
 public:
  /// Chooses a name that no other allocator has.
  explicit NamedAllocator(std::shared_ptr<IMemoryBlockAllocator> allocator);
  ~NamedAllocator();
  NamedAllocator(const NamedAllocator&) = delete;
  NamedAllocator& operator=(const NamedAllocator&) = delete;

  const std::string& GetName() const { return name_; }

 private:
  std::string name_;
};

}  // namespace vix

#endif  // CORE_ALLOCATORS_H
