// SPDX-License-Identifier: BSD-2-Clause
#include "PicturePool.h"

#include <gst/video/video.h>

namespace vix::test {
namespace {

/// A buffer pool with a layout of its own.
struct PaddedPool {
  GstBufferPool base;
  GstVideoFormat format;
  Shape shape;
  gint stride;
};

gpointer parentClass = nullptr;

const gchar** GetOptions(GstBufferPool*) {
  static const gchar* options[] = {GST_BUFFER_POOL_OPTION_VIDEO_META, nullptr};
  return options;
}

GstFlowReturn AllocateBuffer(GstBufferPool* base, GstBuffer** buffer, GstBufferPoolAcquireParams*) {
  const auto* const pool = reinterpret_cast<PaddedPool*>(base);
  const auto bytes = static_cast<gsize>(pool->stride) * pool->shape.height;
  *buffer = gst_buffer_new_allocate(nullptr, bytes, nullptr);
  gsize offsets[GST_VIDEO_MAX_PLANES] = {};
  gint strides[GST_VIDEO_MAX_PLANES] = {pool->stride};
  GstVideoMeta* const meta =
      gst_buffer_add_video_meta_full(*buffer, GST_VIDEO_FRAME_FLAG_NONE, pool->format,
                                     pool->shape.width, pool->shape.height, 1, offsets, strides);
  meta->meta.flags = static_cast<GstMetaFlags>(meta->meta.flags | GST_META_FLAG_POOLED);
  return GST_FLOW_OK;
}

void InitClass(gpointer klass, gpointer) {
  parentClass = g_type_class_peek_parent(klass);
  auto* const pool = static_cast<GstBufferPoolClass*>(klass);
  pool->get_options = GetOptions;
  pool->alloc_buffer = AllocateBuffer;
}

GType PaddedPoolType() {
  static const GType type = g_type_register_static_simple(
      GST_TYPE_BUFFER_POOL, "TestPaddedPool", sizeof(GstBufferPoolClass), InitClass,
      sizeof(PaddedPool), nullptr, GTypeFlags(0));
  return type;
}

}  // namespace

PicturePool::PicturePool(Harness& harness, const Shape& shape, FourCC fourcc, std::size_t padding,
                         unsigned most)
    : pool_(nullptr), bytes_(0), most_(most) {
  auto* const pool = static_cast<PaddedPool*>(g_object_new(PaddedPoolType(), nullptr));
  pool_ = &pool->base;
  gst_object_ref_sink(pool_);
  pool->format = FormatOf(fourcc);
  pool->shape = shape;
  GstVideoInfo info;
  gst_video_info_set_format(&info, pool->format, shape.width, shape.height);
  pool->stride = GST_VIDEO_INFO_PLANE_STRIDE(&info, 0) + static_cast<gint>(padding);
  bytes_ = static_cast<std::size_t>(pool->stride) * shape.height;
  gst_pad_add_probe(
      harness.Get()->sinkpad, GST_PAD_PROBE_TYPE_QUERY_DOWNSTREAM,
      [](GstPad*, GstPadProbeInfo* info_, gpointer user) {
        GstQuery* const query = GST_PAD_PROBE_INFO_QUERY(info_);
        if (GST_QUERY_TYPE(query) != GST_QUERY_ALLOCATION) return GST_PAD_PROBE_OK;
        const auto* const self = static_cast<PicturePool*>(user);
        gst_query_add_allocation_pool(query, self->pool_, static_cast<guint>(self->bytes_),
                                      self->most_, self->most_);
        gst_query_add_allocation_meta(query, GST_VIDEO_META_API_TYPE, nullptr);
        return GST_PAD_PROBE_HANDLED;
      },
      this, nullptr);
}

PicturePool::~PicturePool() {
  gst_buffer_pool_set_active(pool_, FALSE);
  gst_object_unref(pool_);
}

}  // namespace vix::test
