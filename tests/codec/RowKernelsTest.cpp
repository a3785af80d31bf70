// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <vector>

#include "CpuLevelTest.h"
#include "GuardedMemory.h"
#include "Kernels.h"
#include "pixel/PixelFormat.h"

namespace prores {
namespace {

using test::Guard;
using test::GuardedMemory;

/// Compares kernels of rows with their plain forms, between inaccessible pages.
class RowKernels : public test::CpuLevelTest {
 protected:
  std::uint16_t Random(int bits) { return static_cast<std::uint16_t>(random_() % (1u << bits)); }

  template <typename Test>
  static void ForEachRow(Test test) {
    for (const std::uint32_t format : {kWPRPixelFormat2vuy, kWPRPixelFormatV210}) {
      for (const Guard guard : {Guard::kInFront, Guard::kBehind}) {
        for (std::uint32_t width = 1; width <= 260; ++width) test(format, guard, width);
        for (const std::uint32_t width : {719u, 1280u, 1919u, 1920u, 3840u}) {
          test(format, guard, width);
        }
      }
    }
  }

  const Kernels& plain_ = KernelsFor(CpuLevel::kScalar);
  const Kernels& kernels_ = KernelsFor(GetParam());
  std::mt19937 random_{1};
};

/// Samples of one line.
struct Line {
  Line(std::size_t lumaSamples, std::size_t chromaSamples, Guard guard)
      : luma(lumaSamples, guard), cb(chromaSamples, guard), cr(chromaSamples, guard) {}

  GuardedMemory<std::uint16_t> luma, cb, cr;
};

TEST_P(RowKernels, PackAsThePlainFormsDo) {
  ForEachRow([&](std::uint32_t format, Guard guard, std::uint32_t width) {
    const Line line(width, (width + 1) / 2, guard);
    for (const auto* samples : {&line.luma, &line.cb, &line.cr}) {
      std::ranges::generate(samples->Values(),
                            [&] { return Random(GetPixelFormat(format).depth.bits); });
    }
    const PlanarLine source{line.luma.Values().data(), line.cb.Values().data(),
                            line.cr.Values().data()};
    const std::size_t bytes = PackedRowBytes(format, width);
    std::vector<std::uint8_t> expected(bytes);
    plain_.PackerFor(format)(source, width, expected.data());
    const GuardedMemory<std::uint8_t> row(bytes, guard);
    kernels_.PackerFor(format)(source, width, row.Values().data());
    ASSERT_TRUE(std::ranges::equal(row.Values(), expected)) << width;
  });
}

TEST_P(RowKernels, UnpackAsThePlainFormsDo) {
  ForEachRow([&](std::uint32_t format, Guard guard, std::uint32_t width) {
    const GuardedMemory<std::uint8_t> row(PackedRowBytes(format, width), guard);
    std::ranges::generate(row.Values(), [&] { return static_cast<std::uint8_t>(Random(8)); });
    const std::size_t chroma = (width + 1) / 2;
    const auto unpack = [&](const Kernels& kernels) {
      Line line(width + kUnpackGroupPixels - 1, chroma + kUnpackGroupPixels / 2 - 1, guard);
      kernels.UnpackerFor(format)(
          row.Values().data(), width,
          {line.luma.Values().data(), line.cb.Values().data(), line.cr.Values().data()});
      std::vector<std::uint16_t> samples(line.luma.Values().begin(),
                                         line.luma.Values().begin() + width);
      for (const auto* component : {&line.cb, &line.cr}) {
        const auto values = component->Values().first(chroma);
        samples.insert(samples.end(), values.begin(), values.end());
      }
      return samples;
    };
    ASSERT_EQ(unpack(kernels_), unpack(plain_)) << width;
  });
}

TEST_P(RowKernels, HalveChromaAsThePlainFormDoes) {
  ForEachRow([&](std::uint32_t format, Guard guard, std::uint32_t width) {
    const GuardedMemory<std::uint16_t> line(width + 2 * kChromaMargin, guard);
    // Extreme samples in every other line.
    const bool extreme = width % 2 != 0;
    std::ranges::generate(line.Values(), [&] {
      return extreme ? static_cast<std::uint16_t>(1023 * Random(1)) : Random(10);
    });
    std::uint16_t* const first = line.Values().data() + kChromaMargin;
    const GuardedMemory<std::uint16_t> half((width + 1) / 2, guard);
    kernels_.halveChroma(first, width, GetPixelFormat(format).depth, half.Values().data());
    std::vector<std::uint16_t> expected(half.Values().size());
    plain_.halveChroma(first, width, GetPixelFormat(format).depth, expected.data());
    ASSERT_TRUE(std::ranges::equal(half.Values(), expected)) << width;
  });
}

INSTANTIATE_TEST_SUITE_P(Levels, RowKernels, testing::ValuesIn(kCpuLevels),
                         [](const auto& level) { return NameOf(level.param); });

}  // namespace
}  // namespace prores
