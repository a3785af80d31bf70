// SPDX-License-Identifier: BSD-2-Clause
#ifndef TESTS_GSTREAMER_HARNESS_H
#define TESTS_GSTREAMER_HARNESS_H

/// @file
/// An element between the pads of a test, and buffers with the numbered pictures of
/// tests/host/Pictures.h.

#include <gst/check/gstharness.h>
#include <gst/gst.h>
#include <gst/video/video.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "Pictures.h"
#include "vix/Types.h"

namespace vix::test {

using Bytes = std::vector<std::uint8_t>;
using BufferPointer = std::shared_ptr<GstBuffer>;
using CapsPointer = std::shared_ptr<GstCaps>;

inline constexpr const char* kEncoder = "vixproresenc";
inline constexpr const char* kDecoder = "vixproresdec";
/// Duration of each test frame.
inline constexpr GstClockTime kFrameTime = GST_SECOND / 25;
/// Frames of most tests: more than an element has in flight.
inline constexpr unsigned kFrames = 12;

/// Take over a reference, which may be null.
BufferPointer Own(GstBuffer* buffer);
CapsPointer Own(GstCaps* caps);
CapsPointer CapsOf(const std::string& text);

/// Returns the format of a picture in the terms of GStreamer.
GstVideoFormat FormatOf(FourCC fourcc);

/// Returns the caps of raw frames, or of encoded frames of a variant ("hq").
std::string RawCaps(const Shape& shape);
std::string ProResCaps(const Shape& shape, const std::string& variant = "standard");

/// Return picture `number` of a stream with its time; the caller owns the buffer.
/// @{
GstBuffer* MakeRawBuffer(const Shape& shape, unsigned number);
/// With `padding` bytes after each row, which the buffer's video meta describes.
GstBuffer* MakePaddedBuffer(const Shape& shape, unsigned number, std::size_t padding);
GstBuffer* MakePaddedBuffer(const Shape& shape, unsigned number, std::size_t padding,
                            const Bytes& picture);
GstBuffer* MakeProResBuffer(const Shape& shape, unsigned number,
                            ProResCodecVariant variant = ProResCodecVariant::Standard);
GstBuffer* MakeBuffer(const Bytes& bytes, unsigned number);
/// @}

Bytes BytesOf(const BufferPointer& buffer);

/// Returns the text of a field of caps; empty if it is not one string.
std::string FieldOf(const CapsPointer& caps, const char* field);

/// Returns an encoded frame without the four bytes of its header with aspect, rate and colour.
Bytes WithoutLabels(Bytes frame);

/// Expects picture `number` of a stream, decoded to `fourcc`, with its time.
void ExpectDecoded(const BufferPointer& buffer, const Shape& shape, unsigned number,
                   FourCC fourcc = kFourCC_V210);

/// An element that plays between two pads of the test.
class Harness {
 public:
  /// Creates the element with properties in the form of gst-launch-1.0 ("threads=2").
  explicit Harness(const char* element, const std::string& properties = {});
  ~Harness();
  Harness(const Harness&) = delete;
  Harness& operator=(const Harness&) = delete;

  GstHarness* Get() const { return harness_; }
  GstElement* Element() const { return harness_->element; }

  /// Sets the caps of the frames to come.
  void SetInput(const std::string& caps);
  /// Restricts what downstream accepts.
  void SetOutput(const std::string& caps);
  GstFlowReturn Push(GstBuffer* buffer) { return gst_harness_push(harness_, buffer); }
  /// Waits for the next output; null if there is none for a minute.
  BufferPointer Pull() { return Own(gst_harness_pull(harness_)); }
  BufferPointer TryPull() { return Own(gst_harness_try_pull(harness_)); }
  /// Ends the stream, waits until the element has passed that on, and returns all its outputs.
  std::vector<BufferPointer> Finish();
  bool SendEvent(GstEvent* event) { return gst_harness_push_event(harness_, event); }
  /// Flushes, and starts a segment at a time.
  void Flush(GstClockTime start = 0);
  /// Ends a flush as Flush() does.
  void Resume(GstClockTime start = 0);

  /// Caps of the outputs that were pulled last; null before the first.
  CapsPointer OutputCaps() const;
  /// Returns the caps that the element accepts now.
  CapsPointer InputCaps() const;
  /// Returns the next message of a type from the element; null if there is none now.
  std::shared_ptr<GstMessage> PopMessage(GstMessageType type);
  /// Returns the texts of all warnings or errors up to now.
  std::vector<std::string> PopTexts(GstMessageType type);

 private:
  GstHarness* harness_;
  GstBus* bus_;
};

/// A harness whose input has the caps of a stream.
struct EncoderHarness : Harness {
  explicit EncoderHarness(const Shape& shape, const std::string& properties = {})
      : Harness(kEncoder, properties) {
    SetInput(RawCaps(shape));
  }
};
struct DecoderHarness : Harness {
  explicit DecoderHarness(const Shape& shape, const std::string& properties = {})
      : Harness(kDecoder, properties) {
    SetInput(ProResCaps(shape));
  }
};

}  // namespace vix::test

#endif  // TESTS_GSTREAMER_HARNESS_H
