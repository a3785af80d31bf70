// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <thread>
#include <vector>

#include "NoNewThreads.h"
#include "parallel/WorkerPool.h"

namespace prores {
namespace {

TEST(WorkerPool, RunsEveryTaskOnce) {
  for (std::uint32_t threads = 0; threads <= 18; ++threads) {
    WorkerPool pool(threads);
    for (std::uint32_t count = 0; count <= 31; ++count) {
      const std::uint32_t workers = pool.StartWorkers(count);
      std::vector<int> runs(count);
      std::vector<std::atomic<int>> inside(workers);
      std::atomic<bool> overlapped = false;
      pool.ParallelFor(count, [&](std::uint32_t index, std::uint32_t worker) {
        if (worker >= workers || inside[worker]++ != 0) overlapped = true;
        ++runs[index];
        --inside[worker];
      });
      ASSERT_TRUE(std::ranges::all_of(runs, [](int n) { return n == 1; }))
          << threads << " threads, " << count << " tasks";
      ASSERT_FALSE(overlapped);
    }
  }
}

TEST(WorkerPool, MakesTheWorkOfItsTasksVisible) {
  WorkerPool pool(4);
  pool.StartWorkers(64);
  std::vector<std::uint32_t> results(64);
  for (std::uint32_t round = 0; round < 200; ++round) {
    pool.ParallelFor(64, [&](std::uint32_t index, std::uint32_t) { results[index] += index; });
    for (std::uint32_t i = 0; i < 64; ++i) ASSERT_EQ(results[i], i * (round + 1));
  }
}

TEST(WorkerPool, StartsNoMoreThreadsThanTasks) {
  WorkerPool pool(8);
  EXPECT_EQ(pool.StartWorkers(0), 1u);
  EXPECT_EQ(pool.StartWorkers(1), 1u);
  EXPECT_EQ(pool.StartWorkers(3), 3u);
  EXPECT_EQ(pool.StartWorkers(2), 3u);
  EXPECT_EQ(pool.StartWorkers(100), 8u);
}

TEST(WorkerPool, WorksOnTheCallingThreadUntilWorkersAreStarted) {
  WorkerPool pool(8);
  const auto caller = std::this_thread::get_id();
  pool.ParallelFor(10, [&](std::uint32_t, std::uint32_t worker) {
    EXPECT_EQ(worker, 0u);
    EXPECT_EQ(std::this_thread::get_id(), caller);
  });
}

TEST(WorkerPool, UsesItsThreadsAtTheSameTime) {
  WorkerPool pool(3);
  ASSERT_EQ(pool.StartWorkers(3), 3u);
  // Each task waits for the two others, so this ends only if three threads take one each.
  std::atomic<int> arrived = 0;
  pool.ParallelFor(3, [&](std::uint32_t, std::uint32_t) {
    ++arrived;
    while (arrived < 3) std::this_thread::yield();
  });
  EXPECT_EQ(arrived, 3);
}

TEST(WorkerPool, UsesOneThreadPerProcessorForZero) {
  WorkerPool pool(0);
  EXPECT_EQ(pool.StartWorkers(10000), std::max(1u, std::thread::hardware_concurrency()));
}

TEST(WorkerPool, UsesTheNumberOfThreadsOfTheEnvironmentForZero) {
  const auto threadsWith = [](const char* text) {
    setenv(kThreadsVariable, text, 1);
    return WorkerPool(0).StartWorkers(10000);
  };
  EXPECT_EQ(threadsWith("1"), 1u);
  EXPECT_EQ(threadsWith("3"), 3u);
  const std::uint32_t usual = std::max(1u, std::thread::hardware_concurrency());
  for (const char* const text : {"", "0", "-1", "4097", "99999999999", "2 ", "two"}) {
    EXPECT_EQ(threadsWith(text), usual) << text;
  }
  setenv(kThreadsVariable, "3", 1);
  EXPECT_EQ(WorkerPool(2).StartWorkers(10000), 2u);
  unsetenv(kThreadsVariable);
}

TEST(WorkerPool, ContinuesWithFewerThreadsWhereNoneCanBeStarted) {
  WorkerPool pool(64);
  ASSERT_EQ(pool.StartWorkers(2), 2u);
  {
    const test::NoNewThreads none;
    EXPECT_EQ(pool.StartWorkers(64), 2u);
    EXPECT_EQ(WorkerPool(64).StartWorkers(64), 1u);
  }
  std::atomic<int> runs = 0;
  pool.ParallelFor(100, [&](std::uint32_t, std::uint32_t) { ++runs; });
  EXPECT_EQ(runs, 100);
  EXPECT_EQ(pool.StartWorkers(4), 4u);
}

}  // namespace
}  // namespace prores
