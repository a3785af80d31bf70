// SPDX-License-Identifier: BSD-2-Clause
#include "media/decode/RowCallbacks.h"

#include <cstring>
#include <span>

#include "media/decode/AlphaMath.h"
#include "vix/PixelConversion.h"

extern "C" {
#include <libavutil/common.h>
}

namespace vixprores {
namespace {

constexpr unsigned kTargetBits = 10;

// Scales a row of full range and `bits` bits to limited range of 16 bits.
void Limit(std::span<std::uint16_t> samples, unsigned bits, bool isLuma) {
  constexpr int kFraction = 14;
  constexpr std::int64_t kHalf = std::int64_t{1} << (kFraction - 1);
  const std::int64_t most = (1 << bits) - 1;
  const std::int64_t range = (isLuma ? 219 : 224) * 256;
  const std::int64_t factor = ((range << kFraction) + most / 2) / most;
  const std::int64_t middle = isLuma ? 0 : std::int64_t{1} << (bits - 1);
  const std::int64_t offset = isLuma ? 16 << 8 : 1 << (kWorkBits - 1);
  for (std::uint16_t& sample : samples) {
    const std::int64_t scaled = ((sample - middle) * factor + kHalf) >> kFraction;
    sample = static_cast<std::uint16_t>(scaled + offset);
  }
}

// Thresholds of ordered dithering, 0 to 63, by Bayer's recursion.
constexpr auto kThresholds = [] {
  std::array<std::array<std::uint8_t, 8>, 8> thresholds{};
  for (unsigned y = 0; y < 8; ++y) {
    for (unsigned x = 0; x < 8; ++x) {
      unsigned value = 0;
      for (unsigned bit = 0; bit < 3; ++bit) {
        const unsigned across = (x >> bit) & 1U;
        const unsigned down = (y >> bit) & 1U;
        value |= ((across ^ down) << (5 - 2 * bit)) | (down << (4 - 2 * bit));
      }
      thresholds[y][x] = static_cast<std::uint8_t>(value);
    }
  }
  return thresholds;
}();

// Adds the difference of the thresholds to one half, with which later rounding to 10 bits dithers.
void Dither(std::span<std::uint16_t> samples, unsigned row, unsigned plane) {
  constexpr int kHalf = 1 << (kWorkBits - kTargetBits - 1);
  const auto& thresholds = kThresholds[(row + 3 * plane) % 8];
  for (std::size_t x = 0; x < samples.size(); ++x) {
    const int dithered = samples[x] + thresholds[(x + 5 * plane) % 8] - kHalf;
    samples[x] = static_cast<std::uint16_t>(std::clamp(dithered, 0, 65535));
  }
}

void DivideByAlpha(std::span<DeepPixel> pixels) {
  for (DeepPixel& pixel : pixels) {
    if (pixel.alpha != 0) ScaleColours(pixel, kDeepOpaque, pixel.alpha);
  }
}

}  // namespace

int PackedRows::Write(void* user, unsigned row, unsigned /*left*/, unsigned /*right*/) {
  auto& self = *static_cast<PackedRows*>(user);
  try {
    self.Pack(row);
    return 0;
  } catch (...) {
    self.failure = std::current_exception();
    return 1;
  }
}

void PackedRows::Pack(unsigned row) const {
  const std::size_t line = static_cast<std::size_t>(lines.first) +
                           std::size_t{row} * static_cast<std::size_t>(lines.step);
  if (line >= format.height) return;  // padding
  std::uint8_t* const target = packed + line * stride;
  format.code == vix::kFourCC_V210 ? PackV210(row, target) : PackY416(row, target);
}

void PackedRows::PackV210(unsigned row, std::uint8_t* target) const {
  vix::ConstPixelPicture source{vix::PixelFormat::I216, format.width, 1, {}};
  for (unsigned plane = 0; plane < RowRing::kPlanes; ++plane) {
    const std::size_t count = plane == 0 ? format.width : (format.width + 1) / 2;
    if (sourceBits > kTargetBits) Dither({Samples(plane, row), count}, row, plane);
    source.planes[plane] = {ring.Row(plane, row), 2 * count};
  }
  vix::ConvertPixels(source, {vix::PixelFormat::V210, format.width, 1, {{{target, stride}}}});
}

// Alpha is packed before the colours.
void PackedRows::PackY416(unsigned row, std::uint8_t* target) const {
  auto* const pixels = reinterpret_cast<DeepPixel*>(target);
  const std::uint16_t* const first = Samples(0, row);
  if (channels == Channels::Alpha) {
    for (std::size_t x = 0; x < format.width; ++x) pixels[x].alpha = first[x];
    return;
  }
  const std::uint16_t* const cb = Samples(1, row);
  const std::uint16_t* const cr = Samples(2, row);
  for (std::size_t x = 0; x < format.width; ++x) {
    pixels[x].y = first[x];
    pixels[x].cb = cb[x];
    pixels[x].cr = cr[x];
  }
  if (isPremultiplied) DivideByAlpha({pixels, format.width});
}

// Rows below the picture repeat its last one.
int SourceRows::LineOf(unsigned row, int height) const {
  return lines.first + lines.step * std::min(static_cast<int>(row), lines.Count(height) - 1);
}

template <typename Sample>
void SourceRows::ReadPlane(unsigned plane, unsigned row) const {
  const unsigned shiftW = plane == 0 ? 0 : rows.GetSubsampleW();
  const unsigned shiftH = plane == 0 ? 0 : rows.GetSubsampleH();
  const int height = AV_CEIL_RSHIFT(picture.height, static_cast<int>(shiftH));
  const auto count =
      static_cast<std::size_t>(AV_CEIL_RSHIFT(picture.width, static_cast<int>(shiftW)));
  const int line = LineOf(row, height);
  auto* const data = reinterpret_cast<Sample*>(ring.Row(plane, row));
  if (rows.IsPlanar() && !isFull) {
    const std::uint8_t* const samples =
        picture.data[plane] + std::ptrdiff_t{line} * picture.linesize[plane];
    std::memcpy(data, samples, count * sizeof(Sample));
  } else if constexpr (sizeof(Sample) == 2) {
    const std::span samples(data, count);
    rows.Read(picture, plane, line, samples);
    if (isFull) Limit(samples, rows.GetDepth(), plane == 0);
  }
  std::fill(data + count, data + (width >> shiftW), data[count - 1]);
}

void SourceRows::ReadRgb(unsigned row) const {
  const auto count = static_cast<std::size_t>(picture.width);
  std::array<std::uint16_t*, RowRing::kPlanes> targets{};
  for (unsigned plane = 0; plane < RowRing::kPlanes; ++plane) {
    rows.Read(picture, plane, LineOf(row, picture.height), std::span(rgb[plane]).first(count));
    targets[plane] = reinterpret_cast<std::uint16_t*>(ring.Row(plane, row));
  }
  matrix->Convert({rgb[0].data(), rgb[1].data(), rgb[2].data()}, targets, count);
  for (std::uint16_t* const samples : targets) {
    std::fill(samples + count, samples + width, samples[count - 1]);
  }
}

void SourceRows::ReadAlpha(unsigned row) const {
  const auto count = static_cast<std::size_t>(picture.width);
  auto* const samples = reinterpret_cast<std::uint16_t*>(ring.Row(0, row));
  rows.ReadAlpha(picture, LineOf(row, picture.height), {samples, count});
  std::fill(samples + count, samples + width, samples[count - 1]);
}

int SourceRows::Read(void* user, unsigned row, unsigned /*left*/, unsigned /*right*/) {
  const auto& self = *static_cast<const SourceRows*>(user);
  if (self.channels == Channels::Alpha) {
    self.ReadAlpha(row);
    return 0;
  }
  if (self.matrix) {
    self.ReadRgb(row);
    return 0;
  }
  const unsigned shift = self.rows.GetSubsampleH();
  const bool isBytes = self.rows.IsPlanar() && self.rows.GetDepth() <= 8 && !self.isFull;
  const auto read =
      isBytes ? &SourceRows::ReadPlane<std::uint8_t> : &SourceRows::ReadPlane<std::uint16_t>;
  for (unsigned i = 0; i < 1U << shift; ++i) (self.*read)(0, row + i);
  (self.*read)(1, row >> shift);
  (self.*read)(2, row >> shift);
  return 0;
}

}  // namespace vixprores
