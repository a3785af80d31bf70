// SPDX-License-Identifier: BSD-2-Clause
#ifndef TESTS_CODEC_ALLOCATIONS_H
#define TESTS_CODEC_ALLOCATIONS_H

#include <atomic>
#include <cstddef>
#include <limits>

namespace prores::test {

/// Statistics and failures of the program's allocations on all threads. Allocations.cpp replaces
/// the global operator new.
struct Allocations {
  std::atomic<long> count{0};
  std::atomic<std::size_t> bytes{0};
  /// Allocations that still succeed; later ones fail until this is set again.
  std::atomic<long> untilFailure{kNeverFail};

  static constexpr long kNeverFail = std::numeric_limits<long>::max();
};
extern Allocations allocations;

}  // namespace prores::test

#endif  // TESTS_CODEC_ALLOCATIONS_H
