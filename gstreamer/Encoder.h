// SPDX-License-Identifier: BSD-2-Clause
#ifndef GSTREAMER_ENCODER_H
#define GSTREAMER_ENCODER_H

#include <gst/video/gstvideoencoder.h>

#include <memory>
#include <optional>

#include "Formats.h"
#include "Handles.h"
#include "PoolRunner.h"
#include "vix/Buffers.h"
#include "vix/StreamDescription.h"

namespace vixgst {

/// Properties of the encoding element.
struct EncoderSettings {
  const Variant* variant = nullptr;  ///< null = chosen from what downstream accepts
  guint threads = 0;                 ///< frames side by side; 0 = one for each processor
};

/// The work of "vixproresenc". Operations throw exceptions; those on frames and formats require the
/// stream lock.
class Encoder {
 public:
  explicit Encoder(GstVideoEncoder* element) : element_(element) {}

  /// Follows a new format of the input: finishes the frames before it.
  /// @return false if downstream refuses
  bool SetFormat(const EncoderSettings& settings, GstVideoCodecState* state);
  GstFlowReturn HandleFrame(Ref<GstVideoCodecFrame> frame);
  GstFlowReturn Finish() { return runner_ ? runner_->Drain() : GST_FLOW_OK; }
  void Flush();
  /// Drops all frames. The caller must not hold the stream lock.
  void Stop() { runner_.reset(); }

  /// Adds what this element wishes of the input's memory to an allocation query.
  void ProposeAllocation(GstQuery* query) const;

 private:
  struct Job;

  const Variant& ChooseVariant(const EncoderSettings& settings) const;
  void MakeRunner(unsigned threads);
  void Prepare(vix::PoolFrame& frame) const;
  void Label(vix::PoolFrame& frame) const;
  GstFlowReturn Push(vix::PoolFrame& frame);

  GstVideoEncoder* element_;
  std::unique_ptr<PoolRunner> runner_;
  std::shared_ptr<vix::IMemoryBlockAllocator> allocator_;  ///< of copies of pictures
  // Changed only while no frame is being processed.
  Ref<GstVideoCodecState> input_;
  std::shared_ptr<const vix::IInfoContainer> stream_;
};

}  // namespace vixgst

#endif  // GSTREAMER_ENCODER_H
