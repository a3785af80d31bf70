// SPDX-License-Identifier: BSD-2-Clause
#include "format/DeepPicture.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <vector>

#include "vix/PixelConversion.h"

namespace vixprores {
namespace {

constexpr std::uint16_t kOpaque = 0xFFFF;
constexpr unsigned kDeepBits = 16;
constexpr unsigned kCodedBits = 12;

// A pixel in memory.
struct DeepPixel {
  std::uint16_t alpha, y, cb, cr;
};
static_assert(sizeof(DeepPixel) == 8);

template <typename Sample>
std::uint16_t SampleAt(const std::uint8_t* plane, std::size_t place) {
  Sample sample{};
  std::memcpy(&sample, plane + place * sizeof sample, sizeof sample);
  return sample;
}

template <typename Sample>
void Pack(unsigned bits, std::span<const std::uint8_t> planar, std::span<std::uint8_t> packed) {
  const std::size_t pixels = packed.size() / sizeof(DeepPixel);
  const std::size_t planeBytes = pixels * sizeof(Sample);
  const unsigned shift = kDeepBits - bits;
  const auto highest = static_cast<std::uint16_t>((1u << bits) - 1);
  const auto sampleOf = [&](std::size_t plane, std::size_t place) {
    const auto sample = SampleAt<Sample>(planar.data() + plane * planeBytes, place);
    return static_cast<std::uint16_t>(std::min(sample, highest) << shift);
  };
  for (std::size_t i = 0; i < pixels; ++i) {
    const DeepPixel pixel{kOpaque, sampleOf(0, i), sampleOf(1, i), sampleOf(2, i)};
    std::memcpy(packed.data() + i * sizeof pixel, &pixel, sizeof pixel);
  }
}

// Returns the 12 bits that the codec codes.
std::uint16_t Round(std::uint16_t sample) {
  constexpr unsigned kShift = kDeepBits - kCodedBits;
  constexpr unsigned kHighest = (1u << kCodedBits) - 1;
  return static_cast<std::uint16_t>(std::min((sample + (1u << (kShift - 1))) >> kShift, kHighest));
}

// A line of chroma, and room for the neighbours that the filter needs at both ends.
class ChromaLine {
 public:
  explicit ChromaLine(std::size_t width) : samples_(width + 2 * kMargin) {}

  std::uint8_t* GetBytes() { return reinterpret_cast<std::uint8_t*>(Samples()); }
  void RepeatEdges() {
    std::fill_n(samples_.begin(), kMargin, samples_[kMargin]);
    std::fill_n(samples_.end() - kMargin, kMargin, *(samples_.end() - kMargin - 1));
  }
  // Returns the sample of pixel `x`.
  std::uint16_t At(std::size_t x) const {
    const std::uint16_t* const left = samples_.data() + kMargin + x / 2;
    if (x % 2 == 0) return left[0];
    const int sum = 9 * (left[0] + left[1]) - (left[-1] + left[2]);
    return static_cast<std::uint16_t>(std::clamp((sum + 8) >> 4, 0, kHighest));
  }

 private:
  static constexpr std::size_t kMargin = 2;
  static constexpr int kHighest = 0xFFFF;

  std::uint16_t* Samples() { return samples_.data() + kMargin; }

  std::vector<std::uint16_t> samples_;
};

}  // namespace

void PackDeepPicture(unsigned bits, std::span<const std::uint8_t> planar,
                     std::span<std::uint8_t> packed) {
  bits == 8 ? Pack<std::uint8_t>(bits, planar, packed) : Pack<std::uint16_t>(bits, planar, packed);
}

void UnpackDeepPicture(std::span<const std::uint8_t> packed, std::span<std::uint8_t> planar) {
  const std::size_t pixels = packed.size() / sizeof(DeepPixel);
  const std::size_t planeBytes = pixels * sizeof(std::uint16_t);
  for (std::size_t i = 0; i < pixels; ++i) {
    DeepPixel pixel{};
    std::memcpy(&pixel, packed.data() + i * sizeof pixel, sizeof pixel);
    std::uint8_t* place = planar.data() + i * sizeof(std::uint16_t);
    for (const std::uint16_t sample : {pixel.y, pixel.cb, pixel.cr}) {
      const std::uint16_t rounded = Round(sample);
      std::memcpy(place, &rounded, sizeof rounded);
      place += planeBytes;
    }
  }
}

void DeepenPicture(const StreamFormat& format, std::span<const std::uint8_t> packed,
                   std::span<std::uint8_t> deep) {
  const std::size_t width = format.width;
  std::vector<std::uint16_t> luma(width);
  std::array<ChromaLine, 2> chroma{ChromaLine((width + 1) / 2), ChromaLine((width + 1) / 2)};
  const auto picture = vix::MakePixelPicture(vix::PixelFormat{format.code}, format.width,
                                             format.height, packed.data());
  vix::PixelPicture row{vix::PixelFormat::I216, format.width, 1};
  row.planes = {{{reinterpret_cast<std::uint8_t*>(luma.data()), 2 * width},
                 {chroma[0].GetBytes(), (width + 1) / 2 * 2},
                 {chroma[1].GetBytes(), (width + 1) / 2 * 2}}};
  std::uint8_t* pixels = deep.data();
  for (std::uint32_t y = 0; y < format.height; ++y) {
    vix::ConvertPixels(picture.Rows(y, 1), row);
    for (ChromaLine& line : chroma) line.RepeatEdges();
    for (std::size_t x = 0; x < width; ++x, pixels += sizeof(DeepPixel)) {
      const DeepPixel pixel{kOpaque, luma[x], chroma[0].At(x), chroma[1].At(x)};
      std::memcpy(pixels, &pixel, sizeof pixel);
    }
  }
}

}  // namespace vixprores
