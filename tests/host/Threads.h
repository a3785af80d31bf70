// SPDX-License-Identifier: BSD-2-Clause
#ifndef TESTS_HOST_THREADS_H
#define TESTS_HOST_THREADS_H

#include <cstddef>
#include <filesystem>
#include <iterator>
#include <thread>

namespace vix::test {

inline std::ptrdiff_t CountThreads() {
  namespace fs = std::filesystem;
  return std::distance(fs::directory_iterator("/proc/self/task"), fs::directory_iterator());
}

/// Threads of the process before the first test.
inline const std::ptrdiff_t kThreadsAtStart = CountThreads();

/// Returns true if the tests have started exactly that many threads. Waits for threads that were
/// joined: the system lists them for a moment.
inline bool HasOwnThreads(std::ptrdiff_t threads) {
  for (int i = 0; i < 10000; ++i) {
    if (CountThreads() - kThreadsAtStart <= threads) break;
    std::this_thread::yield();
  }
  return CountThreads() - kThreadsAtStart == threads;
}

}  // namespace vix::test

#endif  // TESTS_HOST_THREADS_H
