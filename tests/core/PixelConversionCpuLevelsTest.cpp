// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <random>
#include <string>
#include <tuple>
#include <vector>

#include "CpuLevelTest.h"
#include "GuardedMemory.h"
#include "ReferencePixels.h"
#include "pixels/FormatRows.h"

namespace vix {
namespace {

using prores::test::Guard;
using prores::test::GuardedMemory;

/// A picture between inaccessible pages, with gaps between its rows.
class GuardedPicture {
 public:
  GuardedPicture(PixelFormat format, std::uint32_t width, std::uint32_t height, Guard guard)
      : picture_{.format = format, .width = width, .height = height} {
    constexpr std::size_t kGap = 3;  // odd, so that words are not aligned
    const auto rowBytes = test::ReferenceRowBytes(format, width);
    for (std::size_t i = 0; i < rowBytes.size() && rowBytes[i] != 0; ++i) {
      const std::size_t stride = rowBytes[i] + kGap;
      planes_[i] =
          std::make_unique<GuardedMemory<std::uint8_t>>(stride * (height - 1) + rowBytes[i], guard);
      picture_.planes[i] = {planes_[i]->Values().data(), stride};
    }
  }

  const PixelPicture& Get() const { return picture_; }

  template <typename Generator>
  void Fill(Generator generate) {
    for (const auto& plane : planes_) {
      if (plane) std::ranges::generate(plane->Values(), generate);
    }
  }

  bool operator==(const GuardedPicture& other) const {
    for (std::size_t i = 0; i < planes_.size(); ++i) {
      if (planes_[i] && !std::ranges::equal(planes_[i]->Values(), other.planes_[i]->Values())) {
        return false;
      }
    }
    return true;
  }

 private:
  PixelPicture picture_;
  std::array<std::unique_ptr<GuardedMemory<std::uint8_t>>, kMaxPixelPlanes> planes_;
};

/// Values of the source's bytes, padding included.
enum class Content { kRandom, kExtremes, kHighest, kHigh };
constexpr Content kContents[] = {Content::kRandom, Content::kExtremes, Content::kHighest,
                                 Content::kHigh};

std::uint8_t MakeByte(Content content, std::mt19937& random) {
  const auto byte = static_cast<std::uint8_t>(random());
  switch (content) {
    case Content::kRandom:
      return byte;
    case Content::kExtremes:
      return byte % 2 == 0 ? 0 : 0xFF;
    case Content::kHighest:
      return 0xFF;
    case Content::kHigh:  // where rounding exceeds the largest value
      return byte | 0xFC;
  }
  return 0;
}

/// Level and source format.
class PixelConversionLevels
    : public testing::TestWithParam<std::tuple<prores::CpuLevel, PixelFormat>> {
 protected:
  void SetUp() override {
    const prores::CpuLevel level = std::get<0>(GetParam());
    if (level > prores::DetectCpuLevel()) {
      GTEST_SKIP() << "not tested: this processor lacks " << prores::NameOf(level);
    }
  }
};

TEST_P(PixelConversionLevels, ConvertToEveryFormatInsideTheRows) {
  const auto [level, sourceFormat] = GetParam();
  const pixels::RowKernels kernels = pixels::RowKernelsFor(level);
  std::mt19937 random(1);
  std::vector<std::uint32_t> widths(132);
  for (std::uint32_t i = 0; i < widths.size(); ++i) widths[i] = i + 1;
  widths.insert(widths.end(), {719, 959, 960, 961, 967, 1919, 1920, 1921, 3847});
  for (const std::uint32_t width : widths) {
    const std::uint32_t height = 1 + width % 3;
    for (const Guard guard : {Guard::kInFront, Guard::kBehind}) {
      GuardedPicture source(sourceFormat, width, height, guard);
      const Content content = kContents[random() % std::size(kContents)];
      source.Fill([&] { return MakeByte(content, random); });
      for (const PixelFormat format : test::kAllFormats) {
        GuardedPicture expected(format, width, height, guard);
        GuardedPicture converted(format, width, height, guard);
        for (GuardedPicture* picture : {&expected, &converted}) {
          picture->Fill([] { return std::uint8_t{0xA5}; });
        }
        test::ReferenceConvert(source.Get(), expected.Get());
        pixels::ConvertPicture(kernels, source.Get(), converted.Get());
        ASSERT_TRUE(converted == expected)
            << static_cast<FourCC>(format) << ' ' << width << 'x' << height;
      }
    }
  }
}

std::string NameOfPair(
    const testing::TestParamInfo<std::tuple<prores::CpuLevel, PixelFormat>>& info) {
  const auto code = static_cast<FourCC>(std::get<1>(info.param));
  std::string name = prores::NameOf(std::get<0>(info.param));
  name += '_';
  for (int shift = 0; shift < 32; shift += 8) name += static_cast<char>(code >> shift & 0xFF);
  return name;
}

INSTANTIATE_TEST_SUITE_P(Levels, PixelConversionLevels,
                         testing::Combine(testing::ValuesIn(prores::kCpuLevels),
                                          testing::ValuesIn(test::kAllFormats)),
                         NameOfPair);

}  // namespace
}  // namespace vix
