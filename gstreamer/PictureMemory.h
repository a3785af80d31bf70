// SPDX-License-Identifier: BSD-2-Clause
#ifndef GSTREAMER_PICTUREMEMORY_H
#define GSTREAMER_PICTUREMEMORY_H

#include <gst/video/video.h>

#include <memory>
#include <mutex>

#include "Buffers.h"
#include "Handles.h"
#include "vix/Buffers.h"

namespace vixgst {

/// A decoded picture in a buffer of GStreamer.
struct DecodedPicture {
  Ref<GstBuffer> buffer;                  ///< null = none
  std::unique_ptr<MappedPicture> mapped;  ///< while the decoder writes; destroyed before `buffer`
};

/// Memory into which decoders write their pictures: buffers of downstream's pool, or of the system
/// if pictures do not fit that pool or if it is exhausted. Decoding never waits for downstream,
/// which may be waiting for an earlier picture. May be used by any thread.
class PictureMemory {
 public:
  /// Takes buffers from `pool` for pictures of this format and size; null = from the system.
  void SetPool(Ref<GstBufferPool> pool, const GstVideoInfo& info);

  /// Returns the callbacks of a pool of elements. They use the picture of the thread's Assignment.
  vix::FrameMemoryCallbacks GetCallbacks();

  /// Sets the picture that the calling thread decodes until the next one. It must exist as long.
  static void Assign(DecodedPicture* picture);

 private:
  vix::FrameMemory Allocate(const vix::FrameMemoryRequest& request);
  Ref<GstBuffer> AcquireFromPool(const GstVideoInfo& info);

  std::mutex mutex_;
  Ref<GstBufferPool> pool_;
  GstVideoInfo info_{};
};

}  // namespace vixgst

#endif  // GSTREAMER_PICTUREMEMORY_H
