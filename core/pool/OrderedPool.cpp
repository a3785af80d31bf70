// SPDX-License-Identifier: BSD-2-Clause
#include "vix/OrderedPool.h"

#include <algorithm>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "vix/Error.h"

namespace vix {
namespace {

constexpr std::size_t kJobsPerWorker = 2;

OrderedPoolOptions Complete(OrderedPoolOptions options) {
  if (options.workers == 0) options.workers = std::max(1u, std::thread::hardware_concurrency());
  if (options.mostInFlight == 0) options.mostInFlight = kJobsPerWorker * options.workers;
  return options;
}

}  // namespace

struct __attribute__((visibility("hidden"))) OrderedPool::State {
  using Lock = std::unique_lock<std::mutex>;

  /// The place of a job from its submission to its return.
  struct Slot {
    Job job;
    std::exception_ptr failure;
    bool processed = false;
  };

  State(Process work, const OrderedPoolOptions& settings)
      : process(std::move(work)), options(Complete(settings)), slots(options.mostInFlight) {
    for (unsigned worker = options.workers; worker > 0; --worker) idle.push_back(worker - 1);
  }

  /// Jobs in flight have consecutive numbers, so that no two of them share a slot.
  Slot& SlotOf(std::uint64_t number) { return slots[number % slots.size()]; }
  bool IsFull() const { return nextToSubmit - nextToReceive == slots.size(); }
  bool IsReady() { return nextToReceive < nextToSubmit && SlotOf(nextToReceive).processed; }
  bool CanProcess() const { return nextToProcess < nextToSubmit && !idle.empty(); }

  /// Processes the next job. Call it if CanProcess().
  void ProcessNext(Lock& lock) {
    const std::uint64_t round = rounds;
    const std::uint64_t number = nextToProcess++;
    Slot& slot = SlotOf(number);
    const unsigned worker = idle.back();
    idle.pop_back();
    if (CanProcess()) WakeWorker();
    Job job = slot.job;  // keeps a job alive that is dropped meanwhile
    lock.unlock();
    std::exception_ptr failure;
    try {
      process(job.get(), worker);
    } catch (...) {
      failure = std::current_exception();
    }
    job.reset();  // without the lock, as its destructor is the host's
    lock.lock();
    idle.push_back(worker);
    if (round == rounds) {  // otherwise the job was dropped, and another one may have its slot
      slot.failure = std::move(failure);
      slot.processed = true;
      if (number == nextToReceive) mayReceive.notify_all();
    }
    if (CanProcess()) WakeWorker();
    if (MayRestart()) mayRestart.notify_all();
  }

  /// Wakes a thread that processes jobs: one of the pool's own, or a receiver if all are busy.
  void WakeWorker() {
    if (asleep > 0) {
      mayProcess.notify_one();
    } else if (options.receiverWorks) {
      mayReceive.notify_one();
    }
  }

  void WorkUntilClosed() {
    Lock lock(mutex);
    while (!closed) {
      if (CanProcess()) {
        ProcessNext(lock);
      } else {
        ++asleep;
        mayProcess.wait(lock);
        --asleep;
      }
    }
  }

  /// Waits for a result, or processes a job meanwhile.
  void ReceiveLater(Lock& lock) {
    if (options.receiverWorks && CanProcess()) {
      ProcessNext(lock);
    } else {
      mayReceive.wait(lock);
    }
  }

  void SubmitNow(Job& job) {
    SlotOf(nextToSubmit++).job = std::move(job);
    WakeWorker();
  }

  void RefuseAfterFlush() const {
    if (!flushed) return;
    throw VIXError(ErrorCode::WrongOrder,
                   "Submitted after Flush; call Receive until it returns nothing first");
  }

  Result TakeNext() {
    Slot& slot = SlotOf(nextToReceive);
    Result result{nextToReceive++, std::move(slot.job), std::exchange(slot.failure, nullptr)};
    slot.processed = false;
    maySubmit.notify_one();
    return result;
  }

  /// Empties an interrupted pool. Destroys the jobs without the lock, and one by one: the end of a
  /// pool must not need memory.
  void DropJobs(Lock& lock) {
    ++rounds;
    nextToProcess = nextToReceive = nextToSubmit;
    flushed = false;
    ++dropping;
    for (Slot& slot : slots) {
      Slot dropped = std::exchange(slot, {});
      lock.unlock();
      dropped = {};
      lock.lock();
    }
    --dropping;
    if (MayRestart()) mayRestart.notify_all();
  }

