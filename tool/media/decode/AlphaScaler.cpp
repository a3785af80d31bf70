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
  target.isWeighted = true;
  return target;
}

// Multiplies colours by alpha. Alpha gets the codes of luma, which leave room for the overshoot of
// the filter: the colours overshoot likewise, and only their exact ratio restores them.
void Weigh(std::span<DeepPixel> pixels) {
  for (DeepPixel& pixel : pixels) {
    ScaleColours(pixel, pixel.alpha, kDeepOpaque);
    const std::int64_t code = DivideRounded(pixel.alpha * kDeepWhiteRange, kDeepOpaque);
    pixel.alpha = static_cast<std::uint16_t>(kDeepBlack + code);
  }
}

// Returns a pixel with the colour that Weigh() changed.
DeepPixel Unweigh(DeepPixel weighted, const DeepPixel& pixel) {
  const std::int64_t code = weighted.alpha - kDeepBlack;
  if (pixel.alpha == 0 || code <= 0) return pixel;
  ScaleColours(weighted, kDeepWhiteRange, code);
  weighted.alpha = pixel.alpha;
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
