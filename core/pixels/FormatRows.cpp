// SPDX-License-Identifier: BSD-2-Clause
#include "pixels/FormatRows.h"

#include <algorithm>

namespace vix::pixels {
namespace {

/// Depth of samples after Widen().
constexpr int kWidenedBits = 10;

/// Returns the pairs of pixels; each has one sample of Cb and one of Cr.
constexpr std::size_t Pairs(std::size_t pixels) {
  return (pixels + 1) / 2;
}

/// Completes the last pair of an odd width.
template <typename Sample>
void RepeatLastPixel(Sample* samples, std::size_t pixels) {
  if (pixels % 2 != 0) samples[pixels] = samples[pixels - 1];
}

// --- Formats of 8 bits

void ReadUyvy(const RowKernels& kernels, const Format& /*format*/, const SourceRow& row,
              std::size_t pixels, Strip& strip) {
  kernels.separateBytes(row[0], strip.bytes.cbcr.data(), strip.bytes.y.data(), 2 * Pairs(pixels));
}

void WriteUyvy(const RowKernels& kernels, const SampleScale& /*scale*/, Strip& strip,
               std::size_t pixels, const TargetRow& row) {
  RepeatLastPixel(strip.bytes.y.data(), pixels);
  kernels.interleaveBytes(strip.bytes.cbcr.data(), strip.bytes.y.data(), row[0], 2 * Pairs(pixels));
}

void ReadYuy2(const RowKernels& kernels, const Format& /*format*/, const SourceRow& row,
              std::size_t pixels, Strip& strip) {
  kernels.separateBytes(row[0], strip.bytes.y.data(), strip.bytes.cbcr.data(), 2 * Pairs(pixels));
}

void WriteYuy2(const RowKernels& kernels, const SampleScale& /*scale*/, Strip& strip,
               std::size_t pixels, const TargetRow& row) {
  RepeatLastPixel(strip.bytes.y.data(), pixels);
  kernels.interleaveBytes(strip.bytes.y.data(), strip.bytes.cbcr.data(), row[0], 2 * Pairs(pixels));
}

void ReadI422(const RowKernels& kernels, const Format& /*format*/, const SourceRow& row,
              std::size_t pixels, Strip& strip) {
  std::copy_n(row[0], pixels, strip.bytes.y.data());
  kernels.interleaveBytes(row[1], row[2], strip.bytes.cbcr.data(), Pairs(pixels));
}

void WriteI422(const RowKernels& kernels, const SampleScale& /*scale*/, Strip& strip,
               std::size_t pixels, const TargetRow& row) {
  std::copy_n(strip.bytes.y.data(), pixels, row[0]);
  kernels.separateBytes(strip.bytes.cbcr.data(), row[1], row[2], Pairs(pixels));
}

void ReadNv16(const RowKernels& /*kernels*/, const Format& /*format*/, const SourceRow& row,
              std::size_t pixels, Strip& strip) {
  std::copy_n(row[0], pixels, strip.bytes.y.data());
  std::copy_n(row[1], 2 * Pairs(pixels), strip.bytes.cbcr.data());
}

void WriteNv16(const RowKernels& /*kernels*/, const SampleScale& /*scale*/, Strip& strip,
               std::size_t pixels, const TargetRow& row) {
  std::copy_n(strip.bytes.y.data(), pixels, row[0]);
  std::copy_n(strip.bytes.cbcr.data(), 2 * Pairs(pixels), row[1]);
}

// --- Formats of more bits

void ReadV210(const RowKernels& kernels, const Format& /*format*/, const SourceRow& row,
              std::size_t pixels, Strip& strip) {
  Strip::Words& words = strip.words;
  kernels.unpackV210(row[0], pixels, {words.y.data(), words.cb.data(), words.cr.data()});
}

void WriteV210(const RowKernels& kernels, const SampleScale& scale, Strip& strip,
               std::size_t pixels, const TargetRow& row) {
  Strip::Words& words = strip.words;
  if (scale.down != 0) {
    kernels.scaleWords(words.y.data(), words.y.data(), pixels, scale);
    kernels.scaleWords(words.cb.data(), words.cb.data(), Pairs(pixels), scale);
    kernels.scaleWords(words.cr.data(), words.cr.data(), Pairs(pixels), scale);
  }
  RepeatLastPixel(words.y.data(), pixels);
  const auto whole = static_cast<std::uint32_t>(2 * Pairs(pixels));
  kernels.packV210({words.y.data(), words.cb.data(), words.cr.data()}, whole, row[0]);
  const std::size_t used = prores::PackedRowBytes(kWPRPixelFormatV210, whole);
  std::fill(row[0] + used, row[0] + FindFormat(PixelFormat::V210)->RowBytes(0, pixels), 0);
}

/// Returns the scale from words of a format to samples.
SampleScale ReadingScale(const Format& format) {
  SampleScale scale = MakeSampleScale(format.bits, format.bits);
  scale.down = format.shift;
  return scale;
}

void ReadPlanarWords(const RowKernels& kernels, const Format& format, const SourceRow& row,
                     std::size_t pixels, Strip& strip) {
  const SampleScale scale = ReadingScale(format);
  kernels.scaleWords(row[0], strip.words.y.data(), pixels, scale);
  kernels.scaleWords(row[1], strip.words.cb.data(), Pairs(pixels), scale);
  kernels.scaleWords(row[2], strip.words.cr.data(), Pairs(pixels), scale);
}

void WritePlanarWords(const RowKernels& kernels, const SampleScale& scale, Strip& strip,
                      std::size_t pixels, const TargetRow& row) {
  kernels.scaleWords(strip.words.y.data(), row[0], pixels, scale);
  kernels.scaleWords(strip.words.cb.data(), row[1], Pairs(pixels), scale);
  kernels.scaleWords(strip.words.cr.data(), row[2], Pairs(pixels), scale);
}

void ReadP210(const RowKernels& kernels, const Format& format, const SourceRow& row,
              std::size_t pixels, Strip& strip) {
  Strip::Words& words = strip.words;
  const SampleScale scale = ReadingScale(format);
  kernels.scaleWords(row[0], words.y.data(), pixels, scale);
  kernels.separateWords(row[1], words.cb.data(), words.cr.data(), Pairs(pixels), scale);
}

void WriteP210(const RowKernels& kernels, const SampleScale& scale, Strip& strip,
               std::size_t pixels, const TargetRow& row) {
  const Strip::Words& words = strip.words;
  kernels.scaleWords(words.y.data(), row[0], pixels, scale);
  kernels.interleaveWords(words.cb.data(), words.cr.data(), row[1], Pairs(pixels), scale);
}

// --- Changes of depth

void Widen(const RowKernels& kernels, std::size_t pixels, Strip& strip) {
  auto& [bytes, words] = strip;
  kernels.widenBytes(bytes.y.data(), words.y.data(), pixels);
  kernels.widenPairs(bytes.cbcr.data(), words.cb.data(), words.cr.data(), Pairs(pixels));
}

void Narrow(const RowKernels& kernels, const SampleScale& scale, std::size_t pixels, Strip& strip) {
  auto& [bytes, words] = strip;
  kernels.narrowWords(words.y.data(), bytes.y.data(), pixels, scale);
  kernels.narrowToPairs(words.cb.data(), words.cr.data(), bytes.cbcr.data(), Pairs(pixels), scale);
}

constexpr std::array<PixelGroup, kMaxPixelPlanes> kWordPlanes{{{1, 2}, {2, 2}, {2, 2}}};

constexpr Format kFormats[] = {
    {PixelFormat::UYVY, 1, {{{2, 4}}}, 8, 0, ReadUyvy, WriteUyvy},
    {PixelFormat::YUY2, 1, {{{2, 4}}}, 8, 0, ReadYuy2, WriteYuy2},
    {PixelFormat::V210, 1, {{{48, 128}}}, 10, 0, ReadV210, WriteV210},
    {PixelFormat::I422, 3, {{{1, 1}, {2, 1}, {2, 1}}}, 8, 0, ReadI422, WriteI422},
    {PixelFormat::I210, 3, kWordPlanes, 10, 0, ReadPlanarWords, WritePlanarWords},
    {PixelFormat::I216, 3, kWordPlanes, 16, 0, ReadPlanarWords, WritePlanarWords},
    {PixelFormat::NV16, 2, {{{1, 1}, {2, 2}}}, 8, 0, ReadNv16, WriteNv16},
    {PixelFormat::P210, 2, {{{1, 2}, {2, 4}}}, 10, 6, ReadP210, WriteP210},
};

template <typename Byte>
std::array<Byte*, kMaxPixelPlanes> RowAt(const Format& format,
                                         const BasicPixelPicture<Byte>& picture, std::size_t y,
                                         std::size_t x) {
  std::array<Byte*, kMaxPixelPlanes> row{};
  for (std::size_t i = 0; i < format.planes; ++i) {
    row[i] = picture.planes[i].data + y * picture.planes[i].stride + format.RowBytes(i, x);
  }
  return row;
}

}  // namespace

const Format* FindFormat(PixelFormat format) {
  const auto* const found = std::ranges::find(kFormats, format, &Format::format);
  return found == std::end(kFormats) ? nullptr : found;
}

void ConvertPicture(const RowKernels& kernels, const ConstPixelPicture& source,
                    const PixelPicture& destination) {
  const Format& from = *FindFormat(source.format);
  const Format& to = *FindFormat(destination.format);
  const bool widens = from.bits == 8 && to.bits > 8;
  const bool narrows = from.bits > 8 && to.bits == 8;
  const SampleScale scale = MakeSampleScale(widens ? kWidenedBits : from.bits, to.bits, to.shift);
  Strip strip;
  for (std::size_t y = 0; y < source.height; ++y) {
    for (std::size_t x = 0; x < source.width; x += kStripPixels) {
      const std::size_t pixels = std::min<std::size_t>(kStripPixels, source.width - x);
      from.read(kernels, from, RowAt(from, source, y, x), pixels, strip);
      if (widens) Widen(kernels, pixels, strip);
      if (narrows) Narrow(kernels, scale, pixels, strip);
      to.write(kernels, scale, strip, pixels, RowAt(to, destination, y, x));
    }
  }
}

}  // namespace vix::pixels
