// SPDX-License-Identifier: BSD-2-Clause
#ifndef GSTREAMER_DECODER_H
#define GSTREAMER_DECODER_H

#include <gst/video/gstvideodecoder.h>

#include <cstdint>
#include <memory>
#include <string>

#include "Formats.h"
#include "Handles.h"
#include "PictureMemory.h"
#include "Runners.h"
#include "vix/ProResFrame.h"
#include "vix/StreamDescription.h"

namespace vixgst {

/// What happens to damaged frames. The order is that of the property's values.
enum class ErrorPolicy {
  Conceal,  ///< pushes a concealed picture, or the one before again, marked as corrupted
  Skip,     ///< drops the frame
  Stop,     ///< posts an error
};

/// Properties of the decoding element.
struct DecoderSettings {
  ErrorPolicy errorPolicy = ErrorPolicy::Conceal;
  guint threads = 0;  ///< frames side by side; 0 = one for each processor
};

/// The work of "vixproresdec". Operations throw exceptions; those on frames and formats require the
/// stream lock.
class Decoder {
 public:
  explicit Decoder(GstVideoDecoder* element);

  /// Follows new caps of the input: finishes the frames before it. The next frame's header
  /// completes them.
  /// @throws VIXError (Unsupported) if downstream accepts no format of the caps' variant
  void SetFormat(const DecoderSettings& settings, GstVideoCodecState* state);
  GstFlowReturn HandleFrame(Ref<GstVideoCodecFrame> frame);
  GstFlowReturn Finish() { return runners_.Drain(); }
  void Flush();
  /// Drops all frames. The caller must not hold the stream lock.
  void Stop();

  /// Returns the caps of frames that become a format that downstream accepts. The caller owns them.
  /// Requires no lock.
  GstCaps* GetInputCaps(GstCaps* filter) const;

  /// Adds the frames of this element to what an answered allocation query requires of a pool.
  void EnlargePools(GstQuery* query) const;
  /// Decodes into buffers of the pool on which an allocation query decided.
  void TakePool(GstQuery* query);

 private:
  struct Job;

  bool IsLate(GstVideoCodecFrame& frame) const;
  std::unique_ptr<PoolRunner> MakeRunner(Implementation implementation);
  vix::ProResFrameHeader ReadHeader(const vix::IBuffer& frame) const;
  std::shared_ptr<const vix::ISampleContainer> MakeInput(GstBuffer* frame, Job& job) const;
  void Follow(const vix::ProResFrameHeader& header);
  void Define(const vix::ProResFrameHeader& header, const RawFormat& format);
  template <typename Elements>
  void Configure(Elements& elements) const;
  const RawFormat& ChooseFormat(vix::VideoChroma chroma) const;
  void Prepare(vix::PoolFrame& frame) const;
  void Complete(vix::PoolFrame& frame) const;
  GstFlowReturn Push(vix::PoolFrame& frame);
  GstFlowReturn PushPicture(Job& job);
  GstFlowReturn ReportDamage(Job& job, const std::string& fault);
  bool RepeatPicture(Job& job);
  bool Negotiate(const vix::ProResFrameHeader& header);
  GstFlowReturn RefusedFlow() const;

  GstVideoDecoder* element_;
  DecoderSettings settings_;
  PictureMemory memory_;
  Runners runners_;
  Ref<GstVideoCodecState> input_;
  bool isDefined_ = false;             ///< the elements expect the stream of `input_`
  const RawFormat* format_ = nullptr;  ///< of the pictures that are decoded
  vix::VideoChroma chroma_{};          ///< for which `format_` was chosen
  GstVideoInfo output_{};              ///< negotiated; width 0 = none
  Ref<GstBuffer> lastDecoded_;         ///< frame of the last picture; null = none
  std::uint64_t damagedFrames_ = 0;
};

}  // namespace vixgst

#endif  // GSTREAMER_DECODER_H
