// SPDX-License-Identifier: BSD-2-Clause
#include "EncoderTestPicture.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace prores::test {
namespace {

int ToSample(double value) {
  return std::clamp(static_cast<int>(std::lround(value)), 4, 1019);
}

double Waves(int component, int x, int y) {
  const double column = component == 0 ? x : 2 * x;
  const double amplitude = component == 0 ? 1 : 0.5;
  return 512 + amplitude * (170 * std::sin(0.021 * column + 0.013 * y) +
                            90 * std::cos(0.007 * column - 0.045 * y + component));
}

std::uint32_t RowPixelBytes(std::uint32_t format, std::uint32_t width) {
  return format == kWPRPixelFormat2vuy ? (width + 1) / 2 * 4 : (width + 5) / 6 * 16;
}

}  // namespace

unsigned Hash(unsigned seed, int component, int x, int y) {
  unsigned value = seed * 2654435761U + static_cast<unsigned>(component) * 40503U +
                   static_cast<unsigned>(x) * 2246822519U + static_cast<unsigned>(y) * 3266489917U;
  value = (value ^ value >> 15) * 2246822519U;
  value = (value ^ value >> 13) * 3266489917U;
  return value ^ value >> 16;
}

Content Busy(unsigned seed) {
  return [seed](int component, int x, int y) {
    const double texture = 45 * std::sin(0.61 * x + 0.37 * y) * std::cos(0.23 * x - 0.79 * y);
    const double grain = Hash(seed, component, x, y) % 64 - 31.5;
    return ToSample(Waves(component, x, y) + (component == 0 ? texture + grain : grain / 2));
  };
}

Content Smooth() {
  return [](int component, int x, int y) { return ToSample(Waves(component, x, y)); };
}

Content Noise(unsigned seed) {
  return [seed](int component, int x, int y) {
    return static_cast<int>(Hash(seed, component, x, y) % 1024);
  };
}

Content BinaryNoise(unsigned seed) {
  return [seed](int component, int x, int y) {
    return Hash(seed, component, x, y) % 2 == 0 ? 0 : 1023;
  };
}

Content Flat(int level) {
  return [level](int, int, int) { return level; };
}

PictureMemory::PictureMemory(std::uint32_t format, std::uint32_t width, std::uint32_t height,
                             std::uint32_t pixelBytes, std::uint32_t padding)
    : format_(format),
      width_(width),
      height_(height),
      rowBytes_(pixelBytes + padding),
      bytes_(std::size_t{rowBytes_} * height - padding) {}

PixelBufferRecord PictureMemory::Record() const {
  return {const_cast<std::uint8_t*>(bytes_.data()), rowBytes_, format_, width_, height_};
}

PixelBufferRecord PictureMemory::MutableRecord() {
  return {bytes_.data(), rowBytes_, format_, width_, height_};
}

SourcePicture::SourcePicture(std::uint32_t format, std::uint32_t width, std::uint32_t height,
                             std::uint32_t padding)
    : PictureMemory(format, width, height, RowPixelBytes(format, width), padding) {}

SourcePicture::SourcePicture(std::uint32_t format, std::uint32_t width, std::uint32_t height,
                             const Content& content, std::uint32_t padding)
    : SourcePicture(format, width, height, padding) {
  for (int component = 0; component < 3; ++component) {
    for (int y = 0; y < Lines(); ++y) {
      for (int x = 0; x < Columns(component); ++x) Set(component, x, y, content(component, x, y));
    }
  }
}

int SourcePicture::Columns(int component) const {
  return static_cast<int>(component == 0 ? width_ : (width_ + 1) / 2);
}

SourcePicture::Place SourcePicture::PlaceOf(int component, int x, int y) const {
  // Components follow each other in the order Cb Y Cr Y.
  const int inRow = component == 0 ? 2 * x + 1 : 4 * x + (component == 1 ? 0 : 2);
  const std::size_t row = static_cast<std::size_t>(y) * rowBytes_;
  const auto index = static_cast<unsigned>(inRow);
  if (format_ == kWPRPixelFormat2vuy) return {row + index, 0};
  return {row + index / 3 * 4, index % 3 * 10};
}

int SourcePicture::Sample(int component, int x, int y) const {
  const Place place = PlaceOf(component, x, y);
  if (format_ == kWPRPixelFormat2vuy) return bytes_[place.byte] * 4;
  std::uint32_t word = 0;
  std::memcpy(&word, &bytes_[place.byte], sizeof word);
  return static_cast<int>(word >> place.shift & 1023);
}

void SourcePicture::Set(int component, int x, int y, int value) {
  const Place place = PlaceOf(component, x, y);
  if (format_ == kWPRPixelFormat2vuy) {
    bytes_[place.byte] = static_cast<std::uint8_t>(value / 4);
    return;
  }
  std::uint32_t word = 0;
  std::memcpy(&word, &bytes_[place.byte], sizeof word);
  word |= static_cast<std::uint32_t>(value) << place.shift;
  std::memcpy(&bytes_[place.byte], &word, sizeof word);
}

double Psnr(const SourcePicture& a, const SourcePicture& b, int component) {
  double squares = 0;
  for (int y = 0; y < a.Lines(); ++y) {
    for (int x = 0; x < a.Columns(component); ++x) {
      const double difference = a.Sample(component, x, y) - b.Sample(component, x, y);
      squares += difference * difference;
    }
  }
  if (squares == 0) return 100;
  const double samples = static_cast<double>(a.Lines()) * a.Columns(component);
  return 10 * std::log10(1023.0 * 1023.0 * samples / squares);
}

}  // namespace prores::test
