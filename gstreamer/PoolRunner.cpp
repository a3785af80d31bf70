// SPDX-License-Identifier: BSD-2-Clause
#include "PoolRunner.h"

#include <utility>

#include "Handles.h"

namespace vixgst {

PoolRunner::PoolRunner(vix::ElementFactoryType type, Implementation implementation,
                       vix::ElementPoolOptions options, GRecMutex& streamLock, Finish finish)
    : pool_(type, NameOf(implementation), kElementType, std::move(options)),
      streamLock_(streamLock),
      finish_(std::move(finish)),
      thread_([this] { PushWhenReady(); }) {}

PoolRunner::~PoolRunner() {
  {
    const std::lock_guard guard(counting_);
    isStopping_ = true;
  }
  counted_.notify_one();
  pool_.Interrupt();
  thread_.join();
}

GstFlowReturn PoolRunner::Submit(vix::PoolFrame frame) {
  while (flow_ == GST_FLOW_OK && !pool_.TrySubmit(frame)) FinishOne(true);
  if (flow_ == GST_FLOW_OK) Count(1);
  return TakeFlow();
}

GstFlowReturn PoolRunner::Drain() {
  while (FinishOne(true)) {
  }
  return TakeFlow();
}

void PoolRunner::Discard() {
  pool_.Interrupt();
  const std::lock_guard guard(receiving_);
  received_.reset();
  pool_.Restart();
  const std::lock_guard counting(counting_);
  unfinished_ = 0;
  flow_ = GST_FLOW_OK;
}

// The thread of this object.
void PoolRunner::PushWhenReady() {
  while (WaitForFrames()) {
    {
      const std::lock_guard guard(receiving_);
      Fetch();
    }
    const StreamLock lock(streamLock_);
    FinishOne(false);
  }
}

// Waits until there are unfinished frames. Returns false at the end.
bool PoolRunner::WaitForFrames() {
  std::unique_lock lock(counting_);
  counted_.wait(lock, [this] { return isStopping_ || unfinished_ > 0; });
  return !isStopping_;
}

// Waits for the next result if there are unfinished frames. The caller holds `receiving_`.
void PoolRunner::Fetch() {
  if (received_) return;
  {
    const std::lock_guard guard(counting_);
    if (unfinished_ == 0) return;
  }
  received_ = pool_.Receive();
}

// Finishes the next result. Returns false if there is none.
bool PoolRunner::FinishOne(bool mayWait) {
  std::optional<vix::PoolFrame> next;
  {
    const std::lock_guard guard(receiving_);
    if (mayWait) Fetch();
    next = std::exchange(received_, std::nullopt);
    if (!next) return false;
    Count(-1);  // before the other thread may wait for a next result
  }
  if (flow_ == GST_FLOW_OK) flow_ = finish_(*next);
  return true;
}

// Returns the state of the output. A pad without a peer may get one.
GstFlowReturn PoolRunner::TakeFlow() {
  return flow_ == GST_FLOW_NOT_LINKED ? std::exchange(flow_, GST_FLOW_OK) : flow_;
}

void PoolRunner::Count(std::ptrdiff_t change) {
  {
    const std::lock_guard guard(counting_);
    unfinished_ += change;
  }
  counted_.notify_one();
}

}  // namespace vixgst
