// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_RUN_ORDEREDRUN_H
#define TOOL_RUN_ORDEREDRUN_H

/// @file
/// Runs from a reader through a pool to a writer.
///
/// The outcome is that of a plain loop, for any number of workers: the failure of the earliest item
/// ends the run after all items before it were written, and none after it. The calling thread
/// writes, and is one of the workers while it waits. Another thread reads, so that a source that
/// waits does not hold back what is ready. A run of one worker starts no thread.

#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <thread>
#include <utility>

#include "vix/ElementPool.h"
#include "vix/OrderedPool.h"

namespace vixprores {

/// Both ends of a run. Each is called by one thread at a time.
template <typename Item>
struct RunEnds {
  /// Returns the next item; nullopt at the end, after which it is not called again.
  std::function<std::optional<Item>()> read;
  /// Takes the items in the order in which they were read, with the exception of their processing
  /// (null = none). Throws to end the run.
  std::function<void(Item&, const std::exception_ptr& failure)> write;
  /// Unblocks a `read` that waits for its source when the run ends early. The exception of that
  /// `read` is ignored. May be empty.
  std::function<void()> stopReading;
};

/// Returns the size of a pool for a run with that many workers.
inline vix::OrderedPoolOptions SizeForRun(unsigned workers) {
  return {.workers = workers, .mostInFlight = 0, .receiverWorks = true};
}

/// An item after its processing.
struct ProcessedItem {
  std::shared_ptr<void> item;
  std::exception_ptr failure;
};

inline bool SubmitItem(vix::OrderedPool& pool, std::shared_ptr<void> item) {
  return pool.Submit(std::move(item));
}
inline bool SubmitItem(vix::ElementPool& pool, std::shared_ptr<void> item) {
  vix::PoolFrame frame;
  frame.context = std::move(item);
  return pool.Submit(std::move(frame));
}
inline std::optional<ProcessedItem> ReceiveItem(vix::OrderedPool& pool) {
  auto result = pool.Receive();
  if (!result) return std::nullopt;
  return ProcessedItem{std::move(result->job), std::move(result->failure)};
}
inline std::optional<ProcessedItem> ReceiveItem(vix::ElementPool& pool) {
  auto frame = pool.Receive();
  if (!frame) return std::nullopt;
  return ProcessedItem{std::move(frame->context), std::move(frame->error)};
}

/// One run through a pool, which processes std::shared_ptr<Item>.
template <typename Item, typename Pool>
class OrderedRun {
 public:
  OrderedRun(Pool& pool, const RunEnds<Item>& ends) : pool_(pool), ends_(ends) {}

  /// Works until the last item was written. Rethrows exceptions of `read` and `write`.
  void RunOneByOne() {
    while (ReadOne()) Write(*ReceiveItem(pool_));
  }
  void RunSideBySide() {
    std::thread reader;
    try {
      reader = std::thread([this] { ReadAll(); });
    } catch (const std::exception&) {
      return RunOneByOne();  // no memory or no more threads: only slower
    }
    const std::exception_ptr failure = WriteAll();
    reader.join();
    if (failure) std::rethrow_exception(failure);
    if (readFailure_) std::rethrow_exception(readFailure_);
  }

 private:
  bool ReadOne() {
    auto item = ends_.read();
    return item && SubmitItem(pool_, std::make_shared<Item>(std::move(*item)));
  }

  void ReadAll() {
    try {
      while (ReadOne()) {
      }
    } catch (...) {
      readFailure_ = std::current_exception();
    }
    pool_.Flush();
  }

  void Write(const ProcessedItem& processed) {
    ends_.write(*static_cast<Item*>(processed.item.get()), processed.failure);
  }

  std::exception_ptr WriteAll() {
    try {
      while (const auto processed = ReceiveItem(pool_)) Write(*processed);
      return nullptr;
    } catch (...) {
      pool_.Interrupt();
      if (ends_.stopReading) ends_.stopReading();
      return std::current_exception();
    }
  }

  Pool& pool_;
  const RunEnds<Item>& ends_;
  std::exception_ptr readFailure_;  ///< of the thread that reads
};

/// Runs items through a pool of that many workers.
template <typename Item, typename Pool>
void RunThrough(Pool& pool, unsigned workers, const RunEnds<Item>& ends) {
  OrderedRun<Item, Pool> run(pool, ends);
  workers == 1 ? run.RunOneByOne() : run.RunSideBySide();
}

/// Runs items through `process`, side by side on that many workers, counted from 0.
template <typename Item>
void RunInOrder(unsigned workers, const RunEnds<Item>& ends,
                std::function<void(Item&, unsigned worker)> process) {
  vix::OrderedPool pool(
      [&](void* item, unsigned worker) { process(*static_cast<Item*>(item), worker); },
      SizeForRun(workers));
  RunThrough(pool, workers, ends);
}

}  // namespace vixprores

#endif  // TOOL_RUN_ORDEREDRUN_H
