// SPDX-License-Identifier: BSD-2-Clause
#ifndef CORE_ALLOCATORS_H
#define CORE_ALLOCATORS_H

#include <memory>

#include "vix/Buffers.h"

namespace vix {

/// Returns the allocator of buffers without one of their own; it takes every block from the system.
std::shared_ptr<IMemoryBlockAllocator> GetSystemAllocator();

}  // namespace vix

#endif  // CORE_ALLOCATORS_H
