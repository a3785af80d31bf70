// SPDX-License-Identifier: BSD-2-Clause
#include "TestPicture.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <stdexcept>

namespace interop {
namespace {

constexpr std::size_t kGroupPixels = 6;
constexpr std::size_t kGroupBytes = 16;

std::size_t V210Stride(int width) {
  return (static_cast<std::size_t>(width) + 47) / 48 * 128;
}

/// The 12 samples of a group of six pixels in V210 order.
struct GroupSample {
  int plane;
  int column;
};
constexpr GroupSample kGroup[12] = {{1, 0}, {0, 0}, {2, 0}, {0, 1}, {1, 1}, {0, 2},
                                    {2, 1}, {0, 3}, {1, 2}, {0, 4}, {2, 2}, {0, 5}};

/// Calls visit(plane, sample index in plane, byte offset of the word, shift) for every sample.
template <typename Visit>
void ForEachV210Sample(const Picture& picture, Visit visit) {
  const std::size_t stride = V210Stride(picture.width);
  const int groups = (picture.width + 5) / 6;
  for (int row = 0; row < picture.height; ++row) {
    for (int group = 0; group < groups; ++group) {
      for (int i = 0; i < 12; ++i) {
        const int plane = kGroup[i].plane;
        const int column = group * (plane == 0 ? 6 : 3) + kGroup[i].column;
        if (column >= picture.PlaneWidth(plane)) continue;
        const auto index =
            static_cast<std::size_t>(row) * static_cast<std::size_t>(picture.PlaneWidth(plane)) +
            static_cast<std::size_t>(column);
        const std::size_t offset = static_cast<std::size_t>(row) * stride +
                                   static_cast<std::size_t>(group) * kGroupBytes +
                                   static_cast<std::size_t>(i / 3) * 4;
        visit(plane, index, offset, i % 3 * 10);
      }
    }
  }
}

std::uint32_t Hash(std::uint32_t x) {
  x ^= x >> 16;
  x *= 0x7feb352dU;
  x ^= x >> 15;
  x *= 0x846ca68bU;
  return x ^ x >> 16;
}

}  // namespace

Picture::Picture(int w, int h, int cw) : width(w), height(h), chromaWidth(cw) {
  for (int plane = 0; plane < 3; ++plane) {
    planes[plane].resize(static_cast<std::size_t>(PlaneWidth(plane)) *
                         static_cast<std::size_t>(height));
  }
}

Picture MakePicture(int width, int height, int chromaWidth, unsigned frame) {
  Picture picture(width, height, chromaWidth);
  for (int plane = 0; plane < 3; ++plane) {
    const int planeWidth = picture.PlaneWidth(plane);
    const double stretch = static_cast<double>(width) / planeWidth;
    auto* sample = picture.planes[plane].data();
    for (int row = 0; row < height; ++row) {
      for (int column = 0; column < planeWidth; ++column) {
        const double x = column * stretch + frame * 1.7;
        const double y = row + plane * 11.0;
        const std::uint32_t noise =
            Hash(static_cast<std::uint32_t>((row * planeWidth + column) * 4 + plane) +
                 frame * 0x9e3779b9U);
        double value = 500 + 150 * std::sin(x * 0.031 + y * 0.017) +
                       80 * std::sin(x * 0.37) * std::sin(y * 0.29 + frame) +
                       (static_cast<double>(noise % 61) - 30);
        if (static_cast<int>(x / 40 + y / 25) % 5 == 0) value += 120;  // hard edges
        *sample++ = static_cast<std::uint16_t>(std::clamp(value, 64.0, 940.0));
      }
    }
  }
  return picture;
}

std::vector<std::uint8_t> PackV210(const Picture& picture) {
  std::vector<std::uint8_t> bytes(V210Stride(picture.width) *
                                  static_cast<std::size_t>(picture.height));
  ForEachV210Sample(picture, [&](int plane, std::size_t index, std::size_t offset, int shift) {
    const std::uint32_t bits = std::uint32_t{picture.planes[plane][index]} << shift;
    for (int i = 0; i < 4; ++i) {
      bytes[offset + static_cast<std::size_t>(i)] |= static_cast<std::uint8_t>(bits >> 8 * i);
    }
  });
  return bytes;
}

std::vector<Picture> UnpackV210(const std::vector<std::uint8_t>& bytes, int width, int height) {
  const std::size_t frameBytes = V210Stride(width) * static_cast<std::size_t>(height);
  if (bytes.size() % frameBytes != 0) throw std::runtime_error("not a whole number of frames");
  std::vector<Picture> pictures;
  for (std::size_t start = 0; start < bytes.size(); start += frameBytes) {
    Picture& picture = pictures.emplace_back(width, height, (width + 1) / 2);
    ForEachV210Sample(picture, [&](int plane, std::size_t index, std::size_t offset, int shift) {
      std::uint32_t word = 0;
      for (std::size_t i = 0; i < 4; ++i) {
        word |= std::uint32_t{bytes[start + offset + i]} << 8 * i;
      }
      picture.planes[plane][index] = static_cast<std::uint16_t>(word >> shift & 0x3ff);
    });
  }
  return pictures;
}

std::vector<std::uint8_t> ToPlanar(const Picture& picture) {
  std::vector<std::uint8_t> bytes;
  for (const auto& plane : picture.planes) {
    for (const std::uint16_t sample : plane) {
      bytes.push_back(static_cast<std::uint8_t>(sample));
      bytes.push_back(static_cast<std::uint8_t>(sample >> 8));
    }
  }
  return bytes;
}

std::vector<Picture> FromPlanar(const std::vector<std::uint8_t>& bytes, int width, int height,
                                int chromaWidth, int planes) {
  const std::size_t lumaBytes =
      static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 2;
  const std::size_t alphaBytes = planes == 4 ? lumaBytes : 0;
  std::vector<Picture> pictures;
  for (std::size_t at = 0; at < bytes.size(); at += alphaBytes) {
    Picture& picture = pictures.emplace_back(width, height, chromaWidth);
    for (auto& plane : picture.planes) {
      if (bytes.size() - at < plane.size() * 2) throw std::runtime_error("a frame is truncated");
      for (auto& sample : plane) {
        sample = static_cast<std::uint16_t>(bytes[at] | bytes[at + 1] << 8);
        at += 2;
      }
    }
  }
  return pictures;
}

Difference Compare(const std::vector<Picture>& a, const std::vector<Picture>& b) {
  if (a.size() != b.size()) throw std::runtime_error("the sequences differ in length");
  Difference difference;
  std::size_t samples = 0;
  std::size_t differing = 0;
  for (std::size_t frame = 0; frame < a.size(); ++frame) {
    for (int plane = 0; plane < 3; ++plane) {
      const auto& left = a[frame].planes[plane];
      const auto& right = b[frame].planes[plane];
      if (left.size() != right.size()) throw std::runtime_error("the pictures differ in size");
      samples += left.size();
      for (std::size_t i = 0; i < left.size(); ++i) {
        const int distance = std::abs(left[i] - right[i]);
        difference.largest = std::max(difference.largest, distance);
        differing += distance != 0;
      }
    }
  }
  if (samples) difference.share = static_cast<double>(differing) / static_cast<double>(samples);
  return difference;
}

}  // namespace interop
