// SPDX-License-Identifier: BSD-2-Clause
#include "parallel/WorkerPool.h"

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <new>
#include <string_view>
#include <system_error>

namespace prores {

namespace {

std::uint32_t AutomaticThreads() {
  constexpr std::uint32_t kMaxThreads = 4096;
  if (const char* const text = std::getenv(kThreadsVariable)) {
    std::uint32_t threads = 0;
    const std::string_view digits(text);
    const auto [end, error] = std::from_chars(digits.begin(), digits.end(), threads);
    if (error == std::errc() && end == digits.end() && threads - 1 < kMaxThreads) return threads;
  }
  return std::max(1u, std::thread::hardware_concurrency());
}

/// Waits some tens of microseconds at most for `condition`, about what waking a thread costs.
template <typename Condition>
void SpinUntil(const Condition& condition) {
  constexpr int kSpins = 1000;
  for (int spin = 0; spin < kSpins && !condition(); ++spin) __builtin_ia32_pause();
}

}  // namespace

WorkerPool::WorkerPool(std::uint32_t threads)
    : threads_(threads != 0 ? threads : AutomaticThreads()) {}

WorkerPool::~WorkerPool() {
  {
    const std::lock_guard lock(mutex_);
    ending_ = true;
  }
  wake_.notify_all();
}

std::uint32_t WorkerPool::StartWorkers(std::uint32_t tasks) {
  const std::uint32_t wanted = std::min(threads_, tasks);
  try {
    while (workers_.size() + 1 < wanted) {
      const auto worker = static_cast<std::uint32_t>(workers_.size() + 1);
      workers_.emplace_back([this, worker] { Work(worker); });
    }
  } catch (const std::system_error&) {
    // Fewer threads are slower, not wrong.
  } catch (const std::bad_alloc&) {
  }
  return static_cast<std::uint32_t>(workers_.size() + 1);
}

void WorkerPool::Run(Job& job) {
  if (workers_.empty() || job.count < 2) {
    TakeTasks(job, 0);
    return;
  }
  {
    const std::lock_guard lock(mutex_);
    job_ = &job;
    ++jobNumber_;
  }
  wake_.notify_all();
  TakeTasks(job, 0);
  // All tasks are taken now. A worker that wakes up later finds no job.
  {
    const std::lock_guard lock(mutex_);
    job_ = nullptr;
  }
  const auto isIdle = [this] { return working_.load(std::memory_order_acquire) == 0; };
  SpinUntil(isIdle);
  if (isIdle()) return;
  std::unique_lock lock(mutex_);
  idle_.wait(lock, isIdle);
}

void WorkerPool::Work(std::uint32_t worker) {
  std::uint64_t lastJob = 0;
  for (;;) {
    SpinUntil([&] { return jobNumber_.load() != lastJob || ending_.load(); });
    std::unique_lock lock(mutex_);
    wake_.wait(lock, [&] { return ending_ || (job_ != nullptr && jobNumber_ != lastJob); });
    if (ending_) return;
    Job& job = *job_;
    lastJob = jobNumber_;
    ++working_;
    lock.unlock();
    TakeTasks(job, worker);
    lock.lock();
    if (--working_ == 0) idle_.notify_one();
  }
}

void WorkerPool::TakeTasks(Job& job, std::uint32_t worker) {
  for (;;) {
    // Only the number is shared here; the mutex orders what the tasks read and write.
    const std::uint32_t index = job.next.fetch_add(1, std::memory_order_relaxed);
    if (index >= job.count) return;
    job.call(job.task, index, worker);
  }
}

}  // namespace prores
