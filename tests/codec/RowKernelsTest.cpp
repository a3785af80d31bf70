// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <span>
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

  /// Calls test(guard, width).
  template <typename Test>
  static void ForEachWidth(Test test) {
    for (const Guard guard : {Guard::kInFront, Guard::kBehind}) {
      for (std::uint32_t width = 1; width <= 260; ++width) test(guard, width);
      for (const std::uint32_t width : {719u, 1280u, 1919u, 1920u, 3840u}) test(guard, width);
    }
  }

  /// Calls test(format, guard, width).
  template <typename Test>
  static void ForEachRow(Test test) {
    for (const PixelFormat& format : kPixelFormats) {
      ForEachWidth([&](Guard guard, std::uint32_t width) { test(format, guard, width); });
    }
  }

  /// Fills `samples` at random, or with the extremes of their depth.
  void Fill(std::span<std::uint16_t> samples, int bits, bool extreme) {
    const int largest = (1 << bits) - 1;
    std::ranges::generate(samples, [&] {
      return extreme ? static_cast<std::uint16_t>(largest * Random(1)) : Random(bits);
    });
  }

  const Kernels& plain_ = KernelsFor(CpuLevel::kScalar);
  const Kernels& kernels_ = KernelsFor(GetParam());
  std::mt19937 random_{1};
};

/// Samples of one line of a format. Formats of 4:2:2 have no alpha.
struct Line {
  /// @param whole whether the line has all samples of its last group.
  Line(const PixelFormat& format, std::uint32_t width, Guard guard, bool whole = false)
      : Line(format.chroma == ChromaFormat::k444,
             whole ? (width + format.groupPixels - 1) / format.groupPixels * format.groupPixels
                   : width,
             guard) {}

  PlanarRow Row() const {
    return {luma.Values().data(), cb.Values().data(), cr.Values().data(), alpha.Values().data()};
  }
  PlanarLine Source() const {
    const PlanarRow row = Row();
    return {row.luma, row.cb, row.cr, row.alpha};
  }

  GuardedMemory<std::uint16_t> luma, cb, cr, alpha;

 private:
  Line(bool full, std::uint32_t width, Guard guard)
      : luma(width, guard),
        cb(full ? width : (width + 1) / 2, guard),
        cr(cb.Values().size(), guard),
        alpha(full ? width : 0, guard) {}
};

TEST_P(RowKernels, PackAsThePlainFormsDo) {
  ForEachRow([&](const PixelFormat& format, Guard guard, std::uint32_t width) {
    const Line line(format, width, guard);
    const int bits = format.rgb ? 16 : format.depth.bits;
    for (const auto* samples : {&line.luma, &line.cb, &line.cr}) {
      Fill(samples->Values(), bits, false);
    }
    Fill(line.alpha.Values(), 16, false);
    const std::size_t bytes = PackedRowBytes(format.code, width);
    std::vector<std::uint8_t> expected(bytes);
    plain_.PackerFor(format.code)(line.Source(), width, expected.data());
    const GuardedMemory<std::uint8_t> row(bytes, guard);
    kernels_.PackerFor(format.code)(line.Source(), width, row.Values().data());
    ASSERT_TRUE(std::ranges::equal(row.Values(), expected)) << width;
  });
}

TEST_P(RowKernels, UnpackAsThePlainFormsDo) {
  ForEachRow([&](const PixelFormat& format, Guard guard, std::uint32_t width) {
    const GuardedMemory<std::uint8_t> row(PackedRowBytes(format.code, width), guard);
    std::ranges::generate(row.Values(), [&] { return static_cast<std::uint8_t>(Random(8)); });
    const Line used(format, width, guard);  // has the samples that are compared
    const auto unpack = [&](const Kernels& kernels) {
      const Line line(format, width, guard, true);
      kernels.UnpackerFor(format.code)(row.Values().data(), width, line.Row());
      std::vector<std::uint16_t> samples;
      for (const auto component : {&Line::luma, &Line::cb, &Line::cr, &Line::alpha}) {
        const auto values = (line.*component).Values().first((used.*component).Values().size());
        samples.insert(samples.end(), values.begin(), values.end());
      }
      return samples;
    };
    ASSERT_EQ(unpack(kernels_), unpack(plain_)) << width;
  });
}

