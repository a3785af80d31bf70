// SPDX-License-Identifier: BSD-2-Clause
#ifndef TESTS_INTEROP_TESTPICTURE_H
#define TESTS_INTEROP_TESTPICTURE_H

#include <cstdint>
#include <string>
#include <vector>

namespace interop {

/// A planar picture. The chroma width is half the width, rounded up, for 4:2:2.
struct Picture {
  int width = 0;
  int height = 0;
  int chromaWidth = 0;
  std::vector<std::uint16_t> planes[3];  ///< Y, Cb, Cr, row by row without padding

  Picture(int width, int height, int chromaWidth);
  int PlaneWidth(int plane) const { return plane == 0 ? width : chromaWidth; }
};

/// Draws gradients, detail, edges and noise that differ between frames, in 10-bit video range.
Picture MakePicture(int width, int height, int chromaWidth, unsigned frame);

/// Returns packed V210 with rows padded to 128 bytes.
std::vector<std::uint8_t> PackV210(const Picture& picture);
/// Returns the pictures of packed V210 frames.
std::vector<Picture> UnpackV210(const std::vector<std::uint8_t>& bytes, int width, int height);

/// Returns the planes in order as 16-bit little-endian samples.
std::vector<std::uint8_t> ToPlanar(const Picture& picture);
/// Returns the pictures of such frames. If `planes` is 4, skips the alpha plane.
std::vector<Picture> FromPlanar(const std::vector<std::uint8_t>& bytes, int width, int height,
                                int chromaWidth, int planes = 3);

/// Difference of two sequences of pictures.
struct Difference {
  int largest = 0;
  double share = 0;  ///< share of differing samples, 0 to 1
};
Difference Compare(const std::vector<Picture>& a, const std::vector<Picture>& b);

}  // namespace interop

#endif  // TESTS_INTEROP_TESTPICTURE_H
