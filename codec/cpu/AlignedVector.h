// SPDX-License-Identifier: BSD-2-Clause
#ifndef CODEC_CPU_ALIGNEDVECTOR_H
#define CODEC_CPU_ALIGNEDVECTOR_H

#include <cstddef>
#include <new>
#include <vector>

namespace prores {

/// Bytes of a cache line and of the widest vector.
inline constexpr std::size_t kVectorAlignment = 64;

/// Allocates at multiples of kVectorAlignment.
template <typename T>
struct VectorAllocator {
  using value_type = T;

  VectorAllocator() = default;
  template <typename U>
  explicit VectorAllocator(const VectorAllocator<U>& /*other*/) {}

  T* allocate(std::size_t count) {
    return static_cast<T*>(::operator new (count * sizeof(T), std::align_val_t{kVectorAlignment}));
  }
  void deallocate(T* memory, std::size_t /*count*/) noexcept {
    ::operator delete (memory, std::align_val_t{kVectorAlignment});
  }
  template <typename U>
  bool operator==(const VectorAllocator<U>& /*other*/) const {
    return true;
  }
};

template <typename T>
using AlignedVector = std::vector<T, VectorAllocator<T>>;

}  // namespace prores

#endif  // CODEC_CPU_ALIGNEDVECTOR_H
