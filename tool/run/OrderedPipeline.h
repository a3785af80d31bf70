// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_RUN_ORDEREDPIPELINE_H
#define TOOL_RUN_ORDEREDPIPELINE_H

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <functional>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>
#include <vector>

#include "base/Errors.h"

namespace vixprores {

/// The stages of a pipeline. Only calls of `process` overlap, and only those of different workers;
/// every stage may be called from any thread of the pipeline.
template <typename Item>
struct PipelineStages {
  /// Returns the next item; nullopt at the end, after which it is not called again.
  std::function<std::optional<Item>()> read;
  /// Processes one item. `worker` counts from 0.
  std::function<void(Item&, unsigned worker)> process;
  /// Takes the items in the order in which they were read, with the exception that `process` threw
  /// (null = none). Throws to end the run.
  std::function<void(Item&, const std::exception_ptr& failure)> write;
  /// Unblocks a `read` that waits for its source when the run ends early. The exception of that
  /// `read` is ignored. May be empty.
  std::function<void()> stopReading;
};

/// Reads items one by one, processes them side by side, and writes them in their order.
///
/// No thread is reserved for reading or writing: every worker reads an item, processes it, and
/// then, unless another worker is writing, writes the items that are next in order. At most
/// `mostInFlight` items exist at a time. A single worker starts no thread.
///
/// The outcome is that of a plain loop, for any number of workers: the failure of the earliest item
/// ends the run after all items before it were written, and none after it.
template <typename Item>
class OrderedPipeline {
 public:
  /// @param workers threads, including the one that calls Run(); at least 1
  /// @param mostInFlight at least 1
  OrderedPipeline(PipelineStages<Item> stages, unsigned workers, std::size_t mostInFlight)
      : stages_(std::move(stages)), workers_(workers), slots_(mostInFlight) {
    Ensure(workers > 0 && mostInFlight > 0, "a pipeline has workers and slots");
  }

  /// Works until the last item was written. Rethrows exceptions of `read` and `write`. Call it
  /// once.
  void Run() {
    if (workers_ == 1) {
      RunAlone();
      return;
    }
    {
      std::vector<std::jthread> helpers;
      try {
        for (unsigned worker = 1; worker < workers_; ++worker) {
          helpers.emplace_back([this, worker] { Work(worker); });
        }
      } catch (const std::exception&) {
        // No memory or no more threads: continue with fewer, which is only slower.
      }
      Work(0);
    }
    const std::exception_ptr& first = writeFailure_ ? writeFailure_ : readFailure_;
    if (first) std::rethrow_exception(first);
  }

 private:
  /// The place of an item from its reading to its writing.
  struct Slot {
    std::optional<Item> item;
    std::exception_ptr failure;
    bool processed = false;  ///< guarded by mutex_
  };

  void RunAlone() {
    while (auto item = stages_.read()) stages_.write(*item, Process(*item, 0));
  }

  void Work(unsigned worker) {
    while (Slot* slot = ReadNext()) {
      slot->failure = Process(*slot->item, worker);
      Deliver(*slot);
    }
  }

  std::exception_ptr Process(Item& item, unsigned worker) const {
    try {
      stages_.process(item, worker);
      return nullptr;
    } catch (...) {
      return std::current_exception();
    }
  }

  /// Returns the slot of the next item, or null if nothing is left to read.
  Slot* ReadNext() {
    std::unique_lock lock(mutex_);
    mayRead_.wait(lock, [this] {
      const bool hasRoom = nextToRead_ - nextToWrite_ < slots_.size();
      return !reading_ && (ended_ || stopped_ || hasRoom);
    });
    if (ended_ || stopped_) return nullptr;
    Slot& slot = SlotOf(nextToRead_);
    reading_ = true;
    lock.unlock();
    Read(slot);
    lock.lock();
    reading_ = false;
    ended_ = !slot.item;
    if (!ended_) ++nextToRead_;
    WakeReaders();
    return ended_ ? nullptr : &slot;
  }

  /// Follows every change that lets a worker read. Needs mutex_.
  void WakeReaders() {
    if (ended_ || stopped_) {
      mayRead_.notify_all();
    } else {
      mayRead_.notify_one();  // which wakes the next one when it has read
    }
  }

  void Read(Slot& slot) {
    try {
      Ensure(!slot.item, "no two items in flight share a slot");
      slot.item = stages_.read();
    } catch (...) {
      readFailure_ = std::current_exception();
    }
  }

  void Deliver(Slot& slot) {
    std::unique_lock lock(mutex_);
    slot.processed = true;
    if (writing_) return;
    writing_ = true;
    while (!stopped_ && SlotOf(nextToWrite_).processed) {
      Slot& next = SlotOf(nextToWrite_);
      lock.unlock();
      const bool written = Write(next);
      lock.lock();
      next.processed = false;
      ++nextToWrite_;
      stopped_ = !written;
      WakeReaders();
    }
    writing_ = false;
  }

  /// Writes and releases the item. Returns false if writing failed.
  bool Write(Slot& slot) {
    try {
      stages_.write(*slot.item, slot.failure);
    } catch (...) {
      writeFailure_ = std::current_exception();
      if (stages_.stopReading) stages_.stopReading();
    }
    slot.item.reset();
    slot.failure = nullptr;
    return !writeFailure_;
  }

  /// Items in flight have consecutive numbers, so that no two of them share a slot.
  Slot& SlotOf(std::uint64_t number) { return slots_[number % slots_.size()]; }

  const PipelineStages<Item> stages_;
  const unsigned workers_;
  std::vector<Slot> slots_;

  std::exception_ptr readFailure_;   ///< of the worker that reads
  std::exception_ptr writeFailure_;  ///< of the worker that writes

  std::mutex mutex_;
  std::condition_variable mayRead_;
  // Guarded by mutex_:
  std::uint64_t nextToRead_ = 0;
  std::uint64_t nextToWrite_ = 0;
  bool reading_ = false;  ///< a worker reads
  bool writing_ = false;  ///< a worker writes
  bool ended_ = false;    ///< nothing is left to read
  bool stopped_ = false;  ///< an item could not be written
};

}  // namespace vixprores

#endif  // TOOL_RUN_ORDEREDPIPELINE_H
