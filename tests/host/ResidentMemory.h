// SPDX-License-Identifier: BSD-2-Clause
#ifndef TESTS_HOST_RESIDENTMEMORY_H
#define TESTS_HOST_RESIDENTMEMORY_H

#include <unistd.h>

#include <cstddef>
#include <fstream>

namespace vix::test {

/// Returns the bytes of memory that the process occupies.
inline std::size_t GetResidentBytes() {
  std::ifstream file("/proc/self/statm");
  std::size_t size = 0;
  std::size_t resident = 0;
  file >> size >> resident;
  return resident * static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
}

}  // namespace vix::test

#endif  // TESTS_HOST_RESIDENTMEMORY_H
