// SPDX-License-Identifier: BSD-2-Clause
#ifndef TESTS_CODEC_ENCODERTESTPICTURE_H
#define TESTS_CODEC_ENCODERTESTPICTURE_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

#include "ProRes/ProRes.h"

namespace prores::test {

/// 10-bit sample of component 0..2 (Y, Cb, Cr) at a column and line of that component.
using Content = std::function<int(int component, int x, int y)>;

/// Waves of several lengths with grain, which use any target size.
Content Busy(unsigned seed);
/// Slow waves without grain, which fall short of most target sizes.
Content Smooth();
/// Random samples within 0..1023.
Content Noise(unsigned seed);
/// Random samples of 0 or 1023.
Content BinaryNoise(unsigned seed);
Content Flat(int level);

/// Returns a random number that depends only on the place, so that contents are functions without
/// state.
unsigned Hash(unsigned seed, int component, int x, int y);

/// Memory of a packed picture. Its bytes end with the last row's last pixel group, so that the
/// address sanitizer detects any access after it.
class PictureMemory {
 public:
  /// @param pixelBytes bytes of the pixels of a row.
  /// @param padding    bytes between the end of a row's pixels and the next row.
  PictureMemory(std::uint32_t format, std::uint32_t width, std::uint32_t height,
                std::uint32_t pixelBytes, std::uint32_t padding);

  PixelBufferRecord Record() const;
  PixelBufferRecord MutableRecord();
  int Lines() const { return static_cast<int>(height_); }
  const std::vector<std::uint8_t>& Bytes() const { return bytes_; }

  friend bool operator==(const PictureMemory&, const PictureMemory&) = default;

 protected:
  std::uint32_t format_, width_, height_, rowBytes_;
  std::vector<std::uint8_t> bytes_;
};

/// A picture of 4:2:2.
class SourcePicture : public PictureMemory {
 public:
  SourcePicture(std::uint32_t format, std::uint32_t width, std::uint32_t height,
                std::uint32_t padding = 0);
  SourcePicture(std::uint32_t format, std::uint32_t width, std::uint32_t height,
                const Content& content, std::uint32_t padding = 0);

  int Columns(int component) const;

  /// 10-bit sample; 8-bit samples count four.
  int Sample(int component, int x, int y) const;

 private:
  /// Place of a component's sample: its byte in '2vuy', its word and shift in 'v210'.
  struct Place {
    std::size_t byte;
    unsigned shift;
  };
  Place PlaceOf(int component, int x, int y) const;
  void Set(int component, int x, int y, int value);
};

/// Peak signal-to-noise ratio of a component at 10 bits, in decibels; 100 for equal pictures.
double Psnr(const SourcePicture& a, const SourcePicture& b, int component);

}  // namespace prores::test

#endif  // TESTS_CODEC_ENCODERTESTPICTURE_H
