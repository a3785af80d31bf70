// SPDX-License-Identifier: BSD-2-Clause
#ifndef GSTREAMER_BUFFERS_H
#define GSTREAMER_BUFFERS_H

/// @file
/// Buffers of GStreamer as buffers of the elements and back, without copies.

#include <gst/video/video.h>

#include <memory>

#include "Handles.h"
#include "vix/Buffers.h"
#include "vix/Samples.h"

namespace vixgst {

/// A picture of GStreamer in the address space of the process until the last owner is destroyed.
class MappedPicture {
 public:
  /// @throws VIXError (Failed) if the buffer cannot be mapped
  MappedPicture(const GstVideoInfo& info, GstBuffer* buffer, GstMapFlags flags);
  ~MappedPicture() { gst_video_frame_unmap(&frame_); }
  MappedPicture(const MappedPicture&) = delete;
  MappedPicture& operator=(const MappedPicture&) = delete;

  std::uint8_t* GetRows() const;
  std::uint32_t GetStride() const;
  std::uint32_t GetHeight() const;
  /// Clears the bytes of the rows that have no pixels.
  void ClearRowPadding() const;

 private:
  GstVideoFrame frame_{};
};

/// Returns the bytes of a compressed frame. They stay mapped until the last owner is destroyed.
/// @throws VIXError (Failed) if the buffer cannot be mapped
std::shared_ptr<vix::IBuffer> WrapFrame(GstBuffer* buffer);

/// Returns a copy of a frame with version 0 of the bitstream.
std::shared_ptr<vix::IBuffer> CopyWithVersion0(const vix::IBuffer& frame);

/// Returns a picture whose rows have the elements' stride: in place, or a copy in memory of
/// `allocator` if its stride is another one.
std::shared_ptr<vix::IBuffer> WrapPicture(
    const GstVideoInfo& info, GstBuffer* buffer,
    const std::shared_ptr<vix::IMemoryBlockAllocator>& allocator);

/// Returns a buffer of GStreamer over the bytes of an element, which it owns.
Ref<GstBuffer> WrapOutput(std::shared_ptr<const vix::IBuffer> bytes);

/// Returns a container of one frame for an element.
std::shared_ptr<const vix::ISampleContainer> MakeSample(
    const std::shared_ptr<const vix::IInfoContainer>& stream,
    std::shared_ptr<const vix::IBuffer> buffer);

/// Returns the only sample of a container that an element returned.
/// @throws VIXError (Failed) if there is another number of samples
std::shared_ptr<const vix::IVideoSample> SampleOf(
    const std::shared_ptr<const vix::ISampleContainer>& container);

}  // namespace vixgst

#endif  // GSTREAMER_BUFFERS_H
