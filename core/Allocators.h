// SPDX-License-Identifier: BSD-2-Clause
#ifndef CORE_ALLOCATORS_H
#define CORE_ALLOCATORS_H

#include <memory>

#include "vix/Buffers.h"

namespace vix {

/// The allocator of buffers that have none of their own: every block comes from the system.
std::shared_ptr<IMemoryBlockAllocator> GetSystemAllocator();

}  // namespace vix

#endif  // CORE_ALLOCATORS_H
