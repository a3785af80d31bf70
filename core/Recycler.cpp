// SPDX-License-Identifier: BSD-2-Clause
#include <algorithm>
#include <bit>
#include <cassert>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <list>
#include <memory>
#include <mutex>
#include <utility>

#include "Allocators.h"

namespace vix {
namespace {

constexpr std::size_t kSmallestClass = 4096;
constexpr std::size_t kClassBits = 2;  // 4 classes per power of two
constexpr std::size_t kIdleLimit = std::size_t{512} << 20;
constexpr std::size_t kLargestBlock = std::numeric_limits<std::size_t>::max() / 4;

/// Returns the size class of a block of `bytes` bytes. For bytes in (P, 2P], where P is a power of
/// two, classes are P/4 apart, so a class exceeds the request by less than P/4 < bytes/4.
std::size_t SizeClass(std::size_t bytes) {
  if (bytes <= kSmallestClass) return kSmallestClass;
  const auto stepBits = static_cast<std::size_t>(std::bit_width(bytes - 1)) - 1 - kClassBits;
  const std::size_t sizeClass = (((bytes - 1) >> stepBits) + 1) << stepBits;
  assert(sizeClass >= bytes && sizeClass - bytes < bytes / 4);
  return sizeClass;
}

struct Storage {
  AlignedMemory memory;
  std::size_t bytes = 0;
};

/// A list of one element. Pool and blocks exchange list nodes, so returning memory allocates none.
using StorageNode = std::list<Storage>;

/// Idle memory for reuse. Any thread may use a pool.
class Pool {
 public:
  /// Returns memory of the size class of `bytes`; throws if there is none.
  StorageNode Take(std::size_t bytes) {
    if (bytes > kLargestBlock) ThrowOutOfMemory(bytes);
    const std::size_t sizeClass = SizeClass(bytes);
    StorageNode node = TakeIdle(sizeClass);
    if (node.empty()) node = Obtain(sizeClass);
    if (node.empty()) ThrowOutOfMemory(bytes);
    return node;
  }

  void GiveBack(StorageNode node) noexcept {
    // Declared before the lock, so that memory is freed without it.
    StorageNode surplus;
    const std::lock_guard lock(mutex_);
    assert(node.size() == 1 && statistics_.blocksInUse > 0);
    --statistics_.blocksInUse;
    if (closed_) return;
    statistics_.idleBytes += node.front().bytes;
    idle_.splice(idle_.begin(), node);
    while (statistics_.idleBytes > kIdleLimit && idle_.size() > 1) {
      statistics_.idleBytes -= idle_.back().bytes;
      surplus.splice(surplus.begin(), idle_, std::prev(idle_.end()));
    }
  }

  /// Frees the idle memory, and from now on also memory that is given back.
  void Close() noexcept {
    std::list<Storage> surplus;
    const std::lock_guard lock(mutex_);
    closed_ = true;
    DropIdle(surplus);
  }

  RecyclerStatistics GetStatistics() const {
    const std::lock_guard lock(mutex_);
    return statistics_;
  }

 private:
  // Starts with the memory used last, which may still be in a cache. A linear search is enough: a
  // pool holds as many blocks as its element had in use.
  StorageNode TakeIdle(std::size_t sizeClass) {
    StorageNode node;
    const std::lock_guard lock(mutex_);
    const auto found = std::find_if(idle_.begin(), idle_.end(), [=](const Storage& storage) {
      return storage.bytes == sizeClass;
    });
    if (found == idle_.end()) return node;
    assert(statistics_.idleBytes >= sizeClass);
    node.splice(node.begin(), idle_, found);
    statistics_.idleBytes -= sizeClass;
    ++statistics_.blocksRecycled;
    ++statistics_.blocksInUse;
    return node;
  }

  /// Allocates memory; returns an empty node if there is none even after freeing the idle memory.
  StorageNode Obtain(std::size_t sizeClass) {
    AlignedMemory memory = ObtainAlignedMemory(sizeClass);
    if (!memory) {
      FreeIdle();
      memory = ObtainAlignedMemory(sizeClass);
    }
    StorageNode node;
    if (!memory) return node;
    node.push_back({std::move(memory), sizeClass});
    const std::lock_guard lock(mutex_);
    ++statistics_.blocksFromSystem;
    ++statistics_.blocksInUse;
    statistics_.bytesFromSystem += sizeClass;
    return node;
  }

  void FreeIdle() noexcept {
    std::list<Storage> surplus;
    const std::lock_guard lock(mutex_);
    DropIdle(surplus);
  }

  /// Moves the idle memory to `surplus`, which must outlive the lock that the caller holds.
  void DropIdle(std::list<Storage>& surplus) noexcept {
    surplus.swap(idle_);
    statistics_.idleBytes = 0;
  }

  mutable std::mutex mutex_;
  std::list<Storage> idle_;  ///< most recently given back first
  RecyclerStatistics statistics_;
  bool closed_ = false;
};

class RecycledBlock final : public IMemoryBlock {
 public:
  RecycledBlock(std::shared_ptr<Pool> pool, std::size_t bytes)
      : pool_(std::move(pool)), storage_(pool_->Take(bytes)), bytes_(bytes) {}
  ~RecycledBlock() override { pool_->GiveBack(std::move(storage_)); }
  RecycledBlock(const RecycledBlock&) = delete;
  RecycledBlock& operator=(const RecycledBlock&) = delete;

  std::uint8_t* GetData() const override { return storage_.front().memory.get(); }
  std::size_t GetSize() const override { return bytes_; }

 private:
  std::shared_ptr<Pool> pool_;
  StorageNode storage_;
  std::size_t bytes_;
};

class Recycler final : public IMemoryBlockAllocator, public IRecyclerStatistics {
 public:
  Recycler() = default;
  ~Recycler() override { pool_->Close(); }
  Recycler(const Recycler&) = delete;
  Recycler& operator=(const Recycler&) = delete;

  std::shared_ptr<IMemoryBlock> AllocateBlock(std::size_t bytes) override {
    return std::make_shared<RecycledBlock>(pool_, bytes);
  }
  RecyclerStatistics GetStatistics() const override { return pool_->GetStatistics(); }

 private:
  // Shared with the blocks, which may outlive the allocator.
  std::shared_ptr<Pool> pool_ = std::make_shared<Pool>();
};

}  // namespace

std::shared_ptr<IMemoryBlockAllocator> CreateRecycler() {
  return std::make_shared<Recycler>();
}

}  // namespace vix
