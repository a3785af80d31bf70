// SPDX-License-Identifier: BSD-2-Clause
#ifndef CODEC_PARALLEL_WORKERPOOL_H
#define CODEC_PARALLEL_WORKERPOOL_H

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <thread>
#include <type_traits>
#include <vector>

namespace prores {

/// Environment variable with a number of threads, 1 to kMaxDefaultThreads, which overrides
/// SetDefaultThreads(). Other text counts as unset.
inline constexpr const char* kThreadsVariable = "VIX_PRORES_THREADS";
inline constexpr std::uint32_t kMaxDefaultThreads = 4096;

/// Sets the threads of pools that the calling thread creates without a number.
/// @param threads at most kMaxDefaultThreads; 0 = one per processor, the initial setting.
void SetDefaultThreads(std::uint32_t threads);

/// Returns the threads of a pool that the calling thread creates now without a number: those of the
/// environment (kThreadsVariable), of SetDefaultThreads(), or one per processor.
std::uint32_t DefaultThreads();

/// Threads of one codec handle. The thread that calls ParallelFor() works too, so a pool of one
/// thread starts none. A pool is used by one thread at a time; threads end with the pool.
class WorkerPool {
 public:
  /// Starts no thread yet.
  /// @param threads threads that work at the same time, the calling one included; 0 =
  ///                DefaultThreads().
  explicit WorkerPool(std::uint32_t threads);
  ~WorkerPool();

  WorkerPool(const WorkerPool&) = delete;
  WorkerPool& operator=(const WorkerPool&) = delete;

  /// Starts the threads that `tasks` tasks can use, where they do not run yet. Threads that the
  /// system refuses are done without.
  /// @return number of workers that ParallelFor() uses at most, the calling thread included; a
  ///         later call never makes it smaller.
  std::uint32_t StartWorkers(std::uint32_t tasks);

  /// Calls task(index, worker) once for each index in [0, count) and returns when all calls have
  /// returned. Indices are started in ascending order. `worker` is below the last answer of
  /// StartWorkers() (0 for the calling thread, which is the only one before StartWorkers() was
  /// called); no two calls with the same worker overlap. `task` must not throw.
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
  /// One ParallelFor(); lives on the stack of its caller, which outwaits every worker inside it.
  struct Job {
    std::uint32_t count = 0;
    std::atomic<std::uint32_t> next{0};
    const void* task = nullptr;
    void (*call)(const void* task, std::uint32_t index, std::uint32_t worker) noexcept = nullptr;
  };

  void Run(Job& job);
  void Work(std::uint32_t worker);
  static void TakeTasks(Job& job, std::uint32_t worker);

  const std::uint32_t threads_;

  std::mutex mutex_;
  std::condition_variable wake_;  // a job is there, or the pool ends
  std::condition_variable idle_;  // no worker is inside the job any more
  // Written under mutex_; the atomic ones are also watched without it for a while before a thread
  // goes to sleep, because jobs follow each other within microseconds.
  Job* job_ = nullptr;                       // open to workers; null between jobs
  std::atomic<std::uint64_t> jobNumber_{0};  // tells a worker whether it has been in the job
  std::atomic<std::uint32_t> working_{0};    // workers inside the job, without the calling thread
  std::atomic<bool> ending_{false};

  std::vector<std::jthread> workers_;  // used by the pool's caller only
};

}  // namespace prores

#endif  // CODEC_PARALLEL_WORKERPOOL_H
