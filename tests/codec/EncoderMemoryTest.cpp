// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>

#include <vector>

#include "Allocations.h"
#include "DeepPicture.h"
#include "EncoderTestPicture.h"
#include "EncoderTestSession.h"
#include "ProRes/ProResHost.h"

namespace prores {
namespace {

using test::allocations;
using test::Allocations;
using test::Busy;
using test::DeepPicture;
using test::SourcePicture;

class EncoderMemory : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_NE(encoder_, nullptr);
    ASSERT_EQ(WPRGetCompressedFrameSize(kWPRCodec4444XQ, 1920, 1080, &maxBytes_, nullptr),
              kWPRSuccess);
    frame_.resize(maxBytes_);
  }
  void TearDown() override { WPRCloseEncoder(encoder_); }

  int Encode(const test::PictureMemory& picture, std::uint32_t codecType = kWPRCodecHQ) {
    const EncodeParamsRecord params{codecType, kWPRProgressive};
    const PixelBufferRecord source = picture.Record();
    return WPREncodeFrame(encoder_, &params, &source, frame_.data(), maxBytes_, &bytes_);
  }

  WPREncoderHandle encoder_ = WPROpenEncoder(2, nullptr);
  std::vector<std::uint8_t> frame_;
  std::uint32_t maxBytes_ = 0;
  std::uint32_t bytes_ = 0;
};

TEST_F(EncoderMemory, IsAllocatedOnTheFirstFrameOnlyAndStaysBelowThreePackedFrames) {
  const SourcePicture picture(kWPRPixelFormat2vuy, 1920, 1080, Busy(1));
  const std::size_t before = allocations.bytes;
  ASSERT_EQ(Encode(picture), kWPRSuccess);
  EXPECT_LT(allocations.bytes - before, 3 * picture.Bytes().size());

  const SourcePicture smaller(kWPRPixelFormatV210, 640, 300, Busy(1));
  const long count = allocations.count;
  ASSERT_EQ(Encode(picture), kWPRSuccess);
  ASSERT_EQ(Encode(smaller), kWPRSuccess);
  ASSERT_EQ(Encode(picture), kWPRSuccess);
  EXPECT_EQ(allocations.count, count);
}

TEST_F(EncoderMemory, IsAllocatedOnTheFirstFrameOfEachKindOnly) {
  test::Set(encoder_, kWPRAlpha16);
  const DeepPicture deep(kWPRPixelFormatB64a, 640, 300, test::Colours(Busy(1)));
  const DeepPicture smaller(kWPRPixelFormatY416, 320, 200, test::Colours(Busy(1)));
  const SourcePicture other(kWPRPixelFormatV210, 640, 300, Busy(1));
  ASSERT_EQ(Encode(deep, kWPRCodec4444XQ), kWPRSuccess);
  ASSERT_EQ(Encode(other), kWPRSuccess);
  const long count = allocations.count;
  for (int repetition = 0; repetition < 2; ++repetition) {
    ASSERT_EQ(Encode(deep, kWPRCodec4444XQ), kWPRSuccess);
    ASSERT_EQ(Encode(smaller, kWPRCodec4444), kWPRSuccess);
    ASSERT_EQ(Encode(other), kWPRSuccess);
  }
  EXPECT_EQ(allocations.count, count);
}

TEST_F(EncoderMemory, StaysBelowThreePackedFramesOf4444) {
  const DeepPicture picture(kWPRPixelFormatY416, 960, 540, test::Colours(test::Smooth()));
  test::Set(encoder_, kWPRAlpha16);
  const std::size_t before = allocations.bytes;
  ASSERT_EQ(Encode(picture, kWPRCodec4444XQ), kWPRSuccess);
  EXPECT_LT(allocations.bytes - before, 3 * picture.Bytes().size());
}

/// Lets every allocation of a large frame fail in turn, after a small frame or none.
template <typename EncodeSmall, typename EncodeLarge, typename Reopen>
void ExpectUsableWhereverMemoryRunsOut(EncodeSmall encodeSmall, EncodeLarge encodeLarge,
                                       Reopen reopen) {
  for (const bool hasEncoded : {false, true}) {
    int failures = 0;
    for (long survived = 0; failures == survived; ++survived) {
      reopen();
      if (hasEncoded) {
        ASSERT_EQ(encodeSmall(), kWPRSuccess);
      }
      allocations.untilFailure = survived;
      const int result = encodeLarge();
      allocations.untilFailure = Allocations::kNeverFail;
      if (result != kWPRSuccess) {
        EXPECT_EQ(result, kWPROutOfMemory);
        ++failures;
      }
      ASSERT_EQ(encodeSmall(), kWPRSuccess);
      ASSERT_EQ(encodeLarge(), kWPRSuccess);
    }
    EXPECT_GT(failures, 3);
  }
}

TEST_F(EncoderMemory, MayRunOutAnywhereAndTheEncoderStaysUsable) {
  const auto reopen = [this] {
    WPRCloseEncoder(encoder_);
    encoder_ = WPROpenEncoder(1, nullptr);
    test::Set(encoder_, kWPRAlpha16);
  };
  const SourcePicture small(kWPRPixelFormatV210, 64, 48, Busy(1));
  const SourcePicture large(kWPRPixelFormatV210, 300, 200, Busy(1));
  ExpectUsableWhereverMemoryRunsOut([&] { return Encode(small); }, [&] { return Encode(large); },
                                    reopen);
  const DeepPicture deep(kWPRPixelFormatB64a, 300, 200, test::Colours(Busy(1)));
  ExpectUsableWhereverMemoryRunsOut([&] { return Encode(small); },
                                    [&] { return Encode(deep, kWPRCodec4444); }, reopen);
}

TEST_F(EncoderMemory, MayBeExhaustedWhenTheEncoderIsOpened) {
  allocations.untilFailure = 0;
  WPREncoderHandle const none = WPROpenEncoder(1, nullptr);
  allocations.untilFailure = Allocations::kNeverFail;
  EXPECT_EQ(none, nullptr);
}

}  // namespace
}  // namespace prores
