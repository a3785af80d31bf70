// SPDX-License-Identifier: BSD-2-Clause
#ifndef TESTS_CODEC_DEEPPICTURE_H
#define TESTS_CODEC_DEEPPICTURE_H

#include <cstdint>
#include <functional>

#include "EncoderTestPicture.h"
#include "ProRes/ProRes.h"

/// @file
/// Pictures of 4:4:4 with alpha.

namespace prores::test {

/// Component of alpha; 0..2 are Y, Cb, Cr or R, G, B.
inline constexpr int kAlpha = 3;
inline constexpr int kOpaque = 65535;

/// Word of 16 bits of component 0..3.
using DeepContent = std::function<int(int component, int x, int y)>;

/// Returns the colours of `content` with 12 bits of it and random bits below, and opaque alpha.
DeepContent Colours(const Content& content, unsigned seed = 1);
/// Returns the colours of one content and the alpha of another one.
DeepContent WithAlpha(const DeepContent& colours, const DeepContent& alpha);
/// Returns the same colour of 12 bits everywhere.
DeepContent FlatColour(int first, int second, int third);

/// A packed picture of 'y416' or 'b64a'.
class DeepPicture : public PictureMemory {
 public:
  DeepPicture(std::uint32_t format, std::uint32_t width, std::uint32_t height,
              std::uint32_t padding = 0);
  DeepPicture(std::uint32_t format, std::uint32_t width, std::uint32_t height,
              const DeepContent& content, std::uint32_t padding = 0);

  int Columns() const { return static_cast<int>(width_); }

  /// Returns the word of component 0..3.
  int Word(int component, int x, int y) const;
  /// Returns the upper 12 bits of a colour.
  int Sample(int component, int x, int y) const { return Word(component, x, y) >> 4; }

 private:
  std::size_t PlaceOf(int component, int x, int y) const;
  void Set(int component, int x, int y, int word);
};

/// Returns the largest difference between the words of a component.
int LargestDifference(const DeepPicture& a, const DeepPicture& b, int component);

/// Returns the peak signal-to-noise ratio of a component at 12 bits, in decibels; 100 for equal
/// pictures.
double Psnr(const DeepPicture& a, const DeepPicture& b, int component);

}  // namespace prores::test

#endif  // TESTS_CODEC_DEEPPICTURE_H
