// SPDX-License-Identifier: BSD-2-Clause
#ifndef TESTS_TOOL_CONVERTERTEST_H
#define TESTS_TOOL_CONVERTERTEST_H

/// @file
/// Decoded pictures, and their conversion.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <random>
#include <vector>

#include "media/decode/PictureConverter.h"

extern "C" {
#include <libavutil/imgutils.h>
#include <libavutil/pixdesc.h>
}

namespace vixprores::test {

struct FrameFree {
  void operator()(AVFrame* frame) const { av_frame_free(&frame); }
};
using UniqueFrame = std::unique_ptr<AVFrame, FrameFree>;

inline UniqueFrame MakePicture(AVPixelFormat format, int width, int height) {
  UniqueFrame frame(av_frame_alloc());
  frame->format = format;
  frame->width = width;
  frame->height = height;
  EXPECT_EQ(av_frame_get_buffer(frame.get(), 0), 0);
  for (const AVBufferRef* memory : frame->buf) {
    if (memory) std::fill_n(memory->data, memory->size, std::uint8_t{0});
  }
  return frame;
}

// Fills every component with valid samples.
inline void FillAtRandom(AVFrame& frame, unsigned seed) {
  std::mt19937 random(seed);
  const auto format = static_cast<AVPixelFormat>(frame.format);
  const AVPixFmtDescriptor& layout = *av_pix_fmt_desc_get(format);
  const bool hasPalette = (layout.flags & AV_PIX_FMT_FLAG_PAL) != 0;
  if (hasPalette) {
    for (int i = 0; i < 1024; ++i) frame.data[1][i] = static_cast<std::uint8_t>(random());
  }
  std::vector<std::uint16_t> row(static_cast<std::size_t>(frame.width));
  for (int c = 0; c < layout.nb_components; ++c) {
    const bool isChroma = (layout.flags & AV_PIX_FMT_FLAG_RGB) == 0 && (c == 1 || c == 2);
    const int width = isChroma ? AV_CEIL_RSHIFT(frame.width, layout.log2_chroma_w) : frame.width;
    const int height = isChroma ? AV_CEIL_RSHIFT(frame.height, layout.log2_chroma_h) : frame.height;
    for (int y = 0; y < height; ++y) {
      for (auto& sample : row) {
        sample = static_cast<std::uint16_t>(random() & ((1U << layout.comp[c].depth) - 1));
      }
      av_write_image_line2(row.data(), frame.data, frame.linesize, &layout, 0, y, c, width, 2);
    }
  }
}

inline PictureTarget TargetOf(int width, int height, FieldOrder order = FieldOrder::Progressive) {
  PictureTarget target;
  target.format.code = vix::kFourCC_V210;
  target.format.width = static_cast<std::uint32_t>(width);
  target.format.height = static_cast<std::uint32_t>(height);
  target.format.fieldOrder = order;
  return target;
}

inline std::vector<std::uint8_t> Convert(const PictureTarget& target, const AVFrame& picture) {
  std::vector<std::uint8_t> packed(target.format.FrameBytes(), 0xAA);
  PictureConverter(target, "clip.mov").Convert(picture, packed.data());
  return packed;
}

}  // namespace vixprores::test

#endif  // TESTS_TOOL_CONVERTERTEST_H
