// SPDX-License-Identifier: BSD-2-Clause
#include "Allocations.h"

#include <cstdlib>
#include <new>

namespace prores::test {
Allocations allocations;
}  // namespace prores::test

namespace {

using prores::test::allocations;

void* Allocate(std::size_t bytes, std::size_t alignment) {
  allocations.bytes.fetch_add(bytes);
  if (allocations.FailsNext()) {
    void (*const onFailure)() = allocations.onFailure;
    if (onFailure == nullptr) throw std::bad_alloc();
    onFailure();
  }
  const std::size_t whole = (bytes + alignment) / alignment * alignment;
  if (void* const memory = std::aligned_alloc(alignment, whole)) return memory;
  throw std::bad_alloc();
}

void* AllocateOrNull(std::size_t bytes, std::size_t alignment) noexcept {
  try {
    return Allocate(bytes, alignment);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

}  // namespace

void* operator new(std::size_t bytes) {
  return Allocate(bytes, alignof(std::max_align_t));
}
void* operator new(std::size_t bytes, std::align_val_t alignment) {
  return Allocate(bytes, static_cast<std::size_t>(alignment));
}
void* operator new[](std::size_t bytes) {
  return operator new(bytes);  // that of the sanitizer would not come here
}
void* operator new(std::size_t bytes, const std::nothrow_t&) noexcept {
  return AllocateOrNull(bytes, alignof(std::max_align_t));
}
void* operator new(std::size_t bytes, std::align_val_t alignment, const std::nothrow_t&) noexcept {
  return AllocateOrNull(bytes, static_cast<std::size_t>(alignment));
}
void operator delete(void* memory) noexcept {
  std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
  std::free(memory);
}
void operator delete[](void* memory) noexcept {
  std::free(memory);
}
void operator delete[](void* memory, std::size_t) noexcept {
  std::free(memory);
}
void operator delete(void* memory, std::align_val_t) noexcept {
  std::free(memory);
}
void operator delete(void* memory, std::size_t, std::align_val_t) noexcept {
  std::free(memory);
}
