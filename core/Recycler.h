// SPDX-License-Identifier: BSD-2-Clause
#ifndef CORE_RECYCLER_H
#define CORE_RECYCLER_H

#include <memory>

#include "vix/Buffers.h"

namespace vix {

/// Creates a "Recycler" allocator with its own pool. It also implements IRecyclerStatistics.
std::shared_ptr<IMemoryBlockAllocator> CreateRecycler();

}  // namespace vix

#endif  // CORE_RECYCLER_H
