// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "Allocations.h"
#include "DeepPicture.h"
#include "EncoderTestPicture.h"
#include "EncoderTestSession.h"
#include "ProRes/ProRes.h"
#include "ReferenceCodec.h"

namespace prores {
namespace {

using test::allocations;
using test::Allocations;

/// A frame and memory for its picture.
struct Clip {
  Clip(int width, int height) : Clip(PlainSpec(width, height), kWPRPixelFormat2vuy, 2) {}

  static Clip With16BitAlpha(int width, int height) {
    reference::StreamSpec spec = PlainSpec(width, height);
    spec.alphaType = 2;
    return {spec, kWPRPixelFormatB64a, 8};
  }

  std::vector<std::uint8_t> frame;
  std::vector<std::uint8_t> picture;
  PixelBufferRecord record;

 private:
  Clip(const reference::StreamSpec& spec, std::uint32_t format, int pixelBytes)
      : frame(reference::MakeStream(spec, reference::NaturalSource(3)).bytes),
        picture(static_cast<std::size_t>(spec.width * spec.height * pixelBytes)),
        record{picture.data(), static_cast<std::uint32_t>(spec.width * pixelBytes), format,
               static_cast<std::uint32_t>(spec.width), static_cast<std::uint32_t>(spec.height)} {}

  static reference::StreamSpec PlainSpec(int width, int height) {
    reference::StreamSpec spec;
    spec.width = width;
    spec.height = height;
    return spec;
  }
};

constexpr std::size_t kTwoMebibytes = std::size_t{2} << 20;

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

TEST(DecoderMemory, IsAllocatedOnTheFirstFrameOfEachKindOnly) {
  Clip plain(320, 96);
  Clip deep = Clip::With16BitAlpha(320, 96);
  Clip smaller = Clip::With16BitAlpha(64, 48);
  WPRDecoderHandle const decoder = WPROpenDecoder(2, nullptr);
  ASSERT_EQ(Decode(decoder, plain), kWPRSuccess);
  ASSERT_EQ(Decode(decoder, deep), kWPRSuccess);
  const long count = allocations.count;
  for (int repetition = 0; repetition < 2; ++repetition) {
    EXPECT_EQ(Decode(decoder, smaller), kWPRSuccess);
    EXPECT_EQ(Decode(decoder, plain), kWPRSuccess);
    EXPECT_EQ(Decode(decoder, deep), kWPRSuccess);
  }
  EXPECT_EQ(allocations.count, count);
  WPRCloseDecoder(decoder);
}

TEST(DecoderMemory, StaysBelowTwoMebibytesForAFullHighDefinitionFrame) {
  Clip clip(1920, 1080);
  const std::size_t before = allocations.bytes;
  WPRDecoderHandle const decoder = WPROpenDecoder(2, nullptr);
  ASSERT_EQ(Decode(decoder, clip), kWPRSuccess);
  EXPECT_LT(allocations.bytes - before, kTwoMebibytes);
  WPRCloseDecoder(decoder);
}

/// Returns the bytes that a decoder allocates for a frame.
std::size_t BytesFor(const test::Bytes& frame, test::PictureMemory picture) {
  const std::size_t before = allocations.bytes;
  test::Decode(frame, picture);
  return allocations.bytes - before;
}

TEST(DecoderMemory, StaysBelowTwoMebibytesForAFullHighDefinitionFrameOf4444WithAlpha) {
  const test::DeepContent alpha = [](int, int x, int y) {
    return (x * 40503 + y * 30011) & 0xFFFF;
  };
  const test::DeepPicture source(kWPRPixelFormatY416, 1920, 1080,
                                 test::WithAlpha(test::Colours(test::Busy(1)), alpha));
  const test::EncoderOwner encoder = test::Open();
  test::Set(encoder.get(), kWPRAlpha16);
  const test::Bytes frame = test::Encode(encoder.get(), {kWPRCodec4444XQ, kWPRProgressive}, source);
  EXPECT_LT(BytesFor(frame, test::DeepPicture(kWPRPixelFormatB64a, 1920, 1080)), kTwoMebibytes);
  EXPECT_LT(BytesFor(frame, test::SourcePicture(kWPRPixelFormat2vuy, 1920, 1080)), kTwoMebibytes);
}

/// Lets every allocation for a large frame fail in turn, after a small frame or none.
void ExpectUsableWhereverMemoryRunsOut(Clip& small, Clip& large) {
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
      std::ranges::fill(large.picture, std::uint8_t{0});
      WPRCloseDecoder(decoder);
    }
    EXPECT_GT(failures, 3);
  }
}

TEST(DecoderMemory, MayRunOutAnywhereAndTheDecoderStaysUsable) {
  Clip small(64, 48);
  Clip large(320, 208);
  ExpectUsableWhereverMemoryRunsOut(small, large);
  Clip deep = Clip::With16BitAlpha(160, 64);
  ExpectUsableWhereverMemoryRunsOut(small, deep);
}

TEST(DecoderMemory, MayBeExhaustedWhenTheDecoderIsOpened) {
  allocations.untilFailure = 0;
  WPRDecoderHandle const none = WPROpenDecoder(1, nullptr);
  allocations.untilFailure = Allocations::kNeverFail;
  EXPECT_EQ(none, nullptr);
}

}  // namespace
}  // namespace prores
