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
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

namespace vixprores {

/// What is done with the items of a pipeline. Only calls of `process` overlap, and only those of
/// different workers; every stage may be called from any thread of the pipeline.
template <typename Item>
struct PipelineStages {
  /// The next item; none at the end, after which it is not called again.
  std::function<std::optional<Item>()> read;
  /// Works on one item. `worker` counts from 0.
  std::function<void(Item&, unsigned worker)> process;
  /// Takes the items in the order in which they were read, with what `process` threw (null =
  /// nothing). Throws to end the run.
  std::function<void(Item&, const std::exception_ptr& failure)> write;
  /// Called when the run ends early: a `read` that waits for its source is to give up. What it
  /// throws then is not looked at. May be empty.
  std::function<void()> stopReading;
};

/// Reads items one by one, processes them side by side, and writes them in their order.
///
/// No thread is set aside for reading or writing: every worker reads an item, processes it, and
/// then, unless another one is at it, writes what is next in order. At most `mostInFlight` items
/// exist at a time, and one worker does with as many threads as a plain loop: none of its own.
///
/// The outcome is that of the plain loop, whatever the number of workers: the failure of the
/// earliest item ends the run, all items before it have then been written, and none behind it.
template <typename Item>
class OrderedPipeline {
 public:
  /// `workers` threads, the calling one of Run() included; both numbers must be at least 1.
  OrderedPipeline(PipelineStages<Item> stages, unsigned workers, std::size_t mostInFlight)
      : stages_(std::move(stages)), workers_(workers), slots_(mostInFlight) {}

  /// Works until the last item was written. Rethrows what `read` or `write` threw. To be called
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
      } catch (const std::system_error&) {
        // Fewer threads are slower, not wrong.
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

  /// The slot of the next item; null when no more is to be read.
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

  /// To be called after every change that lets a worker read. Needs mutex_.
  void WakeReaders() {
    if (ended_ || stopped_) {
      mayRead_.notify_all();
    } else {
      mayRead_.notify_one();  // who will wake the next one when it has read
    }
  }

  void Read(Slot& slot) {
    try {
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

  /// Writes the item and lets go of it; false when that failed.
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

  /// As the items in flight have consecutive numbers, no two of them share a slot.
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
