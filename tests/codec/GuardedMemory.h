// SPDX-License-Identifier: BSD-2-Clause
#ifndef TESTS_CODEC_GUARDEDMEMORY_H
#define TESTS_CODEC_GUARDEDMEMORY_H

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <new>
#include <span>

namespace prores::test {

/// End of the values that lies at an inaccessible page.
enum class Guard { kInFront, kBehind };

/// Zero values between two inaccessible pages. T is trivial.
template <typename T>
class GuardedMemory {
 public:
  explicit GuardedMemory(std::size_t count, Guard guard = Guard::kBehind) {
    const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    const std::size_t bytes = count * sizeof(T);
    const std::size_t pages = (bytes + page - 1) / page * page;
    size_ = pages + 2 * page;
    memory_ = mmap(nullptr, size_, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (memory_ == MAP_FAILED) throw std::bad_alloc();
    std::byte* const begin = static_cast<std::byte*>(memory_) + page;
    if (pages != 0 && mprotect(begin, pages, PROT_READ | PROT_WRITE) != 0) throw std::bad_alloc();
    std::byte* const first = guard == Guard::kInFront ? begin : begin + pages - bytes;
    values_ = {reinterpret_cast<T*>(first), count};
  }
  ~GuardedMemory() { munmap(memory_, size_); }

  GuardedMemory(const GuardedMemory&) = delete;
  GuardedMemory& operator=(const GuardedMemory&) = delete;

  std::span<T> Values() const { return values_; }

 private:
  void* memory_;
  std::size_t size_;
  std::span<T> values_;
};

}  // namespace prores::test

#endif  // TESTS_CODEC_GUARDEDMEMORY_H
