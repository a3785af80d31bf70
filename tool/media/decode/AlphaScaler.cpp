// SPDX-License-Identifier: BSD-2-Clause
#include "media/decode/AlphaScaler.h"

#include <algorithm>
#include <span>
#include <utility>

#include "media/decode/AlphaMath.h"

namespace vixprores {
namespace {

// Pictures of the same size, in the colours of the target.
PictureTarget DeepTarget(PictureTarget target, const AVFrame& picture) {
  StreamFormat& format = target.format;
  format.colour.matrix = RgbMatrixFor(format.colour.matrix, format.height).coded;
  format.width = static_cast<std::uint32_t>(picture.width);
  format.height = static_cast<std::uint32_t>(picture.height);
  return target;
}

PictureTarget ScaledTarget(PictureTarget target) {
  target.colour.reset();  // converted before
  target.isPremultiplied = false;
  target.isWeighted = true;
  return target;
}

// Codes of weighted luma and alpha. The filter goes across, then down, and exceeds the range of its
// samples by up to 24 % each time. These codes leave room for both: if one component were clipped
// between, its ratio to the others would be lost, and with it the colour.
constexpr std::int64_t kWeightedBlack = 65 << 8;
constexpr std::int64_t kWeightedRange = kDeepWhiteRange / 2;
constexpr std::int64_t kShift = kWeightedBlack - kDeepBlack;
// Rounding decides the colour of fainter pixels, which are invisible with alpha of 12 bits.
constexpr std::int64_t kFaintest = 4;

// Multiplies colours by alpha.
void Weigh(std::span<DeepPixel> pixels) {
  for (DeepPixel& pixel : pixels) {
    ScaleColours(pixel, pixel.alpha * kWeightedRange, kDeepOpaque * kDeepWhiteRange);
    pixel.y = static_cast<std::uint16_t>(pixel.y + kShift);
    const std::int64_t code = DivideRounded(pixel.alpha * kWeightedRange, kDeepOpaque);
    pixel.alpha = static_cast<std::uint16_t>(kWeightedBlack + code);
  }
}

// Undoes Weigh(). Alpha is that of the weighted pixel, too: any other one could show a pixel whose
// colour is unknown.
// @param pixel scaled without weights; a transparent pixel has its colour
DeepPixel Unweigh(DeepPixel weighted, DeepPixel pixel) {
  const std::int64_t code = weighted.alpha - kWeightedBlack;
  if (code < kFaintest) {
    pixel.alpha = 0;
    return pixel;
  }
  weighted.y = static_cast<std::uint16_t>(std::max<std::int64_t>(weighted.y - kShift, 0));
  ScaleColours(weighted, kDeepWhiteRange, code);
  const std::int64_t alpha = DivideRounded(code * kDeepOpaque, kWeightedRange);
  weighted.alpha = static_cast<std::uint16_t>(std::min(alpha, kDeepOpaque));
  return weighted;
}

}  // namespace

AlphaScaler::AlphaScaler(const PictureTarget& target, std::string inputName)
    : target_(target),
      inputName_(std::move(inputName)),
      scaler_(ScaledTarget(target), inputName_),
      deep_(MakePicture()),
      scaled_(std::size_t{target.format.width} * target.format.height) {
  deep_->format = AV_PIX_FMT_AYUV64LE;  // which is "Y416"
}

void AlphaScaler::ResizeSource(const AVFrame& picture) {
  if (deepener_ && deep_->width == picture.width && deep_->height == picture.height) return;
  const PictureTarget target = DeepTarget(target_, picture);
  pixels_.resize(target.format.FrameBytes() / sizeof(DeepPixel));
  deepener_.emplace(target, inputName_);
  deep_->width = picture.width;
  deep_->height = picture.height;
  deep_->data[0] = reinterpret_cast<std::uint8_t*>(pixels_.data());
  deep_->linesize[0] = picture.width * static_cast<int>(sizeof(DeepPixel));
}

void AlphaScaler::Recolour(const AVFrame& picture, std::uint8_t* packed) {
  ResizeSource(picture);
  deepener_->Convert(picture, deep_->data[0]);
  Weigh(pixels_);
  deep_->interlaced_frame = picture.interlaced_frame;
  scaler_.Convert(*deep_, reinterpret_cast<std::uint8_t*>(scaled_.data()));
  auto* const pixels = reinterpret_cast<DeepPixel*>(packed);
  std::ranges::transform(scaled_, std::span(pixels, scaled_.size()), pixels, Unweigh);
}

}  // namespace vixprores
