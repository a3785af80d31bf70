// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_FORMAT_SAMPLEPICTURE_H
#define TOOL_FORMAT_SAMPLEPICTURE_H

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "format/StreamFormat.h"

namespace vixprores {

/// One plane of a picture, rows without gaps. Borrows its samples.
struct SamplePlane {
  const std::uint16_t* samples;
  std::size_t width;
  std::size_t height;

  const std::uint16_t* Row(std::size_t row) const { return samples + row * width; }
  std::size_t Count() const { return width * height; }
};

/// A 4:2:2 picture as three planes of samples in 16-bit words, whatever its depth.
class SamplePicture {
 public:
  static constexpr std::size_t kPlanes = 3;  ///< Y, Cb, Cr

  /// Takes the samples of a packed picture; memory of the picture before is used again.
  /// @param bits of the samples, 8 or 10, at least those of the format: fewer are shifted up
  void Load(const StreamFormat& format, std::span<const std::uint8_t> packed, unsigned bits);

  SamplePlane GetPlane(std::size_t plane) const;

 private:
  std::size_t width_ = 0;
  std::size_t height_ = 0;
  std::vector<std::uint16_t> samples_;
  std::vector<std::uint8_t> planar_;  ///< of 8 bits, before they are widened
};

/// Bits of a sample of an uncompressed format.
unsigned SampleBits(const StreamFormat& format);

}  // namespace vixprores

#endif  // TOOL_FORMAT_SAMPLEPICTURE_H
