// SPDX-License-Identifier: BSD-2-Clause
#ifndef TESTS_CORE_SYSTEMMEMORY_H
#define TESTS_CORE_SYSTEMMEMORY_H

/// Returns the number of aligned allocations of this process so far. Frame memory is aligned. The
/// process replaces the allocation functions, so allocations of shared libraries count, too.
unsigned long CountSystemAllocations();

/// Returns the number of aligned allocations that are not freed.
unsigned long CountSystemBlocks();

/// Makes the next `failures` aligned allocations fail while it exists.
class SystemMemoryShortage {
 public:
  explicit SystemMemoryShortage(int failures);
  ~SystemMemoryShortage();
  SystemMemoryShortage(const SystemMemoryShortage&) = delete;
  SystemMemoryShortage& operator=(const SystemMemoryShortage&) = delete;
};

#endif  // TESTS_CORE_SYSTEMMEMORY_H
