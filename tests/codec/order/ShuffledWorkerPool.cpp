// SPDX-License-Identifier: BSD-2-Clause
// Takes the place of the codec's pool of workers. It starts no threads and runs the tasks of a job
// one by one, in an order that threads could also take them in.
#include <unistd.h>

#include <algorithm>
#include <numeric>
#include <random>
#include <vector>

#include "TaskOrder.h"
#include "parallel/WorkerPool.h"

namespace prores {
namespace {

unsigned g_seed = 0;
std::mt19937 g_random;

}  // namespace

namespace test {

void SetTaskOrder(unsigned seed) {
  g_seed = seed;
  g_random.seed(seed);
}

}  // namespace test

void SetDefaultThreads(std::uint32_t) {}

std::uint32_t DefaultThreads() {
  return 1;
}

WorkerPool::WorkerPool(std::uint32_t threads) : threads_(threads), process_(getpid()) {}

WorkerPool::~WorkerPool() = default;

bool WorkerPool::IsForked() const {
  return false;
}

std::uint32_t WorkerPool::StartWorkers(std::uint32_t) {
  return threads_;
}

void WorkerPool::Run(Job& job) {
  std::vector<std::uint32_t> order(job.count);
  std::iota(order.begin(), order.end(), 0);
  if (g_seed != 0) std::ranges::shuffle(order, g_random);
  for (const std::uint32_t index : order) {
    const auto worker = static_cast<std::uint32_t>(g_seed == 0 ? 0 : g_random() % threads_);
    job.call(job.task, index, worker);
  }
}

}  // namespace prores
