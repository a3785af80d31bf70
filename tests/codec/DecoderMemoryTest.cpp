// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>

#include <vector>

#include "Allocations.h"
#include "ProRes/ProRes.h"
#include "ReferenceCodec.h"

namespace prores {
namespace {

using test::allocations;
using test::Allocations;

/// A frame and memory for its picture.
struct Clip {
  Clip(int width, int height) : picture(static_cast<std::size_t>(width * height) * 2) {
    reference::StreamSpec spec;
    spec.width = width;
    spec.height = height;
    frame = reference::MakeStream(spec, reference::NaturalSource(3)).bytes;
    record = {picture.data(), static_cast<std::uint32_t>(width) * 2, kWPRPixelFormat2vuy,
              static_cast<std::uint32_t>(width), static_cast<std::uint32_t>(height)};
  }

  std::vector<std::uint8_t> frame;
  std::vector<std::uint8_t> picture;
  PixelBufferRecord record;
};

int Decode(WPRDecoderHandle decoder, Clip& clip) {
  return WPRDecodeFrame(decoder, clip.frame.data(), static_cast<std::uint32_t>(clip.frame.size()),
                        &clip.record, 0);
}

TEST(DecoderMemory, IsAllocatedOnTheFirstFrameOnly) {
  Clip large(640, 96);
  Clip small(64, 48);
  WPRDecoderHandle const decoder = WPROpenDecoder(2, nullptr);
  ASSERT_EQ(Decode(decoder, large), kWPRSuccess);
  const long count = allocations.count;
  EXPECT_EQ(Decode(decoder, small), kWPRSuccess);
  EXPECT_EQ(Decode(decoder, large), kWPRSuccess);
  EXPECT_EQ(allocations.count, count);
  WPRCloseDecoder(decoder);
}

TEST(DecoderMemory, StaysBelowTwoMebibytesForAFullHighDefinitionFrame) {
  Clip clip(1920, 1080);
  const std::size_t before = allocations.bytes;
  WPRDecoderHandle const decoder = WPROpenDecoder(2, nullptr);
  ASSERT_EQ(Decode(decoder, clip), kWPRSuccess);
  EXPECT_LT(allocations.bytes - before, std::size_t{2} << 20);
  WPRCloseDecoder(decoder);
}

TEST(DecoderMemory, MayRunOutAnywhereAndTheDecoderStaysUsable) {
  Clip small(64, 48);
  Clip large(320, 208);
  for (const bool hasDecoded : {false, true}) {
    int failures = 0;
    for (long survived = 0; failures == survived; ++survived) {
      WPRDecoderHandle const decoder = WPROpenDecoder(1, nullptr);
      if (hasDecoded) {
        ASSERT_EQ(Decode(decoder, small), kWPRSuccess);
      }
      const std::vector<std::uint8_t> untouched = large.picture;
      allocations.untilFailure = survived;
      const int result = Decode(decoder, large);
      allocations.untilFailure = Allocations::kNeverFail;
      if (result != kWPRSuccess) {
        EXPECT_EQ(result, kWPROutOfMemory);
        EXPECT_EQ(large.picture, untouched);
        ++failures;
      }
      ASSERT_EQ(Decode(decoder, small), kWPRSuccess);
      ASSERT_EQ(Decode(decoder, large), kWPRSuccess);
      large.picture.assign(large.picture.size(), 0);
      WPRCloseDecoder(decoder);
    }
    EXPECT_GT(failures, 3);
  }
}

TEST(DecoderMemory, MayBeExhaustedWhenTheDecoderIsOpened) {
  allocations.untilFailure = 0;
  WPRDecoderHandle const none = WPROpenDecoder(1, nullptr);
  allocations.untilFailure = Allocations::kNeverFail;
  EXPECT_EQ(none, nullptr);
}

}  // namespace
}  // namespace prores
