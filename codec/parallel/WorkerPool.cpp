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

thread_local std::uint32_t t_defaultThreads = 0;

/// Returns 0 where the environment has no valid number.
std::uint32_t ThreadsOfEnvironment() {
  const char* const text = std::getenv(kThreadsVariable);
  if (text == nullptr) return 0;
  std::uint32_t threads = 0;
  const std::string_view digits(text);
  const auto [end, error] = std::from_chars(digits.begin(), digits.end(), threads);
  const bool isNumber = error == std::errc() && end == digits.end();
  return isNumber && threads <= kMaxDefaultThreads ? threads : 0;
}

/// Waits some tens of microseconds at most for `condition`, about what waking a thread costs.
template <typename Condition>
void SpinUntil(const Condition& condition) {
  constexpr int kSpins = 1000;
  for (int spin = 0; spin < kSpins && !condition(); ++spin) __builtin_ia32_pause();
}

}  // namespace

void SetDefaultThreads(std::uint32_t threads) {
  t_defaultThreads = threads;
}

std::uint32_t DefaultThreads() {
  if (const std::uint32_t forced = ThreadsOfEnvironment(); forced != 0) return forced;
  if (t_defaultThreads != 0) return t_defaultThreads;
  return std::max(1u, std::thread::hardware_concurrency());
}

WorkerPool::WorkerPool(std::uint32_t threads)
    : threads_(threads != 0 ? threads : DefaultThreads()) {}

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
