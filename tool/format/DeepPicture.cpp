// SPDX-License-Identifier: BSD-2-Clause
#include "format/DeepPicture.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <vector>

#include "vix/PixelConversion.h"

namespace vixprores {
namespace {

constexpr std::uint16_t kOpaque = 0xFFFF;
constexpr unsigned kDeepBits = 16;
constexpr unsigned kCodedBits = 12;

using Lines = std::array<const std::uint16_t*, 3>;  // of Y, Cb, Cr

// Writes a line of opaque pixels. Compilers turn words into vectors, but not structures.
void WritePixels(const Lines& lines, std::size_t count, std::uint8_t* pixels) {
  const auto& [y, cb, cr] = lines;
  for (std::size_t i = 0; i < count; ++i) {
    const std::uint64_t pixel = std::uint64_t{cr[i]} << 48U | std::uint64_t{cb[i]} << 32U |
                                std::uint64_t{y[i]} << 16U | kOpaque;
    std::memcpy(pixels + i * sizeof pixel, &pixel, sizeof pixel);
  }
}

// Shifts samples up to 16 bits.
template <typename Sample>
void Load(const std::uint8_t* plane, std::size_t count, unsigned bits, std::uint16_t* samples) {
  const unsigned shift = kDeepBits - bits;
  const unsigned highest = (1u << bits) - 1;
  for (std::size_t i = 0; i < count; ++i) {
    Sample sample{};
    std::memcpy(&sample, plane + i * sizeof sample, sizeof sample);
    samples[i] = static_cast<std::uint16_t>(std::min<unsigned>(sample, highest) << shift);
  }
}

template <typename Sample>
void Pack(unsigned bits, std::span<const std::uint8_t> planar, std::span<std::uint8_t> packed) {
  constexpr std::size_t kStep = 512;
  std::array<std::array<std::uint16_t, kStep>, 3> samples;
  const std::size_t pixels = packed.size() / sizeof(DeepPixel);
  for (std::size_t first = 0; first < pixels; first += kStep) {
    const std::size_t count = std::min(kStep, pixels - first);
    for (std::size_t plane = 0; plane < samples.size(); ++plane) {
      const std::size_t place = (plane * pixels + first) * sizeof(Sample);
      Load<Sample>(planar.data() + place, count, bits, samples[plane].data());
    }
    WritePixels({samples[0].data(), samples[1].data(), samples[2].data()}, count,
                packed.data() + first * sizeof(DeepPixel));
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
  explicit ChromaLine(std::size_t width) : half_(width + 2 * kMargin), full_(2 * width) {}

  std::uint8_t* GetBytes() { return reinterpret_cast<std::uint8_t*>(half_.data() + kMargin); }
  // Returns a sample for every pixel.
  const std::uint16_t* Double() {
    std::fill_n(half_.begin(), kMargin, half_[kMargin]);
    std::fill_n(half_.end() - kMargin, kMargin, *(half_.end() - kMargin - 1));
    const std::uint16_t* const left = half_.data() + kMargin - 1;
    for (std::size_t i = 0; i < full_.size() / 2; ++i) {
      const int sum = 9 * (left[i + 1] + left[i + 2]) - (left[i] + left[i + 3]);
      full_[2 * i] = left[i + 1];
      full_[2 * i + 1] = static_cast<std::uint16_t>(std::clamp((sum + 8) >> 4, 0, kHighest));
    }
    return full_.data();
  }

 private:
  static constexpr std::size_t kMargin = 2;
  static constexpr int kHighest = 0xFFFF;

  std::vector<std::uint16_t> half_;
  std::vector<std::uint16_t> full_;
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

void UnpackAlpha(std::span<const std::uint8_t> packed, std::span<std::uint16_t> alpha) {
  for (std::size_t i = 0; i < alpha.size(); ++i) {
    std::memcpy(&alpha[i], packed.data() + i * sizeof(DeepPixel), sizeof alpha[i]);
  }
}

void DeepenPicture(const StreamFormat& format, std::span<const std::uint8_t> packed,
                   std::span<std::uint8_t> deep) {
  const std::size_t width = format.width;
  const std::size_t halfWidth = (width + 1) / 2;
  std::vector<std::uint16_t> luma(width);
  std::array<ChromaLine, 2> chroma{ChromaLine(halfWidth), ChromaLine(halfWidth)};
  const auto picture = vix::MakePixelPicture(vix::PixelFormat{format.code}, format.width,
                                             format.height, packed.data());
  vix::PixelPicture row{vix::PixelFormat::I216, format.width, 1};
  row.planes = {{{reinterpret_cast<std::uint8_t*>(luma.data()), 2 * width},
                 {chroma[0].GetBytes(), 2 * halfWidth},
                 {chroma[1].GetBytes(), 2 * halfWidth}}};
  for (std::uint32_t y = 0; y < format.height; ++y) {
    vix::ConvertPixels(picture.Rows(y, 1), row);
    WritePixels({luma.data(), chroma[0].Double(), chroma[1].Double()}, width,
                deep.data() + y * width * sizeof(DeepPixel));
  }
}

void ConvertRgbPicture(const vix::RgbMatrix& matrix, std::span<const std::uint8_t> packed,
                       std::span<std::uint8_t> deep) {
  constexpr double kLumaBlack = 16 << 8;  // codes of 8 bits, shifted up
  constexpr double kChromaZero = 128 << 8;
  constexpr double kLumaScale = (219 << 8) / 65535.0;
  constexpr double kChromaScale = (224 << 8) / 65535.0;
  const double cbScale = kChromaScale / (2 * (1 - matrix.blue));
  const double crScale = kChromaScale / (2 * (1 - matrix.red));
  const auto round = [](double value) { return static_cast<std::uint16_t>(std::lround(value)); };
  for (std::size_t i = 0; i + sizeof(DeepPixel) <= packed.size(); i += sizeof(DeepPixel)) {
    const auto component = [&](std::size_t place) {
      return static_cast<std::uint16_t>(packed[i + 2 * place] << 8 | packed[i + 2 * place + 1]);
    };
    const double r = component(1);
    const double g = component(2);
    const double b = component(3);
    const double y = matrix.red * r + matrix.GetGreen() * g + matrix.blue * b;
    const DeepPixel pixel{component(0), round(kLumaBlack + kLumaScale * y),
                          round(kChromaZero + cbScale * (b - y)),
                          round(kChromaZero + crScale * (r - y))};
    std::memcpy(deep.data() + i, &pixel, sizeof pixel);
  }
}

}  // namespace vixprores
