// SPDX-License-Identifier: BSD-2-Clause
#include "DeepPicture.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdlib>

namespace prores::test {
namespace {

constexpr std::uint32_t kPixelBytes = 8;

/// Calls visit(x, y) for each pixel.
template <typename Visit>
void ForEachPixel(const DeepPicture& picture, Visit visit) {
  for (int y = 0; y < picture.Lines(); ++y) {
    for (int x = 0; x < picture.Columns(); ++x) visit(x, y);
  }
}

}  // namespace

DeepContent Colours(const Content& content, unsigned seed) {
  return [content, seed](int component, int x, int y) {
    if (component == kAlpha) return kOpaque;
    const int lowBits = static_cast<int>(Hash(seed, component, x, y) % 4);
    return (4 * content(component, x, y) + lowBits) * 16;
  };
}

DeepContent WithAlpha(const DeepContent& colours, const DeepContent& alpha) {
  return [colours, alpha](int component, int x, int y) {
    return (component == kAlpha ? alpha : colours)(component, x, y);
  };
}

DeepContent FlatColour(int first, int second, int third) {
  return [=](int component, int, int) {
    const int words[] = {16 * first, 16 * second, 16 * third, kOpaque};
    return words[component];
  };
}

DeepPicture::DeepPicture(std::uint32_t format, std::uint32_t width, std::uint32_t height,
                         std::uint32_t padding)
    : PictureMemory(format, width, height, kPixelBytes * width, padding) {}

DeepPicture::DeepPicture(std::uint32_t format, std::uint32_t width, std::uint32_t height,
                         const DeepContent& content, std::uint32_t padding)
    : DeepPicture(format, width, height, padding) {
  for (int component = 0; component <= kAlpha; ++component) {
    ForEachPixel(*this, [&](int x, int y) { Set(component, x, y, content(component, x, y)); });
  }
}

std::size_t DeepPicture::PlaceOf(int component, int x, int y) const {
  // Alpha is the first word of a pixel.
  const int inRow = static_cast<int>(kPixelBytes) * x + 2 * ((component + 1) % 4);
  return static_cast<std::size_t>(y) * rowBytes_ + static_cast<std::size_t>(inRow);
}

int DeepPicture::Word(int component, int x, int y) const {
  const std::size_t place = PlaceOf(component, x, y);
  const std::size_t high = format_ == kWPRPixelFormatB64a ? 0 : 1;
  return bytes_[place + high] << 8 | bytes_[place + 1 - high];
}

void DeepPicture::Set(int component, int x, int y, int word) {
  const std::size_t place = PlaceOf(component, x, y);
  const std::size_t high = format_ == kWPRPixelFormatB64a ? 0 : 1;
  bytes_[place + high] = static_cast<std::uint8_t>(word >> 8);
  bytes_[place + 1 - high] = static_cast<std::uint8_t>(word);
}

int LargestDifference(const DeepPicture& a, const DeepPicture& b, int component) {
  int largest = 0;
  ForEachPixel(a, [&](int x, int y) {
    largest = std::max(largest, std::abs(a.Word(component, x, y) - b.Word(component, x, y)));
  });
  return largest;
}

double Psnr(const DeepPicture& a, const DeepPicture& b, int component) {
  double squares = 0;
  ForEachPixel(a, [&](int x, int y) {
    const double difference = (a.Word(component, x, y) - b.Word(component, x, y)) / 16.0;
    squares += difference * difference;
  });
  if (squares == 0) return 100;
  const double samples = static_cast<double>(a.Lines()) * a.Columns();
  return 10 * std::log10(4095.0 * 4095.0 * samples / squares);
}

}  // namespace prores::test
