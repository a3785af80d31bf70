// SPDX-License-Identifier: BSD-2-Clause
#ifndef GSTREAMER_RUNNERS_H
#define GSTREAMER_RUNNERS_H

#include <array>
#include <cstddef>
#include <functional>
#include <memory>
#include <utility>

#include "Host.h"
#include "PoolRunner.h"

namespace vixgst {

/// The runners of the implementations that the streams of an element have needed, one of which
/// processes the present stream. All of them exist until Stop(), because the stream lock is held
/// whenever a stream changes.
///
/// Every operation but construction, destruction and Stop() requires the stream lock.
class Runners {
 public:
  using Make = std::function<std::unique_ptr<PoolRunner>(Implementation)>;

  explicit Runners(Make make) : make_(std::move(make)) {}

  /// Returns the runner of the present stream; null before Select().
  PoolRunner* Get() const { return current_; }
  /// Makes the runner of an implementation that of the present stream. The one before must be
  /// drained.
  PoolRunner& Select(Implementation implementation);
  /// Pushes all results.
  GstFlowReturn Drain() { return current_ ? current_->Drain() : GST_FLOW_OK; }
  /// Drops all frames, for a jump to another place.
  void Discard();
  /// Ends all runners. The caller must not hold the stream lock.
  void Stop();
  /// Returns the number of frames that the present runner holds at most; 0 if there is none.
  std::size_t GetMostInFlight() const;

 private:
  Make make_;
  std::array<std::unique_ptr<PoolRunner>, kImplementations> runners_;
  PoolRunner* current_ = nullptr;
};

}  // namespace vixgst

#endif  // GSTREAMER_RUNNERS_H
