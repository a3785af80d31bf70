// SPDX-License-Identifier: BSD-2-Clause
#ifndef GSTREAMER_ENCODER_H
#define GSTREAMER_ENCODER_H

#include <gst/video/gstvideoencoder.h>

#include <memory>
#include <optional>

#include "Formats.h"
#include "Handles.h"
#include "Runners.h"
#include "vix/Buffers.h"
#include "vix/StreamDescription.h"

namespace vixgst {

/// Properties of the encoding element.
struct EncoderSettings {
  const Variant* variant = nullptr;  ///< null = chosen from what downstream accepts
  int alphaBits = -1;                ///< of 4444: 0, 8 or 16; -1 = 16 if the input has alpha
  guint threads = 0;                 ///< frames side by side; 0 = one for each processor
};

/// The work of "vixproresenc". Operations throw exceptions; those on frames and formats require the
/// stream lock.
class Encoder {
 public:
  explicit Encoder(GstVideoEncoder* element);

  /// Follows a new format of the input: finishes the frames before it.
  /// @return false if downstream refuses
  bool SetFormat(const EncoderSettings& settings, GstVideoCodecState* state);
  GstFlowReturn HandleFrame(Ref<GstVideoCodecFrame> frame);
  GstFlowReturn Finish() { return runners_.Drain(); }
  void Flush() { runners_.Discard(); }
  /// Drops all frames. The caller must not hold the stream lock.
  void Stop() { runners_.Stop(); }

  /// Returns the caps of pictures that become a variant that is wanted and that downstream accepts.
  /// The caller owns them. Requires no lock.
  GstCaps* GetInputCaps(const EncoderSettings& settings, GstCaps* filter) const;

  /// Adds what this element wishes of the input's memory to an allocation query.
  void ProposeAllocation(GstQuery* query) const;

 private:
  struct Job;

  const Variant& ChooseVariant(const RawFormat& format) const;
  void Configure(vix::ElementPool& pool, const Variant& variant) const;
  std::unique_ptr<PoolRunner> MakeRunner(Implementation implementation);
  void Prepare(vix::PoolFrame& frame) const;
  void Label(vix::PoolFrame& frame) const;
  GstFlowReturn Push(vix::PoolFrame& frame);

  GstVideoEncoder* element_;
  EncoderSettings settings_;
  Runners runners_;
  std::shared_ptr<vix::IMemoryBlockAllocator> allocator_;  ///< of copies of pictures
  // Changed only while no frame is being processed.
  GstVideoInfo input_{};  ///< with the colorimetry of the frames
  std::shared_ptr<const vix::IInfoContainer> stream_;
};

}  // namespace vixgst

#endif  // GSTREAMER_ENCODER_H
