// SPDX-License-Identifier: BSD-2-Clause
#ifndef CODEC_PARALLEL_WORKERPOOL_H
#define CODEC_PARALLEL_WORKERPOOL_H

#include <sys/types.h>

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <thread>
#include <type_traits>
#include <vector>

#include "ProRes/ProResHost.h"

namespace prores {

/// Environment variable with a number of threads, 1 to kMaxDefaultThreads, which overrides
/// SetDefaultThreads(). Other text counts as unset.
inline constexpr const char* kThreadsVariable = "VIX_PRORES_THREADS";
inline constexpr std::uint32_t kMaxDefaultThreads = kWPRMostDefaultThreads;

/// Sets the threads of pools that the calling thread creates without a number.
/// @param threads at most kMaxDefaultThreads; 0 = one per processor, the initial setting.
void SetDefaultThreads(std::uint32_t threads);

/// Returns the threads of a pool that the calling thread creates now without a number: those of the
/// environment (kThreadsVariable), of SetDefaultThreads(), or one per processor.
std::uint32_t DefaultThreads();

/// Threads of one codec handle. The thread that calls ParallelFor() works too, so a pool of one
/// thread starts none. A pool is used by one thread at a time; its threads end with it.
///
/// A forked child has none of its parent's threads. There, a pool that has started threads can only
/// be destroyed: see IsForked().
class WorkerPool {
 public:
  /// Starts no thread yet.
  /// @param threads threads that work at the same time, the calling one included; 0 =
  ///                DefaultThreads().
  explicit WorkerPool(std::uint32_t threads);
  ~WorkerPool();

  WorkerPool(const WorkerPool&) = delete;
  WorkerPool& operator=(const WorkerPool&) = delete;

  /// Starts the threads that `tasks` tasks can use and that are not running yet. Continues with
  /// fewer threads where the system refuses to start one.
  /// @return the workers that ParallelFor() uses at most, the calling thread included; never fewer
  ///         than an earlier call returned.
  std::uint32_t StartWorkers(std::uint32_t tasks);

  /// Whether the pool's threads belong to a parent process. StartWorkers() and ParallelFor() must
  /// not be called then.
  bool IsForked() const;

  /// Calls task(index, worker) once for each index in [0, count) and returns when all calls have
  /// returned. Indices are started in ascending order. `worker` is below the last result of
  /// StartWorkers(), and 0 for the calling thread, which is the only one before StartWorkers() was
  /// called. No two calls with the same worker overlap. `task` must not throw.
  template <typename Task>
  void ParallelFor(std::uint32_t count, Task&& task) {
    using Callable = std::remove_reference_t<Task>;
    Job job;
    job.count = count;
    job.task = std::addressof(task);
    job.call = [](const void* context, std::uint32_t index, std::uint32_t worker) noexcept {
      (*static_cast<const Callable*>(context))(index, worker);
    };
    Run(job);
  }

 private:
  /// One ParallelFor(). Lives on the stack of its caller, which waits for every worker inside it.
  struct Job {
    std::uint32_t count = 0;
    std::atomic<std::uint32_t> next{0};
    const void* task = nullptr;
    void (*call)(const void* task, std::uint32_t index, std::uint32_t worker) noexcept = nullptr;
  };

  /// The threads and everything that they use.
  struct Team {
    void Work(std::uint32_t worker);
    void Run(Job& ownJob);

    std::mutex mutex;
    std::condition_variable wake;  ///< a job was set, or the pool ends
    std::condition_variable idle;  ///< no worker is inside the job any more
    // Written under the mutex. The atomic members are also polled without it for a while before a
    // thread goes to sleep, because jobs follow each other within microseconds.
    Job* job = nullptr;                       ///< open to workers; null between jobs
    std::atomic<std::uint64_t> jobNumber{0};  ///< lets a worker detect a new job
    std::atomic<std::uint32_t> working{0};  ///< workers inside the job, without the calling thread
    std::atomic<bool> ending{false};
    std::vector<std::jthread> workers;  ///< used by the pool's caller only
  };

  void Run(Job& job);
  static void TakeTasks(Job& job, std::uint32_t worker);

  const std::uint32_t threads_;
  const pid_t process_;
  std::unique_ptr<Team> team_;
};

}  // namespace prores

#endif  // CODEC_PARALLEL_WORKERPOOL_H
