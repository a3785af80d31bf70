// SPDX-License-Identifier: BSD-2-Clause
#ifndef TESTS_CORE_SYSTEMMEMORY_H
#define TESTS_CORE_SYSTEMMEMORY_H

/// How often this process obtained aligned memory from the system, which is where frame memory
/// comes from. Counted by the process's own allocation functions, so whoever asks is seen.
unsigned long CountSystemAllocations();

/// How many of those were not given back yet.
unsigned long CountSystemBlocks();

/// While it lives, the next `refusals` requests for aligned memory are refused.
class SystemMemoryShortage {
 public:
  explicit SystemMemoryShortage(int refusals);
  ~SystemMemoryShortage();
  SystemMemoryShortage(const SystemMemoryShortage&) = delete;
  SystemMemoryShortage& operator=(const SystemMemoryShortage&) = delete;
};

#endif  // TESTS_CORE_SYSTEMMEMORY_H
