// SPDX-License-Identifier: BSD-2-Clause
#ifndef VIX_ORDEREDPOOL_H
#define VIX_ORDEREDPOOL_H

#include <cstddef>
#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <optional>

#include "vix/Export.h"

namespace vix {

/// Settings of an OrderedPool.
struct OrderedPoolOptions {
  /// Jobs that are processed at the same time; 0 = one per processor.
  unsigned workers = 0;
  /// Jobs between Submit() and Receive(); 0 = two for each worker, so that it works on one while
  /// the other waits for its predecessors.
  std::size_t mostInFlight = 0;
  /// Receive() processes jobs while it waits, in place of one of the pool's own threads: a pool of
  /// one worker starts none. The thread that receives must not submit with Submit(), which would
  /// wait for it, but with TrySubmit().
  bool receiverWorks = false;
};

/// Processes jobs side by side and returns them in the order of their submission.
///
/// The pool is bounded: a full pool accepts a job only when one was received. The order, and the
/// job that each failure belongs to, do not depend on the number of workers or on timing. Any
/// thread may call any operation; normally one thread submits and the same or another one receives.
/// A pool that cannot start all of its threads works with fewer.
class VIX_API OrderedPool {
 public:
  /// The host's data of one job.
  using Job = std::shared_ptr<void>;
  /// Processes one job. Called on several threads at the same time, with different workers (counted
  /// from 0). Exceptions belong to the job.
  using Process = std::function<void(void* job, unsigned worker)>;

  /// A processed job.
  struct Result {
    std::uint64_t number = 0;    ///< of the job, from 0 since construction or Restart()
    Job job;                     ///< as submitted
    std::exception_ptr failure;  ///< thrown by Process; null = none
  };

  /// @throws VIXError if no thread could be started that processes jobs
  OrderedPool(Process process, const OrderedPoolOptions& options);
  /// Interrupts the pool and waits for the jobs that are being processed.
  ~OrderedPool();
  OrderedPool(const OrderedPool&) = delete;
  OrderedPool& operator=(const OrderedPool&) = delete;

  /// Returns the number of jobs that are processed at the same time.
  unsigned GetWorkers() const;
  /// Returns the number of jobs that the pool holds at most.
  std::size_t GetMostInFlight() const;

  /// Submits a job if the pool is not full.
  /// @return false, and `job` unchanged, if it is full or interrupted
  /// @throws VIXError (WrongOrder) after Flush(), until Receive() returned nullopt
  [[nodiscard]] bool TrySubmit(Job& job);
  /// Waits until the pool is not full, then submits.
  /// @return false if the pool is interrupted
  /// @throws VIXError as TrySubmit()
  bool Submit(Job job);

  /// Returns the next result in order if it is ready.
  std::optional<Result> TryReceive();
  /// Waits for the next result in order.
  /// @return nullopt when all jobs before Flush() were received, after which jobs may be submitted
  ///         again, or if the pool is interrupted
  std::optional<Result> Receive();

  /// Ends the input: Receive() returns nullopt after the last job, instead of waiting for another.
  void Flush();
  /// Drops all jobs. Waiting calls return, and every later Submit() and Receive() returns at once,
  /// until Restart(). Jobs that are being processed end as usual.
  void Interrupt();
  /// Makes an interrupted pool usable again. Waits for the jobs that are being processed. Drops the
  /// jobs of a pool that is not interrupted. Must not be called by the destructor of a job.
  void Restart();

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace vix

#endif  // VIX_ORDEREDPOOL_H
