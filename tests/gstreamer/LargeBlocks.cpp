// SPDX-License-Identifier: BSD-2-Clause
#include "LargeBlocks.h"

#include <atomic>
#include <cerrno>
#include <cstdint>

namespace {

std::atomic<std::size_t> least = SIZE_MAX;
std::atomic<unsigned> blocks = 0;

void Count(std::size_t bytes) {
  if (bytes >= least) ++blocks;
}

}  // namespace

unsigned vix::test::CountLargeBlocks(std::size_t bytes) {
  least = bytes;
  return blocks.exchange(0);
}

// These replace the system's functions for the whole process. What they return is the system's, so
// that its free() fits.
extern "C" {

void* __libc_malloc(std::size_t bytes);
void* __libc_calloc(std::size_t count, std::size_t bytes);
void* __libc_realloc(void* block, std::size_t bytes);
void* __libc_memalign(std::size_t alignment, std::size_t bytes);

void* malloc(std::size_t bytes) {
  Count(bytes);
  return __libc_malloc(bytes);
}

void* calloc(std::size_t count, std::size_t bytes) {
  Count(count * bytes);
  return __libc_calloc(count, bytes);
}

void* realloc(void* block, std::size_t bytes) {
  Count(bytes);
  return __libc_realloc(block, bytes);
}

void* memalign(std::size_t alignment, std::size_t bytes) {
  Count(bytes);
  return __libc_memalign(alignment, bytes);
}

void* aligned_alloc(std::size_t alignment, std::size_t bytes) {
  return memalign(alignment, bytes);
}

int posix_memalign(void** block, std::size_t alignment, std::size_t bytes) {
  *block = memalign(alignment, bytes);
  return *block ? 0 : ENOMEM;
}

}  // extern "C"
