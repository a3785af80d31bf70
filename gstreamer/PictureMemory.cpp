// SPDX-License-Identifier: BSD-2-Clause
#include "PictureMemory.h"

#include <algorithm>
#include <utility>

#include "Formats.h"
#include "vix/Error.h"

namespace vixgst {
namespace {

thread_local DecodedPicture* assigned = nullptr;

GstVideoInfo InfoOf(const vix::FrameMemoryRequest& request) {
  const auto formats = RawFormats();
  const auto format = std::ranges::find(formats, request.fourcc, &RawFormat::fourcc);
  GstVideoInfo info;
  if (format == formats.end() ||
      !gst_video_info_set_format(&info, format->format, request.width, request.height)) {
    throw vix::VIXError(vix::ErrorCode::Unsupported, "a picture that GStreamer cannot describe");
  }
  return info;
}

bool HaveSameLayout(const GstVideoInfo& a, const GstVideoInfo& b) {
  return a.finfo == b.finfo && a.width == b.width && a.height == b.height;
}

Ref<GstBuffer> AllocateFromSystem(const GstVideoInfo& info) {
  constexpr gsize kAlignment = 64;  // fastest for the codec's vector instructions
  GstAllocationParams params;
  gst_allocation_params_init(&params);
  params.align = kAlignment - 1;
  return Ref<GstBuffer>(gst_buffer_new_allocate(nullptr, GST_VIDEO_INFO_SIZE(&info), &params));
}

}  // namespace

void PictureMemory::SetPool(Ref<GstBufferPool> pool, const GstVideoInfo& info) {
  const std::lock_guard guard(mutex_);
  pool_ = std::move(pool);
  info_ = info;
}

vix::FrameMemoryCallbacks PictureMemory::GetCallbacks() {
  return {this,
          [](void* user, const vix::FrameMemoryRequest& request) {
            return static_cast<PictureMemory*>(user)->Allocate(request);
          },
          // The frame owns its picture: the decoder keeps the memory longer, but does not use it.
          [](void*, std::uint8_t*) {}};
}

void PictureMemory::Assign(DecodedPicture* picture) {
  assigned = picture;
}

vix::FrameMemory PictureMemory::Allocate(const vix::FrameMemoryRequest& request) {
  const GstVideoInfo info = InfoOf(request);
  Ref<GstBuffer> buffer = AcquireFromPool(info);
  if (!buffer) buffer = AllocateFromSystem(info);
  if (!buffer) return {};
  auto mapped = std::make_unique<MappedPicture>(info, buffer.get(), GST_MAP_WRITE);
  *assigned = {std::move(buffer), std::move(mapped)};
  return {assigned->mapped->GetRows(), assigned->mapped->GetStride()};
}

// Returns null if pictures of `info` do not fit the pool, or if it is empty or flushing.
Ref<GstBuffer> PictureMemory::AcquireFromPool(const GstVideoInfo& info) {
  Ref<GstBufferPool> pool;
  {
    const std::lock_guard guard(mutex_);
    if (!pool_ || !HaveSameLayout(info, info_)) return nullptr;
    pool.reset(GST_BUFFER_POOL_CAST(gst_object_ref(pool_.get())));
  }
  GstBufferPoolAcquireParams params{};
  params.flags = GST_BUFFER_POOL_ACQUIRE_FLAG_DONTWAIT;
  GstBuffer* buffer = nullptr;
  if (gst_buffer_pool_acquire_buffer(pool.get(), &buffer, &params) != GST_FLOW_OK) return nullptr;
  return Ref<GstBuffer>(buffer);
}

}  // namespace vixgst
