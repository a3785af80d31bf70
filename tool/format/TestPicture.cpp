// SPDX-License-Identifier: BSD-2-Clause
#include "format/TestPicture.h"

#include <algorithm>
#include <cstring>

#include "format/PlanarPicture.h"

namespace vixprores {
namespace {

// Returns a pseudo-random number for (x, y, seed).
std::uint32_t Hash(std::uint32_t x, std::uint32_t y, std::uint32_t seed) {
  std::uint32_t value = x * 0x9E3779B1u ^ y * 0x85EBCA77u ^ seed * 0xC2B2AE3Du;
  value = (value ^ value >> 15) * 0x2C1B3C6Du;
  value = (value ^ value >> 12) * 0x297A2D39u;
  return value ^ value >> 15;
}

struct Octave {
  std::uint32_t cell;
  std::int32_t amplitude;
};

// Camera pictures have smaller amplitudes at finer details.
constexpr Octave kTextureOctaves[] = {{64, 120}, {32, 110}, {16, 100}, {8, 90}, {4, 80}, {2, 90}};

constexpr std::uint32_t kThingSize = 128;
constexpr std::int32_t kThingRelief = 1000;
constexpr std::uint32_t kStrengthSize = 128;
constexpr std::int32_t kFullStrength = 256;
constexpr std::int32_t kGrain = 4;
constexpr unsigned kDrawnBits = 10;
constexpr std::int32_t kGrey = 512;
constexpr std::int32_t kShading = 360;  // across the whole picture, in each direction half of it

}  // namespace

// Properties in which luma and chroma components differ.
struct TestPicture::Plane {
  std::uint32_t width, height;
  std::uint32_t widthScale;  // luma samples per sample
  std::uint32_t shift;       // of texture and grain, so that the components differ
  std::int32_t contrast;     // in 256ths
  std::int32_t lowest, highest;
};

void TestPicture::Tile::AddNoise(std::uint32_t cell, std::int32_t amplitude, std::uint32_t seed) {
  const std::uint32_t cells = kSide / cell;
  const auto corner = [=](std::uint32_t x, std::uint32_t y) {
    const auto steps = 2 * static_cast<std::uint32_t>(amplitude) + 1;
    return static_cast<std::int32_t>(Hash(x % cells, y % cells, seed) % steps) - amplitude;
  };
  const auto scale = static_cast<std::int32_t>(cell);
  for (std::uint32_t y = 0; y < kSide; ++y) {
    const auto dy = static_cast<std::int32_t>(y % cell);
    for (std::uint32_t x = 0; x < kSide; ++x) {
      const auto dx = static_cast<std::int32_t>(x % cell);
      const std::uint32_t column = x / cell;
      const std::uint32_t row = y / cell;
      const std::int32_t upper = corner(column, row) * (scale - dx) + corner(column + 1, row) * dx;
      const std::int32_t lower =
          corner(column, row + 1) * (scale - dx) + corner(column + 1, row + 1) * dx;
      const std::int32_t value = (upper * (scale - dy) + lower * dy) / (scale * scale);
      values_[y * kSide + x] = static_cast<std::int16_t>(values_[y * kSide + x] + value);
    }
  }
}

TestPicture::TestPicture() {
  things_.AddNoise(kThingSize, kThingRelief, 1);
  things_.AddNoise(kThingSize / 4, kThingRelief / 2, 2);
  strength_.AddNoise(kStrengthSize, kFullStrength, 2);
  for (const Octave& octave : kTextureOctaves) {
    texture_.AddNoise(octave.cell, octave.amplitude, octave.cell);
  }
  // The sum of four noises is nearly normally distributed.
  for (std::uint32_t seed = 3; seed < 7; ++seed) grain_.AddNoise(1, kGrain, seed << 16);
}

// `time` counts fields; things and background move at different speeds.
std::int32_t TestPicture::SampleAt(const Plane& plane, std::uint32_t x, std::uint32_t y,
                                   std::uint32_t time) const {
  const std::uint32_t column = x * plane.widthScale;
  const std::int32_t shading =
      static_cast<std::int32_t>(std::uint64_t{x} * kShading / plane.width +
                                std::uint64_t{y} * kShading / plane.height) /
          2 -
      kShading / 2;
  const std::int32_t thing = std::clamp(things_.At(column + 2 * time, y + time) * 4, -110, 110);
  const std::int32_t strength = std::max(96, strength_.At(column + 2 * time, y + time));
  const std::int32_t texture =
      texture_.At(column + time + plane.shift, y + plane.shift) * strength / kFullStrength;
  const std::uint32_t scatter = Hash(time, plane.shift, 0);
  const std::int32_t grain = grain_.At(x + (scatter & 0xFFFF), y + (scatter >> 16));
  const std::int32_t detail = (shading + thing + texture) * plane.contrast / 256;
  return std::clamp(kGrey + detail + grain, plane.lowest, plane.highest);
}

void TestPicture::DrawPlane(const StreamFormat& format, std::uint32_t frame, const Plane& plane,
                            std::uint8_t* samples) const {
  const unsigned bits = SampleBits(format);
  for (std::uint32_t y = 0; y < plane.height; ++y) {
    const std::uint32_t time = 2 * frame + (format.IsInterlaced() ? y % 2 : 0);
    for (std::uint32_t x = 0; x < plane.width; ++x) {
      const auto drawn = static_cast<std::uint32_t>(SampleAt(plane, x, y, time));
      const auto sample = static_cast<std::uint16_t>((drawn << bits) >> kDrawnBits);
      if (bits > 8) {
        std::memcpy(samples, &sample, sizeof sample);
        samples += sizeof sample;
      } else {
        *samples++ = static_cast<std::uint8_t>(sample);
      }
    }
  }
}

void TestPicture::Draw(const StreamFormat& format, std::uint32_t frame,
                       std::span<std::uint8_t> planar) const {
  const std::uint32_t scale = IsOf4444(format.code) ? 1 : 2;
  const std::uint32_t chromaWidth = (format.width + scale - 1) / scale;
  const Plane planes[] = {{format.width, format.height, 1, 0, 256, 64, 940},
                          {chromaWidth, format.height, scale, 100, 96, 64, 960},
                          {chromaWidth, format.height, scale, 300, 64, 64, 960}};
  const std::size_t sampleBytes = SampleBits(format) > 8 ? 2 : 1;
  std::size_t offset = 0;
  for (const Plane& plane : planes) {
    DrawPlane(format, frame, plane, planar.data() + offset);
    offset += std::size_t{plane.width} * plane.height * sampleBytes;
  }
}

std::uint32_t CountTestPictures(std::uint32_t frames, std::uint32_t frameBytes) {
  constexpr std::uint32_t kMostPictures = 256;
  constexpr std::uint32_t kMostBytes = 512u << 20;
  return std::min(frames, std::clamp(kMostBytes / frameBytes, 1u, kMostPictures));
}

}  // namespace vixprores
