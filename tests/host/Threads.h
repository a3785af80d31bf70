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

/// Returns the threads of a process whose tests have started none.
inline std::ptrdiff_t CountOthers() {
#ifdef __SANITIZE_THREAD__
  std::thread([] {}).join();  // with the first thread, the sanitizer starts its own
  return 2;
#else
  return 1;
#endif
}

/// Returns true if the tests have started exactly that many threads. Waits for threads that were
/// joined: the system lists them for a moment.
inline bool HasOwnThreads(std::ptrdiff_t threads) {
  static const std::ptrdiff_t others = CountOthers();
  for (int i = 0; i < 10000 && CountThreads() - others > threads; ++i) std::this_thread::yield();
  return CountThreads() - others == threads;
}

}  // namespace vix::test

#endif  // TESTS_HOST_THREADS_H
