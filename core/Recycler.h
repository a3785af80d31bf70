// SPDX-License-Identifier: BSD-2-Clause
#ifndef CORE_RECYCLER_H
#define CORE_RECYCLER_H

#include <memory>

#include "vix/Buffers.h"

namespace vix {

/// A new "Recycler" allocator with a pool of its own; it offers IRecyclerStatistics as well.
std::shared_ptr<IMemoryBlockAllocator> CreateRecycler();

}  // namespace vix

#endif  // CORE_RECYCLER_H
