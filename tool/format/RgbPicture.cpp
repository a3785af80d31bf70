// SPDX-License-Identifier: BSD-2-Clause
#include "format/RgbPicture.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "format/SamplePicture.h"

namespace vixprores {
namespace {

// A plane of numbers, rows without gaps.
struct Plane {
  Plane(std::size_t columns, std::size_t rows)
      : width(columns), height(rows), values(columns * rows) {}

  float* Row(std::size_t row) { return values.data() + row * width; }
  const float* Row(std::size_t row) const { return values.data() + row * width; }

  std::size_t width;
  std::size_t height;
  std::vector<float> values;
};

// Source samples that a target sample covers, with their shares of it.
struct Coverage {
  std::size_t first;
  std::vector<float> shares;
};

std::vector<Coverage> CoverSamples(std::size_t source, std::size_t target) {
  std::vector<Coverage> coverages;
  const double scale = static_cast<double>(source) / static_cast<double>(target);
  for (std::size_t i = 0; i < target; ++i) {
    const double begin = static_cast<double>(i) * scale;
    const double end = std::min(begin + scale, static_cast<double>(source));
    Coverage coverage{static_cast<std::size_t>(begin), {}};
    for (std::size_t sample = coverage.first; static_cast<double>(sample) < end; ++sample) {
      const auto at = static_cast<double>(sample);
      const double share = std::min(at + 1, end) - std::max(at, begin);
      coverage.shares.push_back(static_cast<float>(share / (end - begin)));
    }
    coverages.push_back(std::move(coverage));
  }
  return coverages;
}

void ScaleRow(const float* source, const std::vector<Coverage>& coverages, float* target) {
  for (const Coverage& coverage : coverages) {
    float sum = 0;
    const float* sample = source + coverage.first;
    for (const float share : coverage.shares) sum += share * *sample++;
    *target++ = sum;
  }
}

// A chroma sample sits at every second luma sample, between which it is interpolated.
void WidenChroma(const std::uint16_t* chroma, std::size_t chromaWidth, std::vector<float>& row) {
  for (std::size_t x = 0; x < row.size(); ++x) {
    const std::size_t left = x / 2;
    const std::size_t right = std::min(left + x % 2, chromaWidth - 1);
    row[x] = 0.5F * static_cast<float>(chroma[left] + chroma[right]);
  }
}

Plane ScalePlane(const SamplePlane& source, std::size_t lumaWidth, RgbSize size) {
  const auto across = CoverSamples(lumaWidth, size.width);
  const auto down = CoverSamples(source.height, size.height);
  Plane target(size.width, size.height);
  std::vector<float> row(lumaWidth);
  std::vector<float> scaled(size.width);
  for (std::size_t y = 0; y < down.size(); ++y) {
    float* const sum = target.Row(y);
    for (std::size_t i = 0; i < down[y].shares.size(); ++i) {
      const std::uint16_t* const samples = source.Row(down[y].first + i);
      if (source.width == lumaWidth) {
        std::copy_n(samples, lumaWidth, row.begin());
      } else {
        WidenChroma(samples, source.width, row);
      }
      ScaleRow(row.data(), across, scaled.data());
      const float share = down[y].shares[i];
      for (std::size_t x = 0; x < size.width; ++x) sum[x] += share * scaled[x];
    }
  }
  return target;
}

// Luma weights of red and blue, by which a matrix is known.
struct LumaWeights {
  float red;
  float blue;
};

LumaWeights WeightsOf(const StreamFormat& format) {
  constexpr LumaWeights kBt601{0.299F, 0.114F};
  constexpr LumaWeights kBt709{0.2126F, 0.0722F};
  constexpr LumaWeights kBt2020{0.2627F, 0.0593F};
  constexpr std::uint32_t kFirstHdHeight = 720;
  switch (format.colour.matrix) {
    case 1:
      return kBt709;
    case 5:
    case 6:
      return kBt601;
    case 9:
    case 10:
      return kBt2020;
    default:
      return format.height >= kFirstHdHeight ? kBt709 : kBt601;
  }
}

std::uint8_t ToByte(float value) {
  return static_cast<std::uint8_t>(std::clamp(value * 255 + 0.5F, 0.0F, 255.0F));
}

// From code values to R'G'B'.
class Conversion {
 public:
  explicit Conversion(const StreamFormat& format) : weights_(WeightsOf(format)) {
    const auto unit = static_cast<float>(1U << (SampleBits(format) - 8));
    const bool isFull = format.colour.range == ColourRange::Full;
    black_ = isFull ? 0 : 16 * unit;
    lumaScale_ = 1 / (isFull ? 256 * unit - 1 : 219 * unit);
    neutral_ = 128 * unit;
    chromaScale_ = 1 / (isFull ? 256 * unit - 1 : 224 * unit);
  }

  void Convert(float luma, float cb, float cr, std::uint8_t* pixel) const {
    const float y = (luma - black_) * lumaScale_;
    const float red = y + 2 * (1 - weights_.red) * (cr - neutral_) * chromaScale_;
    const float blue = y + 2 * (1 - weights_.blue) * (cb - neutral_) * chromaScale_;
    const float green =
        (y - weights_.red * red - weights_.blue * blue) / (1 - weights_.red - weights_.blue);
    pixel[0] = ToByte(red);
    pixel[1] = ToByte(green);
    pixel[2] = ToByte(blue);
  }

 private:
  LumaWeights weights_;
  float black_;
  float lumaScale_;
  float neutral_;
  float chromaScale_;
};

}  // namespace

RgbSize DisplaySize(const StreamFormat& format, std::optional<std::uint32_t> widest) {
  const Rational aspect = format.sampleAspect.numerator > 0 ? format.sampleAspect : Rational{1, 1};
  const double width = static_cast<double>(format.width) * aspect.numerator / aspect.denominator;
  const double scale = widest && *widest < width ? *widest / width : 1;
  const auto round = [](double pixels) {
    return static_cast<std::uint32_t>(std::clamp(std::round(pixels), 1.0, 65535.0));
  };
  return {round(width * scale), round(format.height * scale)};
}

RgbPicture ToRgb(const StreamFormat& format, std::span<const std::uint8_t> packed, RgbSize size) {
  SamplePicture samples;
  samples.Load(format, packed, SampleBits(format));
  const Plane luma = ScalePlane(samples.GetPlane(0), format.width, size);
  const Plane cb = ScalePlane(samples.GetPlane(1), format.width, size);
  const Plane cr = ScalePlane(samples.GetPlane(2), format.width, size);
  const Conversion conversion(format);
  RgbPicture picture(size.width, size.height);
  for (std::size_t i = 0; i < luma.values.size(); ++i) {
    conversion.Convert(luma.values[i], cb.values[i], cr.values[i], picture.pixels.data() + 3 * i);
  }
  return picture;
}

RgbPicture AmplifyDifference(const RgbPicture& reference, const RgbPicture& distorted, int gain) {
  constexpr int kMiddle = 128;
  RgbPicture picture(reference.width, reference.height);
  std::ranges::transform(
      reference.pixels, distorted.pixels, picture.pixels.begin(), [gain](int a, int b) {
        return static_cast<std::uint8_t>(std::clamp(kMiddle + gain * (b - a), 0, 255));
      });
  return picture;
}

}  // namespace vixprores
