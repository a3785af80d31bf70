// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <vector>

#include "format/DeepPicture.h"
#include "format/PlanarPicture.h"

namespace vixprores {
namespace {

using Samples = std::vector<std::uint16_t>;
using Bytes = std::vector<std::uint8_t>;

Bytes ToBytes(const Samples& samples) {
  Bytes bytes(samples.size() * 2);
  std::memcpy(bytes.data(), samples.data(), bytes.size());
  return bytes;
}

Samples ToSamples(const Bytes& bytes) {
  Samples samples(bytes.size() / 2);
  std::memcpy(samples.data(), bytes.data(), bytes.size());
  return samples;
}

StreamFormat MakeFormat(vix::FourCC code, std::uint32_t width, std::uint32_t height) {
  StreamFormat format;
  format.code = code;
  format.width = width;
  format.height = height;
  return format;
}

// Packs one pixel.
Samples Pack(unsigned bits, const Bytes& planar) {
  Bytes packed(8, 0xEE);
  PackDeepPicture(bits, planar, packed);
  return ToSamples(packed);
}

TEST(PackDeepPicture, ShiftsEveryDepthUpAndIsOpaque) {
  EXPECT_EQ(Pack(8, {1, 2, 255}), (Samples{0xFFFF, 0x0100, 0x0200, 0xFF00}));
  for (const unsigned bits : {9u, 10u, 12u, 14u, 16u}) {
    const auto highest = static_cast<std::uint16_t>((1u << bits) - 1);
    const auto shifted = [bits](unsigned sample) {
      return static_cast<std::uint16_t>(sample << (16 - bits));
    };
    EXPECT_EQ(Pack(bits, ToBytes({1, 300, highest})),
              (Samples{0xFFFF, shifted(1), shifted(300), shifted(highest)}))
        << bits;
  }
}

TEST(PackDeepPicture, LimitsSamplesToTheirDepth) {
  EXPECT_EQ(Pack(12, ToBytes({0xFFFF, 4096, 4095})), (Samples{0xFFFF, 0xFFF0, 0xFFF0, 0xFFF0}));
}

TEST(PackDeepPicture, TakesPlanesOneAfterTheOther) {
  Bytes packed(16);
  PackDeepPicture(16, ToBytes({1, 2, 11, 12, 21, 22}), packed);
  EXPECT_EQ(ToSamples(packed), (Samples{0xFFFF, 1, 11, 21, 0xFFFF, 2, 12, 22}));
}

TEST(UnpackDeepPicture, RoundsAsTheCodecDoesAndLeavesOutAlpha) {
  Bytes planar(12);
  UnpackDeepPicture(ToBytes({0, 0x0107, 0x0108, 0x8000, 1234, 0xFFF7, 0xFFFF, 0}), planar);
  EXPECT_EQ(ToSamples(planar), (Samples{0x10, 0xFFF, 0x11, 0xFFF, 0x800, 0}));
}

TEST(UnpackDeepPicture, ReversesThePackingOf12Bits) {
  Samples all;
  for (unsigned sample = 0; sample < 4096; ++sample) {
    all.push_back(static_cast<std::uint16_t>(sample));
  }
  Samples planes = all;
  planes.insert(planes.end(), all.rbegin(), all.rend());
  planes.insert(planes.end(), all.begin(), all.end());
  const StreamFormat format = MakeFormat(vix::kFourCC_Y416, 64, 64);
  EXPECT_EQ(SampleBits(format), 12u);
  ASSERT_EQ(PlanarBytes(format), planes.size() * 2);
  Bytes packed(format.FrameBytes());
  PackPicture(format, ToBytes(planes), packed);
  Bytes planar(PlanarBytes(format));
  UnpackPicture(format, packed, planar);
  EXPECT_EQ(ToSamples(planar), planes);
}

TEST(PlanarBytes, FollowTheDepthOf444) {
  const StreamFormat format = MakeFormat(vix::kFourCC_Y416, 5, 3);
  EXPECT_EQ(PlanarBytes(format), 90u);
  EXPECT_EQ(PlanarBytes(format, 8), 45u);
}

// The interpolation as it is stated, in samples of 16 bits.
std::uint16_t Interpolate(const std::uint16_t* row, int width, int x) {
  const auto at = [&](int place) { return int{row[std::clamp(place, 0, width - 1)]}; };
  if (x % 2 == 0) return row[x / 2];
  const int sum = 9 * (at(x / 2) + at(x / 2 + 1)) - at(x / 2 - 1) - at(x / 2 + 2);
  return static_cast<std::uint16_t>(std::clamp((sum + 8) >> 4, 0, 0xFFFF));
}

class Deepening : public testing::TestWithParam<std::tuple<vix::FourCC, std::uint32_t>> {};

TEST_P(Deepening, DoublesChromaAndShiftsSamplesUp) {
  const auto& [code, width] = GetParam();
  const StreamFormat format = MakeFormat(code, width, 3);
  const unsigned bits = SampleBits(format);
  std::mt19937 random(width);
  Bytes planar(PlanarBytes(format));
  Samples samples(planar.size() / (bits > 8 ? 2 : 1));
  for (auto& sample : samples) sample = static_cast<std::uint16_t>(random() % (1u << bits));
  bits > 8 ? void(planar = ToBytes(samples)) : planar.assign(samples.begin(), samples.end());
  Bytes packed(format.FrameBytes());
  PackPicture(format, planar, packed);
  Bytes deep(std::size_t{width} * 3 * 8);
  DeepenPicture(format, packed, deep);

  for (auto& sample : samples) sample = static_cast<std::uint16_t>(sample << (16 - bits));
  const int half = static_cast<int>(width + 1) / 2;
  Samples expected;
  for (int y = 0; y < 3; ++y) {
    const std::uint16_t* const luma = samples.data() + y * static_cast<int>(width);
    const std::uint16_t* const cb = samples.data() + 3 * static_cast<int>(width) + y * half;
    const std::uint16_t* const cr = cb + 3 * half;
    for (int x = 0; x < static_cast<int>(width); ++x) {
      for (const std::uint16_t sample :
           {std::uint16_t{0xFFFF}, luma[x], Interpolate(cb, half, x), Interpolate(cr, half, x)}) {
        expected.push_back(sample);
      }
    }
  }
  EXPECT_EQ(ToSamples(deep), expected);
}

INSTANTIATE_TEST_SUITE_P(Formats, Deepening,
                         testing::Combine(testing::Values(vix::kFourCC_UYVY, vix::kFourCC_V210),
                                          testing::Values(2, 3, 5, 48, 51)));

}  // namespace
}  // namespace vixprores
