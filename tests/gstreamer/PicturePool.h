// SPDX-License-Identifier: BSD-2-Clause
#ifndef TESTS_GSTREAMER_PICTUREPOOL_H
#define TESTS_GSTREAMER_PICTUREPOOL_H

#include <gst/gst.h>

#include <cstddef>

#include "Harness.h"

namespace vix::test {

/// A pool of downstream, as a video sink offers it: its buffers have a video meta with `padding`
/// bytes after each row.
class PicturePool {
 public:
  /// Offers the pool to the element. All `most` buffers are made when the element starts the pool.
  PicturePool(Harness& harness, const Shape& shape, FourCC fourcc, std::size_t padding,
              unsigned most);
  ~PicturePool();
  PicturePool(const PicturePool&) = delete;
  PicturePool& operator=(const PicturePool&) = delete;

  bool Owns(const BufferPointer& buffer) const { return buffer->pool == pool_; }
  bool IsActive() const { return gst_buffer_pool_is_active(pool_); }
  std::size_t GetPictureBytes() const { return bytes_; }

 private:
  GstBufferPool* pool_;
  std::size_t bytes_;
  unsigned most_;
};

}  // namespace vix::test

#endif  // TESTS_GSTREAMER_PICTUREPOOL_H
