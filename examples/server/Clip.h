// SPDX-License-Identifier: BSD-2-Clause
#ifndef EXAMPLES_SERVER_CLIP_H
#define EXAMPLES_SERVER_CLIP_H

#include <vix/vix.h>

#include <cstdint>
#include <memory>
#include <vector>

using Container = std::shared_ptr<const vix::ISampleContainer>;
using Stream = std::shared_ptr<const vix::IInfoContainer>;

inline constexpr vix::EditRate kRate{25, 1};

/// Size and scan mode of a clip.
struct ClipShape {
  std::uint32_t width = 0;   ///< pixels, even
  std::uint32_t height = 0;  ///< rows
  vix::ScanMode scanMode = vix::ScanMode::Progressive;
};

/// Describes raw UYVY pictures, or encoded frames, of a clip.
Stream DescribePictures(const ClipShape& shape);
Stream DescribeFrames(const ClipShape& shape);

/// Draws picture `number` of a clip, a grey level of its own.
Container DrawPicture(const ClipShape& shape, unsigned number);
/// Returns the luma in the middle of a UYVY picture that DrawPicture() has drawn.
int LumaOf(unsigned number);

/// Returns a sample with these bytes.
Container WrapBytes(std::vector<std::uint8_t> bytes, const Stream& stream, unsigned number);

#endif  // EXAMPLES_SERVER_CLIP_H
