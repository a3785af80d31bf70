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
  /// Allocations that still succeed; as many later ones as `failures` fail.
  std::atomic<long> untilFailure{kNeverFail};
  std::atomic<long> failures{kAll};
  /// Called in place of a failing allocation, which then succeeds; null = std::bad_alloc is thrown.
  std::atomic<void (*)()> onFailure{nullptr};

  static constexpr long kNeverFail = std::numeric_limits<long>::max();
  static constexpr long kAll = std::numeric_limits<long>::max();

  /// Counts an allocation. Returns true if it is to fail.
  bool FailsNext() {
    count.fetch_add(1);
    const long left = untilFailure.fetch_sub(1);
    return left <= 0 && -left < failures;
  }
};
extern Allocations allocations;

/// Lets `failures` allocations after the first `survived` ones fail, as long as the object lives.
class FailingAllocations {
 public:
  explicit FailingAllocations(long survived, long failures = Allocations::kAll) {
    allocations.failures = failures;
    allocations.untilFailure = survived;
  }
  ~FailingAllocations() {
    allocations.untilFailure = Allocations::kNeverFail;
    allocations.failures = Allocations::kAll;
  }
  FailingAllocations(const FailingAllocations&) = delete;
  FailingAllocations& operator=(const FailingAllocations&) = delete;

  /// Returns true if an allocation has failed.
  bool HaveFailed() const { return allocations.untilFailure < 0; }
};

}  // namespace prores::test

#endif  // TESTS_CODEC_ALLOCATIONS_H