TEST_P(RowKernels, TakeRowsAtOddAddresses) {
  constexpr std::uint32_t kWidth = 258;
  for (const PixelFormat& format : kPixelFormats) {
    const Line line(format, kWidth, Guard::kBehind, true);
    for (const auto* samples : {&line.luma, &line.cb, &line.cr, &line.alpha}) {
      Fill(samples->Values(), format.depth.bits, false);
    }
    std::vector<std::uint8_t> even(PackedRowBytes(format.code, kWidth)), odd(even.size() + 1);
    kernels_.PackerFor(format.code)(line.Source(), kWidth, even.data());
    kernels_.PackerFor(format.code)(line.Source(), kWidth, odd.data() + 1);
    EXPECT_TRUE(std::equal(even.begin(), even.end(), odd.begin() + 1));

    const Line again(format, kWidth, Guard::kBehind, true);
    kernels_.UnpackerFor(format.code)(even.data(), kWidth, line.Row());
    kernels_.UnpackerFor(format.code)(odd.data() + 1, kWidth, again.Row());
    for (const auto component : {&Line::luma, &Line::cb, &Line::cr, &Line::alpha}) {
      EXPECT_TRUE(std::ranges::equal((line.*component).Values(), (again.*component).Values()));
    }
  }
}

TEST_P(RowKernels, ConvertRgbAsThePlainFormsDo) {
  const auto convert = [](auto function, const RgbMatrix& matrix, const Line& line) {
    const auto samples = line.luma.Values();
    std::vector<std::uint16_t> converted;
    function(matrix, samples.size(), line.Row());
    for (const auto* component : {&line.luma, &line.cb, &line.cr}) {
      converted.insert(converted.end(), component->Values().begin(), component->Values().end());
    }
    return converted;
  };
  const auto compare = [&](auto plain, auto kernel, int bits, Guard guard, std::uint32_t width) {
    const PixelFormat& format = GetPixelFormat(kWPRPixelFormatB64a);
    const Line expected(format, width, guard), line(format, width, guard);
    for (const auto component : {&Line::luma, &Line::cb, &Line::cr}) {
      Fill((expected.*component).Values(), bits, width % 2 != 0);
      std::ranges::copy((expected.*component).Values(), (line.*component).Values().begin());
    }
    const RgbMatrix& matrix = RgbMatrixOf(width % 10);
    ASSERT_EQ(convert(kernel, matrix, line), convert(plain, matrix, expected)) << width;
  };
  ForEachWidth([&](Guard guard, std::uint32_t width) {
    compare(plain_.rgbToYCbCr, kernels_.rgbToYCbCr, 16, guard, width);
    compare(plain_.yCbCrToRgb, kernels_.yCbCrToRgb, 12, guard, width);
  });
}

TEST_P(RowKernels, HalveChromaAsThePlainFormDoes) {
  ForEachWidth([&](Guard guard, std::uint32_t width) {
    const GuardedMemory<std::uint16_t> line(width + 2 * kChromaMargin, guard);
    Fill(line.Values(), 10, width % 2 != 0);
    std::uint16_t* const first = line.Values().data() + kChromaMargin;
    for (const SampleDepth& depth : {k8Bits, k10Bits}) {
      const GuardedMemory<std::uint16_t> half((width + 1) / 2, guard);
      kernels_.halveChroma(first, width, depth, half.Values().data());
      std::vector<std::uint16_t> expected(half.Values().size());
      plain_.halveChroma(first, width, depth, expected.data());
      ASSERT_TRUE(std::ranges::equal(half.Values(), expected)) << width;
    }
  });
}

TEST_P(RowKernels, DoubleChromaAsThePlainFormDoes) {
  ForEachWidth([&](Guard guard, std::uint32_t width) {
    const GuardedMemory<std::uint16_t> half((width + 1) / 2 + 2 * kChromaMargin, guard);
    std::uint16_t* const first = half.Values().data() + kChromaMargin;
    for (const SampleDepth& depth : {k8Bits, k10Bits, k12Bits}) {
      Fill(half.Values(), depth.bits, width % 4 == 0);
      const GuardedMemory<std::uint16_t> line(width, guard);
      kernels_.doubleChroma(first, width, depth, line.Values().data());
      std::vector<std::uint16_t> expected(width);
      plain_.doubleChroma(first, width, depth, expected.data());
      ASSERT_TRUE(std::ranges::equal(line.Values(), expected)) << width;
    }
  });
}

INSTANTIATE_TEST_SUITE_P(Levels, RowKernels, testing::ValuesIn(kCpuLevels),
                         [](const auto& level) { return NameOf(level.param); });

}  // namespace
}  // namespace prores
