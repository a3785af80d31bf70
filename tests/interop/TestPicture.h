// SPDX-License-Identifier: BSD-2-Clause
#ifndef TESTS_INTEROP_TESTPICTURE_H
#define TESTS_INTEROP_TESTPICTURE_H

#include <cstdint>
#include <string>
#include <vector>

namespace interop {

/// A planar picture; chroma is half as wide (rounded up) for 4:2:2, as wide as luma for 4:4:4.
struct Picture {
  int width = 0;
  int height = 0;
  int chromaWidth = 0;
  std::vector<std::uint16_t> planes[3];  ///< Y, Cb, Cr, row by row without padding

  Picture(int width, int height, int chromaWidth);
  int PlaneWidth(int plane) const { return plane == 0 ? width : chromaWidth; }
};

/// Detail, gradients, edges and grain that differ from frame to frame; 10-bit video range.
Picture MakePicture(int width, int height, int chromaWidth, unsigned frame);

/// Rows of packed V210, padded to 128 bytes.
std::vector<std::uint8_t> PackV210(const Picture& picture);
/// The inverse, one picture for each frame in `bytes`.
std::vector<Picture> UnpackV210(const std::vector<std::uint8_t>& bytes, int width, int height);

/// Planar 16-bit little-endian samples, plane after plane.
std::vector<std::uint8_t> ToPlanar(const Picture& picture);
/// The inverse; `planes` is 3, or 4 where an alpha plane follows, which is left out.
std::vector<Picture> FromPlanar(const std::vector<std::uint8_t>& bytes, int width, int height,
                                int chromaWidth, int planes = 3);

/// How two runs of pictures differ.
struct Difference {
  int largest = 0;
  double share = 0;  ///< of the samples that differ at all
};
Difference Compare(const std::vector<Picture>& a, const std::vector<Picture>& b);

}  // namespace interop

#endif  // TESTS_INTEROP_TESTPICTURE_H
