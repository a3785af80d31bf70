// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_FORMAT_PLANARPICTURE_H
#define TOOL_FORMAT_PLANARPICTURE_H

/// @file
/// Planar pictures, to and from the packed formats of the elements.
///
/// A planar picture as in Y4M is the Y plane, then Cb, then Cr, with no gaps between rows; a chroma
/// row of 4:2:2 has half the width, rounded up. "UYVY" has one byte a sample, "V210" 10 bits in two
/// bytes, the lower byte first. "Y416" has planes of 4:4:4 with 12 bits in two bytes, without its
/// alpha. "b64A" has no planes.

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "format/StreamFormat.h"

namespace vixprores {

/// Returns the bits of a sample in the planes of an uncompressed format: 8, 10 or 12.
unsigned SampleBits(const StreamFormat& format);

/// Returns the bytes of a planar picture. Fails if they do not fit a buffer.
std::uint32_t PlanarBytes(const StreamFormat& format);
/// Returns the same for planes of another depth.
std::uint32_t PlanarBytes(const StreamFormat& format, unsigned bits);

/// Packs a planar picture of PlanarBytes() bytes into one of `format.FrameBytes()` bytes. Repeats
/// the last pixel of a row to the end of its group and clears the padding after it.
void PackPicture(const StreamFormat& format, std::span<const std::uint8_t> planar,
                 std::span<std::uint8_t> packed);

/// Reverses PackPicture(); ignores the padding and alpha.
void UnpackPicture(const StreamFormat& format, std::span<const std::uint8_t> packed,
                   std::span<std::uint8_t> planar);

/// Unpacks one row of a packed 4:2:2 picture.
/// @param samples first bytes of the row in each plane
void UnpackRow(const StreamFormat& format, std::span<const std::uint8_t> packed, std::uint32_t row,
               const std::array<std::uint8_t*, 3>& samples);

/// One plane of a picture, with no gaps between rows. Borrows its samples.
struct SamplePlane {
  const std::uint16_t* samples;
  std::size_t width;
  std::size_t height;

  const std::uint16_t* Row(std::size_t row) const { return samples + row * width; }
  std::size_t Count() const { return width * height; }
};

/// A picture as planes of 16-bit words, whatever its depth: 4:2:2, or 4:4:4 with alpha.
class SamplePicture {
 public:
  static constexpr std::size_t kPlanes = 3;  ///< Y, Cb, Cr

  /// Unpacks a picture into the memory of the previous one.
  /// @param bits depth of the colours, not less than the format's: 8 or 10 for a 4:2:2 picture,
  ///             whose samples are shifted up; 12 for "Y416"
  void Load(const StreamFormat& format, std::span<const std::uint8_t> packed, unsigned bits);

  SamplePlane GetPlane(std::size_t plane) const;
  /// Returns the alpha of a "Y416" picture, 16 bits deep.
  SamplePlane GetAlpha() const { return {alpha_.data(), width_, height_}; }

 private:
  void LoadDeep(std::span<const std::uint8_t> packed);

  std::size_t width_ = 0;
  std::size_t height_ = 0;
  std::size_t chromaWidth_ = 0;
  std::vector<std::uint16_t> samples_;
  std::vector<std::uint16_t> alpha_;
  std::vector<std::uint8_t> planar_;  ///< samples of 8 bits
};

}  // namespace vixprores

#endif  // TOOL_FORMAT_PLANARPICTURE_H
