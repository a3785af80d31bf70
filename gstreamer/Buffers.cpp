// SPDX-License-Identifier: BSD-2-Clause
#include "Buffers.h"

#include <algorithm>
#include <cstring>
#include <utility>
#include <vector>

#include "Formats.h"
#include "vix/Error.h"
#include "vix/ProResFrame.h"
#include "vix/RawVideoUtils.h"

namespace vixgst {
namespace {

[[noreturn]] void RefuseMapping() {
  throw vix::VIXError(vix::ErrorCode::Failed, "the memory of a buffer cannot be mapped");
}

// A buffer of GStreamer in the address space of the process.
class MappedBuffer {
 public:
  explicit MappedBuffer(GstBuffer* buffer) : buffer_(gst_buffer_ref(buffer)) {
    if (!gst_buffer_map(buffer, &map_, GST_MAP_READ)) RefuseMapping();
  }
  ~MappedBuffer() { gst_buffer_unmap(buffer_.get(), &map_); }
  MappedBuffer(const MappedBuffer&) = delete;
  MappedBuffer& operator=(const MappedBuffer&) = delete;

  std::uint8_t* GetData() const { return map_.data; }
  std::size_t GetSize() const { return map_.size; }

 private:
  Ref<GstBuffer> buffer_;
  GstMapInfo map_{};
};

// Returns a buffer over memory that `owner` keeps alive.
template <typename Owner>
std::shared_ptr<vix::IBuffer> Wrap(std::uint8_t* data, std::size_t bytes,
                                   std::shared_ptr<Owner> owner) {
  return vix::CreateBuffer(nullptr,
                           vix::CreateMemoryBlock(data, bytes, [kept = std::move(owner)] {}));
}

std::uint32_t StrideOf(const GstVideoInfo& info) {
  return vix::RawVideoUtils::GetStrides(FindRawFormat(GST_VIDEO_INFO_FORMAT(&info))->fourcc,
                                        vix::VideoChroma::C422, static_cast<unsigned>(info.width),
                                        static_cast<unsigned>(info.height))
      .at(0);
}

}  // namespace

MappedPicture::MappedPicture(const GstVideoInfo& info, GstBuffer* buffer, GstMapFlags flags) {
  if (!gst_video_frame_map(&frame_, &info, buffer, flags)) RefuseMapping();
}

std::uint8_t* MappedPicture::GetRows() const {
  return static_cast<std::uint8_t*>(GST_VIDEO_FRAME_PLANE_DATA(&frame_, 0));
}

std::uint32_t MappedPicture::GetStride() const {
  return static_cast<std::uint32_t>(GST_VIDEO_FRAME_PLANE_STRIDE(&frame_, 0));
}

std::uint32_t MappedPicture::GetHeight() const {
  return static_cast<std::uint32_t>(GST_VIDEO_FRAME_HEIGHT(&frame_));
}

void MappedPicture::ClearRowPadding() const {
  vix::RawVideoUtils::ClearRowPadding(FindRawFormat(GST_VIDEO_FRAME_FORMAT(&frame_))->fourcc,
                                      static_cast<unsigned>(GST_VIDEO_FRAME_WIDTH(&frame_)),
                                      GetHeight(), GetStride(), GetRows());
}

std::shared_ptr<vix::IBuffer> WrapFrame(GstBuffer* buffer) {
  const auto mapped = std::make_shared<MappedBuffer>(buffer);
  return Wrap(mapped->GetData(), mapped->GetSize(), mapped);
}

std::shared_ptr<vix::IBuffer> CopyWithVersion0(const vix::IBuffer& frame) {
  const auto copy = std::make_shared<std::vector<std::uint8_t>>(frame.GetData(),
                                                                frame.GetData() + frame.GetSize());
  vix::LowerProResVersion(copy->data(), copy->size());
  return Wrap(copy->data(), copy->size(), copy);
}

std::shared_ptr<vix::IBuffer> WrapPicture(
    const GstVideoInfo& info, GstBuffer* buffer,
    const std::shared_ptr<vix::IMemoryBlockAllocator>& allocator) {
  const auto picture = std::make_shared<MappedPicture>(info, buffer, GST_MAP_READ);
  const std::uint32_t stride = StrideOf(info);
  const std::uint32_t height = picture->GetHeight();
  if (picture->GetStride() == stride) {
    return Wrap(picture->GetRows(), std::size_t{stride} * height, picture);
  }
  auto copy = vix::CreateBuffer(allocator, nullptr);
  copy->Allocate(stride * height);
  for (std::uint32_t row = 0; row < height; ++row) {
    std::memcpy(copy->GetData() + std::size_t{row} * stride,
                picture->GetRows() + std::size_t{row} * picture->GetStride(),
                std::min(stride, picture->GetStride()));
  }
  return copy;
}

Ref<GstBuffer> WrapOutput(std::shared_ptr<const vix::IBuffer> bytes) {
  using Owner = std::shared_ptr<const vix::IBuffer>;
  std::uint8_t* const data = bytes->GetData();
  const gsize size = bytes->GetSize();
  return Ref<GstBuffer>(gst_buffer_new_wrapped_full(
      GstMemoryFlags{}, data, size, 0, size, new Owner(std::move(bytes)),
      [](gpointer owner) { delete static_cast<Owner*>(owner); }));
}

std::shared_ptr<const vix::ISampleContainer> MakeSample(
    const std::shared_ptr<const vix::IInfoContainer>& stream,
    std::shared_ptr<const vix::IBuffer> buffer) {
  const auto info = std::dynamic_pointer_cast<const vix::IVideoInfo>(stream->GetInfo().at(0));
  return vix::CreateSampleContainer(
      vix::CreateVideoSample(info->GetVideoParameters(), info, std::move(buffer), {}, {}), nullptr);
}

std::shared_ptr<const vix::IVideoSample> SampleOf(
    const std::shared_ptr<const vix::ISampleContainer>& container) {
  const auto samples = container ? container->GetVideoSamples(nullptr, nullptr)
                                 : std::vector<std::shared_ptr<const vix::IVideoSample>>{};
  if (samples.size() != 1) {
    throw vix::VIXError(vix::ErrorCode::Failed, "the ProRes element returned no frame");
  }
  return samples.front();
}

}  // namespace vixgst
