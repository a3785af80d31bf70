// SPDX-License-Identifier: BSD-2-Clause
#ifndef CORE_ALIGNEDMEMORY_H
#define CORE_ALIGNEDMEMORY_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>

namespace vix {

/// Frame memory starts at a multiple of this: a cache line, and the widest vector register.
inline constexpr std::align_val_t kMemoryAlignment{64};

struct AlignedMemoryDeleter {
  void operator()(std::uint8_t* data) const { ::operator delete(data, kMemoryAlignment); }
};

/// Memory obtained from the system; frees itself.
using AlignedMemory = std::unique_ptr<std::uint8_t, AlignedMemoryDeleter>;

/// `bytes` bytes from the system, or null when it has none.
AlignedMemory ObtainAlignedMemory(std::size_t bytes);

/// Throws the VIXRuntimeError that says that there are no `bytes` bytes.
[[noreturn]] void RefuseAllocation(std::size_t bytes);

}  // namespace vix

#endif  // CORE_ALIGNEDMEMORY_H