  bool MayRestart() const { return idle.size() == options.workers && dropping == 0; }

  const Process process;
  const OrderedPoolOptions options;

  std::mutex mutex;
  // One for each kind of waiting, as waking a thread for nothing costs more than the pool's work.
  std::condition_variable mayProcess;  ///< for the pool's own threads
  std::condition_variable maySubmit;
  std::condition_variable mayReceive;
  std::condition_variable mayRestart;
  // Guarded by the mutex:
  unsigned asleep = 0;  ///< own threads that wait for a job
  std::vector<Slot> slots;
  std::vector<unsigned> idle;  ///< workers
  std::uint64_t rounds = 0;    ///< times that all jobs were dropped
  unsigned dropping = 0;       ///< threads in DropJobs()
  std::uint64_t nextToSubmit = 0;
  std::uint64_t nextToProcess = 0;
  std::uint64_t nextToReceive = 0;
  bool flushed = false;
  bool interrupted = false;
  bool closed = false;

  std::vector<std::thread> threads;
};

OrderedPool::OrderedPool(Process process, const OrderedPoolOptions& options)
    : state_(std::make_unique<State>(std::move(process), options)) {
  State& state = *state_;
  const unsigned receivers = state.options.receiverWorks ? 1 : 0;
  try {
    for (unsigned i = receivers; i < state.options.workers; ++i) {
      state.threads.emplace_back([&state] { state.WorkUntilClosed(); });
    }
  } catch (const std::exception& error) {
    // No memory or no more threads: continue with fewer, which is only slower.
    if (state.threads.empty() && receivers == 0) {
      throw VIXError(ErrorCode::OutOfMemory,
                     std::string("OrderedPool: no thread could be started: ") + error.what());
    }
  }
}

OrderedPool::~OrderedPool() {
  Interrupt();
  State& state = *state_;
  {
    const std::lock_guard lock(state.mutex);
    state.closed = true;
  }
  state.mayProcess.notify_all();
  for (std::thread& thread : state.threads) thread.join();
}

unsigned OrderedPool::GetWorkers() const {
  return state_->options.workers;
}

std::size_t OrderedPool::GetMostInFlight() const {
  return state_->options.mostInFlight;
}

bool OrderedPool::TrySubmit(Job& job) {
  State& state = *state_;
  const std::lock_guard lock(state.mutex);
  state.RefuseAfterFlush();
  if (state.interrupted || state.IsFull()) return false;
  state.SubmitNow(job);
  return true;
}

bool OrderedPool::Submit(Job job) {
  State& state = *state_;
  State::Lock lock(state.mutex);
  state.RefuseAfterFlush();
  state.maySubmit.wait(lock, [&] { return state.interrupted || !state.IsFull(); });
  if (state.interrupted) return false;
  state.SubmitNow(job);
  return true;
}

std::optional<OrderedPool::Result> OrderedPool::TryReceive() {
  State& state = *state_;
  const std::lock_guard lock(state.mutex);
  if (state.interrupted || !state.IsReady()) return std::nullopt;
  return state.TakeNext();
}

std::optional<OrderedPool::Result> OrderedPool::Receive() {
  State& state = *state_;
  State::Lock lock(state.mutex);
  for (;;) {
    if (state.interrupted) return std::nullopt;
    if (state.IsReady()) return state.TakeNext();
    if (state.flushed && state.nextToReceive == state.nextToSubmit) {
      state.flushed = false;
      return std::nullopt;
    }
    state.ReceiveLater(lock);
  }
}

void OrderedPool::Flush() {
  State& state = *state_;
  {
    const std::lock_guard lock(state.mutex);
    state.flushed = true;
  }
  state.mayReceive.notify_all();
}

void OrderedPool::Interrupt() {
  State& state = *state_;
  State::Lock lock(state.mutex);
  state.interrupted = true;
  state.maySubmit.notify_all();
  state.mayReceive.notify_all();
  state.DropJobs(lock);
}

void OrderedPool::Restart() {
  State& state = *state_;
  Interrupt();
  State::Lock lock(state.mutex);
  state.mayRestart.wait(lock, [&] { return state.MayRestart(); });
  state.nextToSubmit = state.nextToProcess = state.nextToReceive = 0;
  state.interrupted = false;
}

}  // namespace vix
