// SPDX-License-Identifier: BSD-2-Clause
#include "media/sequence/DeepRgb.h"

#include <algorithm>
#include <cstddef>

#include "format/DeepPicture.h"
#include "format/PlanarPicture.h"

namespace vixprores {
namespace {

constexpr float kMost = 65535;
constexpr float kHalf = 0.5;
constexpr float kGrey = 512;

// Spline36 halfway between two samples, in 152nds.
float Interpolate(const float* samples) {
  const float near = samples[2] + samples[3];
  const float middle = samples[1] + samples[4];
  const float far = samples[0] + samples[5];
  return (91 * near - 18 * middle + 3 * far) * (1.0F / 152);
}

// Makes differences from grey for every column from those of even columns.
void Interpolate(const std::vector<std::uint16_t>& row, std::vector<float>& columns) {
  constexpr std::size_t kReach = 2;  // samples before the one at the left
  const std::size_t count = row.size();
  std::vector<float> padded(count + 2 * kReach + 1);
  for (std::size_t i = 0; i < padded.size(); ++i) {
    const std::size_t place = std::clamp(i, kReach, count + kReach - 1) - kReach;
    padded[i] = static_cast<float>(row[place]) - kGrey;
  }
  for (std::size_t i = 0; i < count; ++i) {
    columns[2 * i] = padded[i + kReach];
    columns[2 * i + 1] = Interpolate(padded.data() + i);
  }
}

// Cuts off the fraction; the value is half a step too high, so this rounds.
std::uint16_t ToSample(float value) {
  return static_cast<std::uint16_t>(std::clamp(value, 0.0F, kMost));
}

}  // namespace

DeepRgb::DeepRgb(const StreamFormat& format, bool keepsAlpha)
    : format_(format), channels_(keepsAlpha && format.HasAlpha() ? 4 : 3) {
  const bool isFull = format.colour.range == ColourRange::Full;
  const vix::RgbMatrix& matrix = RgbMatrixFor(format.colour.matrix, format.height);
  const double red = matrix.red;
  const double blue = matrix.blue;
  const double green = matrix.GetGreen();
  const double chromaScale = static_cast<double>(kMost) / (isFull ? 1023 : 896);
  black_ = isFull ? 0 : 64;
  lumaScale_ = kMost / (isFull ? 1023 : 876);
  redFromCr_ = static_cast<float>(chromaScale * 2 * (1 - red));
  blueFromCb_ = static_cast<float>(chromaScale * 2 * (1 - blue));
  greenFromCr_ = static_cast<float>(chromaScale * 2 * (1 - red) * red / green);
  greenFromCb_ = static_cast<float>(chromaScale * 2 * (1 - blue) * blue / green);
  const std::size_t pairs = (std::size_t{format.width} + 1) / 2;
  rows_ = {std::vector<std::uint16_t>(2 * pairs), std::vector<std::uint16_t>(pairs),
           std::vector<std::uint16_t>(pairs)};
  luma_.resize(2 * pairs);
  for (auto& columns : chroma_) columns.resize(2 * pairs);
}

void DeepRgb::Convert(std::span<const std::uint8_t> packed, std::span<std::uint16_t> pixels) {
  std::uint16_t* target = pixels.data();
  for (std::uint32_t row = 0; row < format_.height; ++row, target += channels_ * format_.width) {
    if (format_.code == vix::kFourCC_V210) {
      ReadV210(packed, row);
    } else {
      ReadY416(packed, row, target);
    }
    ConvertRow(target);
  }
}

void DeepRgb::ReadV210(std::span<const std::uint8_t> packed, std::uint32_t row) {
  const auto bytes = [](std::vector<std::uint16_t>& samples) {
    return reinterpret_cast<std::uint8_t*>(samples.data());
  };
  UnpackRow(format_, packed, row, {bytes(rows_[0]), bytes(rows_[1]), bytes(rows_[2])});
  std::ranges::copy(rows_[0], luma_.begin());
  for (std::size_t i = 0; i < chroma_.size(); ++i) Interpolate(rows_[i + 1], chroma_[i]);
}

// Puts alpha at its place in the pixels.
void DeepRgb::ReadY416(std::span<const std::uint8_t> packed, std::uint32_t row,
                       std::uint16_t* pixels) {
  constexpr float kStep = 64;  // of 10 bits, in 16
  const auto* const line =
      reinterpret_cast<const DeepPixel*>(packed.data()) + std::size_t{format_.width} * row;
  for (std::size_t x = 0; x < format_.width; ++x) {
    if (channels_ == 4) pixels[4 * x + 3] = line[x].alpha;
    luma_[x] = static_cast<float>(line[x].y) / kStep;
    chroma_[0][x] = static_cast<float>(line[x].cb) / kStep - kGrey;
    chroma_[1][x] = static_cast<float>(line[x].cr) / kStep - kGrey;
  }
}

void DeepRgb::ConvertRow(std::uint16_t* pixels) {
  for (std::size_t x = 0; x < format_.width; ++x, pixels += channels_) {
    const float luma = (luma_[x] - black_) * lumaScale_ + kHalf;
    const float cb = chroma_[0][x];
    const float cr = chroma_[1][x];
    pixels[0] = ToSample(luma + cr * redFromCr_);
    pixels[1] = ToSample(luma - cb * greenFromCb_ - cr * greenFromCr_);
    pixels[2] = ToSample(luma + cb * blueFromCb_);
  }
}

}  // namespace vixprores
