// SPDX-License-Identifier: BSD-2-Clause
#include "media/decode/PictureRows.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstring>
#include <vector>

#include "base/Errors.h"
#include "media/container/Libav.h"

namespace vixprores {
namespace {

constexpr unsigned kWideBits = 16;
constexpr unsigned kPaletteBits = 8;
constexpr std::uint64_t kUnreadFlags = AV_PIX_FMT_FLAG_HWACCEL | AV_PIX_FMT_FLAG_BITSTREAM |
                                       AV_PIX_FMT_FLAG_BAYER | AV_PIX_FMT_FLAG_FLOAT;

bool IsXyz(AVPixelFormat format) {
  return format == AV_PIX_FMT_XYZ12LE || format == AV_PIX_FMT_XYZ12BE;
}

const AVPixFmtDescriptor& RequireLayout(AVPixelFormat format, const std::string& inputName) {
  const AVPixFmtDescriptor* const layout = av_pix_fmt_desc_get(format);
  if (layout && (layout->flags & kUnreadFlags) == 0 && !IsXyz(format)) return *layout;
  throw Failure(inputName + ": has pictures of type " + (layout ? layout->name : "unknown") +
                ", which are not read directly; --filter format=gbrp16le (or, for grey, "
                "format=gray) converts them first");
}

bool IsNative(const AVPixFmtDescriptor& layout) {
  const bool isBig = (layout.flags & AV_PIX_FMT_FLAG_BE) != 0;
  return isBig == (std::endian::native == std::endian::big);
}

bool HasPlainPlanes(const AVPixFmtDescriptor& layout, unsigned depth) {
  const int bytes = depth > 8 ? 2 : 1;
  for (int i = 0; i < 3; ++i) {
    const AVComponentDescriptor& component = layout.comp[i];
    if (component.plane != i || component.step != bytes || component.shift != 0) return false;
    if (component.offset != 0) return false;
  }
  return depth <= 8 || IsNative(layout);
}

bool IsFullRange(const AVFrame& picture, const AVPixFmtDescriptor& layout) {
  const bool isGrey = layout.nb_components < 3 && (layout.flags & AV_PIX_FMT_FLAG_RGB) == 0;
  switch (picture.format) {
    case AV_PIX_FMT_YUVJ411P:
    case AV_PIX_FMT_YUVJ420P:
    case AV_PIX_FMT_YUVJ422P:
    case AV_PIX_FMT_YUVJ440P:
    case AV_PIX_FMT_YUVJ444P:
      return true;
    default:
      return ValueOf(picture.color_range) == AVCOL_RANGE_JPEG ||
             (isGrey && ValueOf(picture.color_range) == AVCOL_RANGE_UNSPECIFIED);
  }
}

// Scales samples of that depth to 16 bits, so that the largest one becomes 65535.
void Widen(unsigned depth, std::span<std::uint16_t> samples) {
  if (depth == kWideBits) return;
  // 65535 / most with 32 bits after the binary point, which rounds like the exact fraction.
  const std::uint64_t most = (1U << depth) - 1;
  const std::uint64_t factor = ((std::uint64_t{65535} << 32U) + most / 2) / most;
  for (std::uint16_t& sample : samples) {
    sample = static_cast<std::uint16_t>((sample * factor + (1U << 31U)) >> 32U);
  }
}

}  // namespace

PictureKind KindOf(const AVFrame& picture) {
  const AVPixFmtDescriptor* const layout =
      av_pix_fmt_desc_get(static_cast<AVPixelFormat>(picture.format));
  return {static_cast<AVPixelFormat>(picture.format),
          picture.width,
          picture.height,
          layout && IsFullRange(picture, *layout),
          picture.interlaced_frame != 0,
          ValueOf(picture.colorspace),
          ValueOf(picture.color_primaries),
          ValueOf(picture.color_trc),
          ValueOf(picture.chroma_location)};
}

AVChromaLocation ChromaSitingOf(const PictureKind& kind) {
  if (kind.siting > AVCHROMA_LOC_UNSPECIFIED && kind.siting < AVCHROMA_LOC_NB) {
    return static_cast<AVChromaLocation>(kind.siting);
  }
  // JPEG has it in the middle, and is the only source of such pictures that says nothing.
  return kind.isFull ? AVCHROMA_LOC_CENTER : AVCHROMA_LOC_LEFT;
}

PictureRows::PictureRows(AVPixelFormat format, const std::string& inputName)
    : layout_(RequireLayout(format, inputName)),
      isRgb_((layout_.flags & (AV_PIX_FMT_FLAG_RGB | AV_PIX_FMT_FLAG_PAL)) != 0),
      isGrey_(!isRgb_ && layout_.nb_components < 3),
      isPlanar_(false),
      depth_(0) {
  for (unsigned i = 0; i < (isGrey_ ? 1U : 3U); ++i) {
    depth_ = std::max(depth_, static_cast<unsigned>(layout_.comp[i].depth));
  }
  isPlanar_ = !isRgb_ && !isGrey_ && HasPlainPlanes(layout_, depth_);
}

void PictureRows::Read(const AVFrame& picture, unsigned component, int row,
                       std::span<std::uint16_t> samples) const {
  if (isGrey_ && component > 0) {
    std::ranges::fill(samples, static_cast<std::uint16_t>(1U << (depth_ - 1)));
    return;
  }
  ReadComponent(picture, component, row, samples);
  if (isRgb_) Widen(DepthOf(component), samples);
}

unsigned PictureRows::GetAlphaDepth() const {
  if (!HasAlpha()) return 0;
  return DepthOf(layout_.nb_components - 1U);
}

void PictureRows::ReadAlpha(const AVFrame& picture, int row,
                            std::span<std::uint16_t> samples) const {
  if (!HasAlpha()) {
    std::ranges::fill(samples, std::uint16_t{0xFFFF});
    return;
  }
  const unsigned component = HasPalette() ? 3 : layout_.nb_components - 1U;
  ReadComponent(picture, component, row, samples);
  Widen(GetAlphaDepth(), samples);
}

bool PictureRows::IsOpaque(const AVFrame& picture) const {
  if (!HasAlpha()) return true;
  std::vector<std::uint16_t> samples(static_cast<std::size_t>(picture.width));
  for (int row = 0; row < picture.height; ++row) {
    ReadAlpha(picture, row, samples);
    if (!std::ranges::all_of(samples, [](std::uint16_t alpha) { return alpha == 0xFFFF; })) {
      return false;
    }
  }
  return true;
}

unsigned PictureRows::DepthOf(unsigned component) const {
  return HasPalette() ? kPaletteBits : static_cast<unsigned>(layout_.comp[component].depth);
}

void PictureRows::ReadComponent(const AVFrame& picture, unsigned component, int row,
                                std::span<std::uint16_t> samples) const {
  if (HasPalette()) return ReadPalette(picture, component, row, samples);
  const AVComponentDescriptor& place = layout_.comp[component];
  const bool isRegular = IsNative(layout_) && place.depth + place.shift <= 16;
  if (isRegular && (place.depth + place.shift <= 8 || place.step % 2 == 0)) {
    ReadBytes(picture, place, row, samples);
  } else {
    av_read_image_line2(samples.data(), const_cast<const std::uint8_t**>(picture.data),
                        picture.linesize, &layout_, 0, row, static_cast<int>(component),
                        static_cast<int>(samples.size()), 0, sizeof(std::uint16_t));
  }
}

// The entries of a palette are words of alpha, red, green and blue, from the highest byte down.
void PictureRows::ReadPalette(const AVFrame& picture, unsigned component, int row,
                              std::span<std::uint16_t> samples) {
  constexpr std::array<int, 4> kShifts{16, 8, 0, 24};
  const std::uint8_t* const indices = picture.data[0] + std::ptrdiff_t{row} * picture.linesize[0];
  for (std::size_t x = 0; x < samples.size(); ++x) {
    std::uint32_t entry = 0;
    std::memcpy(&entry, picture.data[1] + std::size_t{4} * indices[x], sizeof entry);
    samples[x] = static_cast<std::uint16_t>(entry >> kShifts[component] & 0xFF);
  }
}

// Reads a component whose samples lie at equal distances in whole bytes or words.
void PictureRows::ReadBytes(const AVFrame& picture, const AVComponentDescriptor& component, int row,
                            std::span<std::uint16_t> samples) const {
  const auto mask = static_cast<std::uint16_t>((1U << component.depth) - 1);
  const int shift = component.shift;
  const auto step = static_cast<std::size_t>(component.step);
  const std::uint8_t* bytes = picture.data[component.plane] +
                              std::ptrdiff_t{row} * picture.linesize[component.plane] +
                              component.offset;
  if (component.depth + component.shift <= 8) {
    for (std::size_t x = 0; x < samples.size(); ++x) {
      samples[x] = static_cast<std::uint16_t>((bytes[x * step] >> shift) & mask);
    }
    return;
  }
  for (std::size_t x = 0; x < samples.size(); ++x) {
    std::uint16_t word = 0;
    std::memcpy(&word, bytes + x * step, sizeof word);
    samples[x] = static_cast<std::uint16_t>((word >> shift) & mask);
  }
}

namespace {

// Bits after the binary point of the matrix: with samples of 16 bits, sums fit 31.
constexpr int kMatrixFraction = 15;

std::int32_t ToFixed(double value) {
  return static_cast<std::int32_t>(std::lround(value * (1 << kMatrixFraction)));
}

}  // namespace

RgbMatrix::RgbMatrix(const vix::RgbMatrix& weights) {
  const double red = weights.red;
  const double blue = weights.blue;
  constexpr double kLumaScale = 219.0 * 256 / 65535;
  constexpr double kChromaScale = 224.0 * 256 / 65535;
  constexpr std::int32_t kHalf = 1 << (kMatrixFraction - 1);
  constexpr std::int32_t kBlack = (16 << (8 + kMatrixFraction)) + kHalf;
  // 32768 in that format does not fit; the sum is shifted by half the range instead.
  constexpr std::int32_t kNeutral = kHalf;
  const double greenOfBlue = -(1 - red - blue) / (1 - blue) / 2;
  const double greenOfRed = -(1 - red - blue) / (1 - red) / 2;
  Row luma{ToFixed(kLumaScale * red), 0, ToFixed(kLumaScale * blue), kBlack};
  Row cb{0, ToFixed(kChromaScale * greenOfBlue), ToFixed(kChromaScale / 2), kNeutral};
  Row cr{ToFixed(kChromaScale / 2), ToFixed(kChromaScale * greenOfRed), 0, kNeutral};
  // White is to be exact, and grey neutral: the remaining coefficients follow from the sums.
  luma.green = ToFixed(kLumaScale) - luma.red - luma.blue;
  cb.red = -cb.green - cb.blue;
  cr.blue = -cr.red - cr.green;
  rows_ = {luma, cb, cr};
}

void RgbMatrix::Convert(const std::array<const std::uint16_t*, 3>& rgb,
                        const std::array<std::uint16_t*, 3>& ycbcr, std::size_t count) const {
  const auto [luma, cb, cr] = rows_;
  constexpr std::int32_t kMiddle = 1 << 15;
  for (std::size_t x = 0; x < count; ++x) {
    const std::int32_t red = rgb[0][x];
    const std::int32_t green = rgb[1][x];
    const std::int32_t blue = rgb[2][x];
    const auto apply = [&](const Row& row) {
      return (row.red * red + row.green * green + row.blue * blue + row.offset) >> kMatrixFraction;
    };
    ycbcr[0][x] = static_cast<std::uint16_t>(apply(luma));
    ycbcr[1][x] = static_cast<std::uint16_t>(apply(cb) + kMiddle);
    ycbcr[2][x] = static_cast<std::uint16_t>(apply(cr) + kMiddle);
  }
}

}  // namespace vixprores
