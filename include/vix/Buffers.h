// SPDX-License-Identifier: BSD-2-Clause
#ifndef VIX_BUFFERS_H
#define VIX_BUFFERS_H

/// @file
/// Memory: blocks, allocators of blocks, and buffers that hold one block.

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "vix/Export.h"
#include "vix/Types.h"

namespace vix {

/// A span of memory. The last owner returns it to its source.
class VIX_API IMemoryBlock {
 public:
  virtual ~IMemoryBlock() = default;
  /// Returns the start of the memory, which does not change while the block exists.
  virtual std::uint8_t* GetData() const = 0;
  /// Returns the bytes of memory: exactly as many as were requested.
  virtual std::size_t GetSize() const = 0;
};

/// Allocates memory blocks. Any thread may call it; blocks may outlive their allocator.
class VIX_API IMemoryBlockAllocator {
 public:
  virtual ~IMemoryBlockAllocator() = default;
  /// Returns a block of exactly `bytes` bytes with unspecified contents. The core's allocators
  /// throw a VIXRuntimeError that names the size if there is no memory.
  virtual std::shared_ptr<IMemoryBlock> AllocateBlock(std::size_t bytes) = 0;
};

/// Counters of a "Recycler" allocator.
///
/// The element "Recycler" (MemoryBlockAllocator, implementation "vix") keeps the memory of released
/// blocks and reuses it. Memory is 64-byte aligned. There are four size classes per power of two,
/// so that frames of slightly different size share a class; above one page of 4096 bytes a class is
/// less than 25 % larger than the request. Each allocator keeps at most 512 MiB idle (or one block
/// of any size) and frees the memory first that was idle longest. Its destructor frees the idle
/// memory; a block that outlives the allocator frees its memory itself.
struct RecyclerStatistics {
  std::uint64_t blocksFromSystem = 0;  ///< blocks obtained from the system
  std::uint64_t blocksRecycled = 0;    ///< blocks made from idle memory
  std::uint64_t blocksInUse = 0;       ///< blocks that exist now
  std::uint64_t idleBytes = 0;         ///< memory available for reuse
  std::uint64_t bytesFromSystem = 0;   ///< memory obtained from the system, in total
};

/// Second interface of allocators with counters; obtain it with a dynamic cast.
class VIX_API IRecyclerStatistics {
 public:
  virtual ~IRecyclerStatistics() = default;
  /// Returns the current counters. Any thread may call it.
  virtual RecyclerStatistics GetStatistics() const = 0;
};

/// Bytes of one sample: memory with a capacity, of which the first bytes are valid. One thread at a
/// time may use a buffer; any number of threads may read one that is const.
class VIX_API IBuffer {
 public:
  virtual ~IBuffer() = default;
  /// Returns the start of the bytes; null if the buffer has no memory.
  virtual std::uint8_t* GetData() const = 0;
  /// Returns the number of valid bytes.
  virtual std::uint32_t GetSize() const = 0;
  /// Sets the number of valid bytes; rejects more than the capacity.
  virtual void SetSize(std::uint32_t bytes) = 0;
  /// Replaces the memory by a block of `bytes` bytes from the buffer's allocator. All bytes are
  /// valid and have unspecified contents. On failure the buffer does not change.
  virtual void Allocate(std::uint32_t bytes) = 0;
  /// Makes `bytes` bytes valid. Grows the memory if needed and keeps the valid bytes.
  virtual void Resize(std::uint32_t bytes) = 0;
  /// Returns the bytes of memory that the buffer owns.
  virtual std::uint32_t GetCapacity() const { return GetSize(); }
};

/// Creates a buffer over `block`, all of it valid, or without memory if `block` is null. Later
/// memory comes from `allocator`, or from the system, 64-byte aligned, if `allocator` is null.
/// Rejects a block of 4 GiB or more.
VIX_API std::shared_ptr<IBuffer> CreateBuffer(std::shared_ptr<IMemoryBlockAllocator> allocator,
                                              std::shared_ptr<IMemoryBlock> block);

/// Creates a block over memory that the caller owns. The last owner of the block calls `release`
/// once, on its thread. `release` must not throw and may be empty. Rejects null data of more than
/// 0 bytes without a call of `release`.
VIX_API std::shared_ptr<IMemoryBlock> CreateMemoryBlock(std::uint8_t* data, std::size_t bytes,
                                                        std::function<void()> release);

/// Returns the allocator of that name, or null if there is none. "ExtBufferAllocator" exists while
/// callbacks are set with SetExtBufferCallbacks().
VIX_API std::shared_ptr<IMemoryBlockAllocator> GetAllocator(const std::string& name);

/// Callbacks of "ExtBufferAllocator", with which a host program owns all frame memory. Any thread
/// may call them, several at the same time.
struct ExtBufferCallbacks {
  /// Returns `bytes` bytes, or null if there is no memory, which makes the allocation fail.
  std::function<std::uint8_t*(std::size_t bytes)> allocate;
  /// Frees memory that `allocate` returned. Must not throw.
  std::function<void(std::uint8_t* data, std::size_t bytes)> release;
};

/// Sets the callbacks, or removes them if both are empty. Existing blocks and allocators keep the
/// callbacks that they were made with. Rejects one callback without the other.
VIX_API void SetExtBufferCallbacks(ExtBufferCallbacks callbacks);

/// A picture or a compressed frame for which a driver needs memory.
struct FrameMemoryRequest {
  FourCC fourcc = 0;         ///< pixel format; 0 = a compressed frame
  std::uint32_t width = 0;   ///< pixels
  std::uint32_t height = 0;  ///< rows in memory, those of one field if only one is decoded
  std::uint32_t stride = 0;  ///< bytes of a row, from RawVideoUtils::GetStrides(); 0 if compressed
  std::size_t bytes = 0;     ///< stride x height, or the bytes of the compressed frame
};

/// Memory that a host gives to a driver.
struct FrameMemory {
  std::uint8_t* data = nullptr;  ///< stride x height bytes, or those of the frame; null = no memory
  std::uint32_t stride = 0;      ///< bytes from one row to the next; 0 = as requested
};

/// Callbacks with which a host owns the memory of one driver's output. They are called on the
/// thread that pushes a frame; `release` also on that of the last owner of a sample. They must not
/// throw. `user` must stay valid until the driver and the last sample are destroyed. A driver keeps
/// the last picture that a decoder wrote until the next one, but does not access it any more.
struct FrameMemoryCallbacks {
  void* user = nullptr;  ///< passed to both
  /// Returns the memory of one picture or frame.
  FrameMemory (*allocate)(void* user, const FrameMemoryRequest& request) = nullptr;
  /// Frees memory that `allocate` returned.
  void (*release)(void* user, std::uint8_t* data) = nullptr;
};

}  // namespace vix

#endif  // VIX_BUFFERS_H
