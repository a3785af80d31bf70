// SPDX-License-Identifier: BSD-2-Clause
#ifndef VIX_BUFFERS_H
#define VIX_BUFFERS_H

/// @file
/// Memory: blocks, the allocators that hand them out, and buffers that hold one block.

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "vix/Export.h"
#include "vix/Types.h"

namespace vix {

/// A span of memory. Its memory goes back where it came from when the last owner lets go.
class VIX_API IMemoryBlock {
 public:
  virtual ~IMemoryBlock() = default;
  /// Start of the memory; it stays put as long as the block lives.
  virtual std::uint8_t* GetData() const = 0;
  /// Bytes of memory: exactly what was asked for.
  virtual std::size_t GetSize() const = 0;
};

/// Hands out memory blocks. May be called from any thread; blocks may outlive their allocator.
class VIX_API IMemoryBlockAllocator {
 public:
  virtual ~IMemoryBlockAllocator() = default;
  /// A block of exactly `bytes` bytes, contents unspecified. When there is no memory, the core's
  /// allocators throw a VIXRuntimeError that names the size.
  virtual std::shared_ptr<IMemoryBlock> AllocateBlock(std::size_t bytes) = 0;
};

/// What a "Recycler" allocator did so far.
///
/// The element "Recycler" (MemoryBlockAllocator, implementation "vix") keeps the memory of blocks
/// that were let go and hands it out again. Memory is 64-byte aligned and sized in classes, four to
/// each power of two, so that frames of slightly different size share a class; above one page of
/// 4096 bytes a class is less than 25 % larger than what was asked for. Each allocator keeps at
/// most 512 MiB idle (or one block, however large), and frees the memory that waited longest first.
/// Its idle memory is freed with the allocator; blocks that outlive it are freed as they are let
/// go.
struct RecyclerStatistics {
  std::uint64_t blocksFromSystem = 0;  ///< blocks obtained from the system
  std::uint64_t blocksRecycled = 0;    ///< blocks handed out again
  std::uint64_t blocksInUse = 0;       ///< blocks held by somebody now
  std::uint64_t idleBytes = 0;         ///< memory waiting to be handed out again
  std::uint64_t bytesFromSystem = 0;   ///< memory obtained from the system, in total
};

/// Allocators that keep statistics implement this as well; find it with a dynamic cast.
class VIX_API IRecyclerStatistics {
 public:
  virtual ~IRecyclerStatistics() = default;
  /// The figures of this moment. May be called from any thread.
  virtual RecyclerStatistics GetStatistics() const = 0;
};

/// Bytes of one sample. A buffer knows the capacity of its memory and how much of it is valid.
/// Used by one thread at a time until it is handed out as const.
class VIX_API IBuffer {
 public:
  virtual ~IBuffer() = default;
  /// Start of the bytes; null when the buffer has no memory.
  virtual std::uint8_t* GetData() const = 0;
  /// Number of valid bytes.
  virtual std::uint32_t GetSize() const = 0;
  /// Sets the number of valid bytes; refuses more than the capacity.
  virtual void SetSize(std::uint32_t bytes) = 0;
  /// Replaces the memory by a block of `bytes` bytes from the buffer's allocator, all valid;
  /// contents unspecified. A buffer that cannot get memory keeps what it had.
  virtual void Allocate(std::uint32_t bytes) = 0;
  /// Makes `bytes` bytes valid; grows the memory where needed and keeps the bytes that were valid.
  virtual void Resize(std::uint32_t bytes) = 0;
  /// Bytes of memory that the buffer owns.
  virtual std::uint32_t GetCapacity() const { return GetSize(); }
};

/// A new buffer over `block` (all of it valid), or without memory when `block` is null. Memory
/// that it needs later comes from `allocator`, or, 64-byte aligned, from the system when
/// `allocator` is null. Refuses a block of more than 32 bits of bytes.
VIX_API std::shared_ptr<IBuffer> CreateBuffer(std::shared_ptr<IMemoryBlockAllocator> allocator,
                                              std::shared_ptr<IMemoryBlock> block);

/// A block over memory of the caller's: `release` runs once, on whatever thread lets go last.
/// It must not throw and may be empty. Refuses null data of more than zero bytes; `release` does
/// not run then.
VIX_API std::shared_ptr<IMemoryBlock> CreateMemoryBlock(std::uint8_t* data, std::size_t bytes,
                                                        std::function<void()> release);

/// The allocator of that name, or null when there is none. "ExtBufferAllocator" exists while
/// callbacks are set with SetExtBufferCallbacks().
VIX_API std::shared_ptr<IMemoryBlockAllocator> GetAllocator(const std::string& name);

/// Callbacks behind "ExtBufferAllocator", with which a host program owns all frame memory.
/// They are called from any thread, several at once.
struct ExtBufferCallbacks {
  /// Returns `bytes` bytes, or null when it has none (the allocation is then refused).
  std::function<std::uint8_t*(std::size_t bytes)> allocate;
  /// Takes back what `allocate` returned. Must not throw.
  std::function<void(std::uint8_t* data, std::size_t bytes)> release;
};

/// Sets the callbacks, or removes them when both are empty. Blocks and allocators handed out
/// before keep the callbacks that they were made with. Refuses one callback without the other.
VIX_API void SetExtBufferCallbacks(ExtBufferCallbacks callbacks);

}  // namespace vix

#endif  // VIX_BUFFERS_H
