// SPDX-License-Identifier: BSD-2-Clause
#include "SystemMemory.h"

#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <new>

namespace {

/// More memory than test machines have. Sanitizers abort instead of failing such an allocation.
constexpr std::size_t kMostMemory = std::size_t{1} << 40;

std::atomic<unsigned long> allocations = 0;
std::atomic<unsigned long> releases = 0;
std::atomic<int> failuresLeft = 0;

}  // namespace

unsigned long CountSystemAllocations() {
  return allocations;
}

unsigned long CountSystemBlocks() {
  return allocations - releases;
}

SystemMemoryShortage::SystemMemoryShortage(int failures) {
  failuresLeft = failures;
}
SystemMemoryShortage::~SystemMemoryShortage() {
  failuresLeft = 0;
}

// These replace the standard library's functions for the whole process, shared libraries included.

void* operator new(std::size_t bytes, std::align_val_t alignment, const std::nothrow_t&) noexcept {
  if (failuresLeft > 0) {
    --failuresLeft;
    return nullptr;
  }
  if (bytes > kMostMemory) return nullptr;
  ++allocations;
  const auto multiple = static_cast<std::size_t>(alignment);
  return std::aligned_alloc(multiple, (bytes + multiple) / multiple * multiple);
}

void operator delete(void* memory, std::align_val_t) noexcept {
  ++releases;
  std::free(memory);
}
