// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>

#include <vector>

#include "Allocations.h"
#include "EncoderTestPicture.h"
#include "ProRes/ProRes.h"

namespace prores {
namespace {

using test::allocations;
using test::Allocations;
using test::Busy;
using test::SourcePicture;

class EncoderMemory : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_NE(encoder_, nullptr);
    ASSERT_EQ(WPRGetCompressedFrameSize(kWPRCodecHQ, 1920, 1080, &maxBytes_, nullptr), kWPRSuccess);
    frame_.resize(maxBytes_);
  }
  void TearDown() override { WPRCloseEncoder(encoder_); }

  int Encode(const SourcePicture& picture) {
    const EncodeParamsRecord params{kWPRCodecHQ, kWPRProgressive};
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

TEST_F(EncoderMemory, MayRunOutAnywhereAndTheEncoderStaysUsable) {
  const SourcePicture small(kWPRPixelFormatV210, 64, 48, Busy(1));
  const SourcePicture large(kWPRPixelFormatV210, 300, 200, Busy(1));
  for (const bool hasEncoded : {false, true}) {
    int failures = 0;
    for (long survived = 0; failures == survived; ++survived) {
      WPRCloseEncoder(encoder_);
      encoder_ = WPROpenEncoder(1, nullptr);
      if (hasEncoded) {
        ASSERT_EQ(Encode(small), kWPRSuccess);
      }
      allocations.untilFailure = survived;
      const int result = Encode(large);
      allocations.untilFailure = Allocations::kNeverFail;
      if (result != kWPRSuccess) {
        EXPECT_EQ(result, kWPROutOfMemory);
        ++failures;
      }
      ASSERT_EQ(Encode(small), kWPRSuccess);
      ASSERT_EQ(Encode(large), kWPRSuccess);
    }
    EXPECT_GT(failures, 3);
  }
}

TEST_F(EncoderMemory, MayBeExhaustedWhenTheEncoderIsOpened) {
  allocations.untilFailure = 0;
  WPREncoderHandle const none = WPROpenEncoder(1, nullptr);
  allocations.untilFailure = Allocations::kNeverFail;
  EXPECT_EQ(none, nullptr);
}

}  // namespace
}  // namespace prores
