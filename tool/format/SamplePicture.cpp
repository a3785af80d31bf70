// SPDX-License-Identifier: BSD-2-Clause
#include "format/SamplePicture.h"

#include <algorithm>

#include "format/PlanarPicture.h"

namespace vixprores {

unsigned SampleBits(const StreamFormat& format) {
  return format.code == vix::kFourCC_V210 ? 10 : 8;
}

void SamplePicture::Load(const StreamFormat& format, std::span<const std::uint8_t> packed,
                         unsigned bits) {
  width_ = format.width;
  height_ = format.height;
  const std::size_t bytes = PlanarBytes(format);
  if (SampleBits(format) == 10) {
    samples_.resize(bytes / sizeof(std::uint16_t));
    UnpackPicture(format, packed, {reinterpret_cast<std::uint8_t*>(samples_.data()), bytes});
    return;
  }
  planar_.resize(bytes);
  UnpackPicture(format, packed, planar_);
  samples_.resize(bytes);
  std::ranges::transform(planar_, samples_.begin(), [shift = bits - 8](std::uint8_t sample) {
    return static_cast<std::uint16_t>(sample << shift);
  });
}

SamplePlane SamplePicture::GetPlane(std::size_t plane) const {
  const std::size_t chromaWidth = (width_ + 1) / 2;
  if (plane == 0) return {samples_.data(), width_, height_};
  return {samples_.data() + (width_ + (plane - 1) * chromaWidth) * height_, chromaWidth, height_};
}

}  // namespace vixprores
