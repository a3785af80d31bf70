// SPDX-License-Identifier: BSD-2-Clause
#include "parallel/WorkerPool.h"

#include <unistd.h>

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

/// Waits for `condition`, at most some tens of microseconds: about the cost of waking a thread.
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
    : threads_(threads != 0 ? threads : DefaultThreads()),
      process_(getpid()),
      team_(std::make_unique<Team>()) {}

WorkerPool::~WorkerPool() {
  if (IsForked()) {
    // Joining threads that do not exist would never end, nor would destroying a condition variable
    // for which they wait. The team's memory is lost to the child.
    static_cast<void>(team_.release());
    return;
  }
  {
    const std::lock_guard lock(team_->mutex);
    team_->ending = true;
  }
  team_->wake.notify_all();
  team_->workers.clear();  // joins
}

bool WorkerPool::IsForked() const {
  return !team_->workers.empty() && getpid() != process_;
}

std::uint32_t WorkerPool::StartWorkers(std::uint32_t tasks) {
  const std::uint32_t wanted = std::min(threads_, tasks);
  std::vector<std::jthread>& workers = team_->workers;
  try {
    while (workers.size() + 1 < wanted) {
      const auto worker = static_cast<std::uint32_t>(workers.size() + 1);
      workers.emplace_back([team = team_.get(), worker] { team->Work(worker); });
    }
  } catch (const std::system_error&) {
    // Fewer threads are slower, not wrong.
  } catch (const std::bad_alloc&) {
  }
  return static_cast<std::uint32_t>(workers.size() + 1);
}

void WorkerPool::Run(Job& job) {
  if (team_->workers.empty() || job.count < 2) {
    TakeTasks(job, 0);
  } else {
    team_->Run(job);
  }
}

void WorkerPool::Team::Run(Job& ownJob) {
  {
    const std::lock_guard lock(mutex);
    job = &ownJob;
    ++jobNumber;
  }
  wake.notify_all();
  TakeTasks(ownJob, 0);
  // All tasks are taken now. A worker that wakes up later finds no job.
  {
    const std::lock_guard lock(mutex);
    job = nullptr;
  }
  const auto isIdle = [this] { return working.load(std::memory_order_acquire) == 0; };
  SpinUntil(isIdle);
  if (isIdle()) return;
  std::unique_lock lock(mutex);
  idle.wait(lock, isIdle);
}

void WorkerPool::Team::Work(std::uint32_t worker) {
  std::uint64_t lastJob = 0;
  for (;;) {
    SpinUntil([&] { return jobNumber.load() != lastJob || ending.load(); });
    std::unique_lock lock(mutex);
    wake.wait(lock, [&] { return ending || (job != nullptr && jobNumber != lastJob); });
    if (ending) return;
    Job& current = *job;
    lastJob = jobNumber;
    ++working;
    lock.unlock();
    TakeTasks(current, worker);
    lock.lock();
    if (--working == 0) idle.notify_one();
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
