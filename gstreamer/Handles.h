// SPDX-License-Identifier: BSD-2-Clause
#ifndef GSTREAMER_HANDLES_H
#define GSTREAMER_HANDLES_H

/// @file
/// Owners of the objects of GStreamer.

#include <gst/video/video.h>

#include <memory>

namespace vixgst {

/// Gives up one reference, or frees the object.
struct Unref {
  void operator()(GstBuffer* buffer) const { gst_buffer_unref(buffer); }
  void operator()(GstBufferPool* pool) const { gst_object_unref(pool); }
  void operator()(GstPad* pad) const { gst_object_unref(pad); }
  void operator()(GstCaps* caps) const { gst_caps_unref(caps); }
  void operator()(GstVideoCodecFrame* frame) const { gst_video_codec_frame_unref(frame); }
  void operator()(GstVideoCodecState* state) const { gst_video_codec_state_unref(state); }
};

/// One reference to an object of GStreamer.
template <typename T>
using Ref = std::unique_ptr<T, Unref>;

/// Holds the stream lock of an element, which is recursive.
class StreamLock {
 public:
  explicit StreamLock(GRecMutex& mutex) : mutex_(mutex) { g_rec_mutex_lock(&mutex_); }
  ~StreamLock() { g_rec_mutex_unlock(&mutex_); }
  StreamLock(const StreamLock&) = delete;
  StreamLock& operator=(const StreamLock&) = delete;

 private:
  GRecMutex& mutex_;
};

}  // namespace vixgst

#endif  // GSTREAMER_HANDLES_H
