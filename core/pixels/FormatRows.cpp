// SPDX-License-Identifier: BSD-2-Clause
#include "pixels/FormatRows.h"

#include <algorithm>

namespace vix::pixels {
namespace {

constexpr std::size_t ChromaSamples(std::size_t pixels) {
  return (pixels + 1) / 2;
}

// --- Readers

void ReadUyvy(const RowKernels& kernels, const Format& /*format*/, const SourceRow& row,
              std::size_t pixels, Strip& strip) {
  kernels.unpackUyvy(row[0], pixels, {strip.y.data(), strip.cb.data(), strip.cr.data()});
}

void ReadYuy2(const RowKernels& kernels, const Format& format, const SourceRow& row,
              std::size_t pixels, Strip& strip) {
  alignas(64) std::array<std::uint8_t, 2 * kStripPixels> uyvy;
  kernels.swapBytes(row[0], uyvy.data(), 2 * ChromaSamples(pixels));
  ReadUyvy(kernels, format, {uyvy.data()}, pixels, strip);
}

void ReadV210(const RowKernels& kernels, const Format& /*format*/, const SourceRow& row,
              std::size_t pixels, Strip& strip) {
  kernels.unpackV210(row[0], pixels, {strip.y.data(), strip.cb.data(), strip.cr.data()});
}

/// Returns the scale from words of a format to samples.
SampleScale ReadingScale(const Format& format) {
  SampleScale scale = MakeSampleScale(format.bits, format.bits);
  scale.down = format.shift;
  return scale;
}

void ReadPlanarBytes(const RowKernels& kernels, const Format& /*format*/, const SourceRow& row,
                     std::size_t pixels, Strip& strip) {
  kernels.widenBytes(row[0], strip.y.data(), pixels);
  kernels.widenBytes(row[1], strip.cb.data(), ChromaSamples(pixels));
  kernels.widenBytes(row[2], strip.cr.data(), ChromaSamples(pixels));
}

void ReadPlanarWords(const RowKernels& kernels, const Format& format, const SourceRow& row,
                     std::size_t pixels, Strip& strip) {
  const SampleScale scale = ReadingScale(format);
  kernels.scaleWords(row[0], strip.y.data(), pixels, scale);
  kernels.scaleWords(row[1], strip.cb.data(), ChromaSamples(pixels), scale);
  kernels.scaleWords(row[2], strip.cr.data(), ChromaSamples(pixels), scale);
}

void ReadSemiPlanarBytes(const RowKernels& kernels, const Format& /*format*/, const SourceRow& row,
                         std::size_t pixels, Strip& strip) {
  kernels.widenBytes(row[0], strip.y.data(), pixels);
  kernels.splitBytes(row[1], strip.cb.data(), strip.cr.data(), ChromaSamples(pixels));
}

void ReadSemiPlanarWords(const RowKernels& kernels, const Format& format, const SourceRow& row,
                         std::size_t pixels, Strip& strip) {
  const SampleScale scale = ReadingScale(format);
  kernels.scaleWords(row[0], strip.y.data(), pixels, scale);
  kernels.splitWords(row[1], strip.cb.data(), strip.cr.data(), ChromaSamples(pixels), scale);
}

// --- Writers

/// Prepares a strip for a packer, which takes samples of its own depth.
/// @return pixels, with the last one repeated if the width is odd
std::uint32_t ScaleForPacking(const RowKernels& kernels, Strip& strip, const SampleScale& scale,
                              std::size_t pixels) {
  if (scale.down != 0 || scale.up != 0) {
    kernels.scaleWords(strip.y.data(), strip.y.data(), pixels, scale);
    kernels.scaleWords(strip.cb.data(), strip.cb.data(), ChromaSamples(pixels), scale);
    kernels.scaleWords(strip.cr.data(), strip.cr.data(), ChromaSamples(pixels), scale);
  }
  if (pixels % 2 != 0) strip.y[pixels] = strip.y[pixels - 1];
  return static_cast<std::uint32_t>(2 * ChromaSamples(pixels));
}

void WriteUyvy(const RowKernels& kernels, Strip& strip, const SampleScale& scale,
               std::size_t pixels, const TargetRow& row) {
  const std::uint32_t whole = ScaleForPacking(kernels, strip, scale, pixels);
  kernels.packUyvy({strip.y.data(), strip.cb.data(), strip.cr.data()}, whole, row[0]);
}

void WriteYuy2(const RowKernels& kernels, Strip& strip, const SampleScale& scale,
               std::size_t pixels, const TargetRow& row) {
  WriteUyvy(kernels, strip, scale, pixels, row);
  kernels.swapBytes(row[0], row[0], 2 * ChromaSamples(pixels));
}

void WriteV210(const RowKernels& kernels, Strip& strip, const SampleScale& scale,
               std::size_t pixels, const TargetRow& row) {
  const std::uint32_t whole = ScaleForPacking(kernels, strip, scale, pixels);
  kernels.packV210({strip.y.data(), strip.cb.data(), strip.cr.data()}, whole, row[0]);
  const std::size_t used = prores::PackedRowBytes(kWPRPixelFormatV210, whole);
  std::fill(row[0] + used, row[0] + FindFormat(PixelFormat::V210)->RowBytes(0, pixels), 0);
}

void WritePlanarBytes(const RowKernels& kernels, Strip& strip, const SampleScale& scale,
                      std::size_t pixels, const TargetRow& row) {
  kernels.narrowWords(strip.y.data(), row[0], pixels, scale);
  kernels.narrowWords(strip.cb.data(), row[1], ChromaSamples(pixels), scale);
  kernels.narrowWords(strip.cr.data(), row[2], ChromaSamples(pixels), scale);
}

void WritePlanarWords(const RowKernels& kernels, Strip& strip, const SampleScale& scale,
                      std::size_t pixels, const TargetRow& row) {
  kernels.scaleWords(strip.y.data(), row[0], pixels, scale);
  kernels.scaleWords(strip.cb.data(), row[1], ChromaSamples(pixels), scale);
  kernels.scaleWords(strip.cr.data(), row[2], ChromaSamples(pixels), scale);
}

void WriteSemiPlanarBytes(const RowKernels& kernels, Strip& strip, const SampleScale& scale,
                          std::size_t pixels, const TargetRow& row) {
  kernels.narrowWords(strip.y.data(), row[0], pixels, scale);
  kernels.joinBytes(strip.cb.data(), strip.cr.data(), row[1], ChromaSamples(pixels), scale);
}

void WriteSemiPlanarWords(const RowKernels& kernels, Strip& strip, const SampleScale& scale,
                          std::size_t pixels, const TargetRow& row) {
  kernels.scaleWords(strip.y.data(), row[0], pixels, scale);
  kernels.joinWords(strip.cb.data(), strip.cr.data(), row[1], ChromaSamples(pixels), scale);
}

using Groups = std::array<PixelGroup, kMaxPixelPlanes>;
constexpr Groups kPlanarBytes{{{1, 1}, {2, 1}, {2, 1}}};
constexpr Groups kPlanarWords{{{1, 2}, {2, 2}, {2, 2}}};

// The unpacker of UYVY returns 10 bits.
constexpr Format kFormats[] = {
    {PixelFormat::UYVY, 1, {{{2, 4}}}, 8, 0, 10, ReadUyvy, WriteUyvy},
    {PixelFormat::YUY2, 1, {{{2, 4}}}, 8, 0, 10, ReadYuy2, WriteYuy2},
    {PixelFormat::V210, 1, {{{48, 128}}}, 10, 0, 10, ReadV210, WriteV210},
    {PixelFormat::I422, 3, kPlanarBytes, 8, 0, 8, ReadPlanarBytes, WritePlanarBytes},
    {PixelFormat::I210, 3, kPlanarWords, 10, 0, 10, ReadPlanarWords, WritePlanarWords},
    {PixelFormat::I216, 3, kPlanarWords, 16, 0, 16, ReadPlanarWords, WritePlanarWords},
    {PixelFormat::NV16, 2, {{{1, 1}, {2, 2}}}, 8, 0, 8, ReadSemiPlanarBytes, WriteSemiPlanarBytes},
    {PixelFormat::P210,
     2,
     {{{1, 2}, {2, 4}}},
     10,
     6,
     10,
     ReadSemiPlanarWords,
     WriteSemiPlanarWords},
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
  const SampleScale scale = MakeSampleScale(from.stripBits, to.bits, to.shift);
  Strip strip;
  for (std::size_t y = 0; y < source.height; ++y) {
    for (std::size_t x = 0; x < source.width; x += kStripPixels) {
      const std::size_t pixels = std::min<std::size_t>(kStripPixels, source.width - x);
      from.read(kernels, from, RowAt(from, source, y, x), pixels, strip);
      to.write(kernels, strip, scale, pixels, RowAt(to, destination, y, x));
    }
  }
}

}  // namespace vix::pixels
