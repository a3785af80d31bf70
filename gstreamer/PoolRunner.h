// SPDX-License-Identifier: BSD-2-Clause
#ifndef GSTREAMER_POOLRUNNER_H
#define GSTREAMER_POOLRUNNER_H

#include <gst/gst.h>

#include <condition_variable>
#include <cstddef>
#include <functional>
#include <mutex>
#include <optional>
#include <thread>

#include "Host.h"
#include "vix/ElementPool.h"

namespace vixgst {

/// A pool whose results are pushed in order as soon as they are ready, by a thread of its own.
///
/// The streaming thread never gives up the stream lock: while it waits for room in the pool or for
/// the last frame, it pushes the results itself. So nothing waits for a lock whose owner waits for
/// it, however often a base class has locked it.
///
/// Every operation but construction and destruction requires the stream lock.
class PoolRunner {
 public:
  /// Pushes a result downstream. Called with the stream lock, in order. Must not throw.
  using Finish = std::function<GstFlowReturn(vix::PoolFrame&)>;

  /// @throws VIXError (NotFound) if there is no such element
  PoolRunner(vix::ElementFactoryType type, Implementation implementation,
             vix::ElementPoolOptions options, GRecMutex& streamLock, Finish finish);
  /// Drops all frames and ends the thread. The caller must not hold the stream lock.
  ~PoolRunner();
  PoolRunner(const PoolRunner&) = delete;
  PoolRunner& operator=(const PoolRunner&) = delete;

  /// Returns the pool, to configure and define it.
  vix::ElementPool& GetPool() { return pool_; }

  /// Submits a frame. Pushes results while the pool is full.
  /// @return the first result of `finish` since Discard() that is not GST_FLOW_OK, after which
  /// frames
  ///         are dropped; GST_FLOW_NOT_LINKED is returned once
  GstFlowReturn Submit(vix::PoolFrame frame);
  /// Pushes all results.
  /// @return as Submit()
  GstFlowReturn Drain();
  /// Drops all frames, for a jump to another place.
  void Discard();

 private:
  void PushWhenReady();
  bool WaitForFrames();
  void Fetch();
  bool FinishOne(bool mayWait);
  GstFlowReturn TakeFlow();
  void Count(std::ptrdiff_t change);

  vix::ElementPool pool_;
  GRecMutex& streamLock_;
  Finish finish_;
  GstFlowReturn flow_ = GST_FLOW_OK;

  /// Held while a result is received, so that results cannot overtake each other.
  std::mutex receiving_;
  std::optional<vix::PoolFrame> received_;  ///< the next result, to be finished

  std::mutex counting_;
  std::condition_variable counted_;
  std::ptrdiff_t unfinished_ = 0;  ///< frames in the pool and in `received_`
  bool isStopping_ = false;

  std::thread thread_;  ///< last: it uses all the others
};

}  // namespace vixgst

#endif  // GSTREAMER_POOLRUNNER_H
