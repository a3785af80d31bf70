// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <vector>

#include "frames/StreamStatistics.h"
#include "vix/ProResRates.h"

namespace vixprores {
namespace {

using vix::VideoResolution;

/// A picture size and the frame rates with published bit rates. Where a bit rate holds for N and
/// for N * 1000 / 1001, the higher frame rate, unless only the lower one exists at that size.
struct RatedSize {
  std::uint16_t width;
  std::uint16_t height;
  VideoResolution resolution;
  std::vector<Rational> rates;
};

const RatedSize kSizes[] = {
    {720, 486, VideoResolution::Lines480, {{24, 1}, {30000, 1001}}},
    {720, 576, VideoResolution::Lines576, {{25, 1}}},
    {1280, 720, VideoResolution::Lines720, {{24, 1}, {25, 1}, {30, 1}, {50, 1}, {60, 1}}},
    {1920, 1080, VideoResolution::Lines1080, {{24, 1}, {25, 1}, {30000, 1001}, {50, 1}, {60, 1}}},
    {3840, 2160, VideoResolution::Lines2160, {{24, 1}, {25, 1}, {30, 1}, {50, 1}, {60, 1}}},
};

std::uint64_t FrameBytes(const ProResVariant& variant, const RatedSize& size, Rational rate) {
  const std::uint64_t bits =
      std::uint64_t{1'000'000} * GetProResVideoRateMbps(variant.variant, rate, size.resolution);
  return bits * static_cast<std::uint64_t>(rate.denominator) /
         static_cast<std::uint64_t>(rate.numerator) / 8;
}

// The host core and the codec library each have a table of the published rates, because neither
// depends on the other. The codec's target is the smallest frame of all rates at a size.
TEST(PublishedRates, AreTheSameInHostCoreAndCodecLibrary) {
  for (const char* option : {"proxy", "lt", "422", "hq"}) {
    const ProResVariant& variant = *FindProResVariant(option);
    for (const RatedSize& size : kSizes) {
      StreamFormat format;
      format.code = variant.code;
      format.width = size.width;
      format.height = size.height;
      const std::uint64_t target = FindTargetBytes(format).value();
      std::uint64_t smallest = std::numeric_limits<std::uint64_t>::max();
      for (const Rational rate : size.rates) {
        const std::uint64_t bytes = FrameBytes(variant, size, rate);
        smallest = std::min(smallest, bytes);
        // Published rates are whole megabits: the rates of one size differ by rounding.
        EXPECT_LE(bytes, target * 107 / 100)
            << option << " " << size.height << " " << rate.numerator;
      }
      EXPECT_EQ(smallest, target) << option << " " << size.height;
    }
  }
}

}  // namespace
}  // namespace vixprores
