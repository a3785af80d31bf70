// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <vector>

#include "Allocations.h"
#include "DecoderTestSession.h"
#include "EncoderTestPicture.h"
#include "EncoderTestSession.h"
#include "PackedPicture.h"
#include "ProRes/ProResHost.h"
#include "ReferenceCodec.h"

namespace prores {
namespace {

using test::allocations;

constexpr std::uint32_t kMostPixels = 65535U * 65535U;

FrameLimitsRecord Limits(std::uint32_t width, std::uint32_t height,
                         std::uint32_t pixels = kMostPixels) {
  return {sizeof(FrameLimitsRecord), width, height, pixels};
}

/// Records that no handle takes.
const FrameLimitsRecord kInvalid[] = {
    {0, 10, 10, 10},   {sizeof(FrameLimitsRecord) - 1, 10, 10, 10},
    Limits(0, 10),     Limits(10, 0),
    Limits(10, 10, 0), Limits(65536, 10),
    Limits(10, 65536)};

reference::Stream MakeFrame(int width, int height) {
  reference::StreamSpec spec;
  spec.width = width;
  spec.height = height;
  return MakeStream(spec, reference::NaturalSource(1));
}

/// Decodes a frame of 48x32 pixels.
std::int32_t DecodeWith(const FrameLimitsRecord& limits) {
  const auto decoder = decoding::Open(1);
  EXPECT_EQ(WPRSetDecodeLimits(decoder.get(), &limits), kWPRSuccess);
  PackedPicture picture(kWPRPixelFormat2vuy, 48, 32);
  return decoding::Decode(decoder.get(), MakeFrame(48, 32).bytes, picture);
}

TEST(DecodeLimits, AreInclusive) {
  EXPECT_EQ(DecodeWith(Limits(48, 32)), kWPRSuccess);
  EXPECT_EQ(DecodeWith(Limits(48, 32, 48 * 32)), kWPRSuccess);
  EXPECT_EQ(DecodeWith(Limits(65535, 65535, UINT32_MAX)), kWPRSuccess);
  EXPECT_EQ(DecodeWith(Limits(47, 65535)), kWPRTooLarge);
  EXPECT_EQ(DecodeWith(Limits(65535, 31)), kWPRTooLarge);
  EXPECT_EQ(DecodeWith(Limits(65535, 65535, 48 * 32 - 1)), kWPRTooLarge);
}

TEST(DecodeLimits, RefuseAFrameWithoutAllocatingOrTouchingTheDestination) {
  const auto decoder = decoding::Open(1);
  const auto small = MakeFrame(16, 16).bytes;
  const auto large = MakeFrame(48, 32).bytes;
  PackedPicture picture(kWPRPixelFormat2vuy, 48, 32);
  const PackedPicture untouched = picture;
  const FrameLimitsRecord limits = Limits(47, 32);
  ASSERT_EQ(WPRSetDecodeLimits(decoder.get(), &limits), kWPRSuccess);
  PixelBufferRecord record = picture.Record();
  const long count = allocations.count;
  EXPECT_EQ(WPRDecodeFrame(decoder.get(), large.data(), static_cast<std::uint32_t>(large.size()),
                           &record, 0),
            kWPRTooLarge);
  EXPECT_EQ(allocations.count, count);
  for (std::uint32_t y = 0; y < 32; ++y) {
    ASSERT_EQ(std::memcmp(picture.Row(y), untouched.Row(y), picture.PixelBytes()), 0);
  }
  PackedPicture fitting(kWPRPixelFormat2vuy, 16, 16);
  EXPECT_EQ(decoding::Decode(decoder.get(), small, fitting), kWPRSuccess) << "stays usable";
}

TEST(DecodeLimits, StayWhereNewOnesAreRefused) {
  const auto decoder = decoding::Open(1);
  const FrameLimitsRecord good = Limits(16, 16);
  EXPECT_EQ(WPRSetDecodeLimits(nullptr, &good), kWPRBadArgument);
  EXPECT_EQ(WPRSetDecodeLimits(decoder.get(), nullptr), kWPRBadArgument);
  ASSERT_EQ(WPRSetDecodeLimits(decoder.get(), &good), kWPRSuccess);
  for (const FrameLimitsRecord& limits : kInvalid) {
    EXPECT_EQ(WPRSetDecodeLimits(decoder.get(), &limits), kWPRBadArgument);
  }
  PackedPicture picture(kWPRPixelFormat2vuy, 48, 32);
  EXPECT_EQ(decoding::Decode(decoder.get(), MakeFrame(48, 32).bytes, picture), kWPRTooLarge);
}

/// Encodes a picture of 48x32 pixels.
std::int32_t EncodeWith(const FrameLimitsRecord& limits) {
  const auto encoder = test::Open();
  EXPECT_EQ(WPRSetEncodeLimits(encoder.get(), &limits), kWPRSuccess);
  const test::SourcePicture picture(kWPRPixelFormat2vuy, 48, 32, test::Busy(1));
  const PixelBufferRecord source = picture.Record();
  const EncodeParamsRecord params{kWPRCodecHQ, kWPRProgressive};
  std::vector<std::uint8_t> frame(test::SizesOf(params.codecType, source).max);
  std::uint32_t bytes = 0;
  const long count = allocations.count;
  const std::int32_t result = WPREncodeFrame(encoder.get(), &params, &source, frame.data(),
                                             static_cast<std::uint32_t>(frame.size()), &bytes);
  if (result == kWPRTooLarge) {
    EXPECT_EQ(allocations.count, count);
    EXPECT_EQ(bytes, 0);
  }
  return result;
}

TEST(EncodeLimits, AreInclusive) {
  EXPECT_EQ(EncodeWith(Limits(48, 32, 48 * 32)), kWPRSuccess);
  EXPECT_EQ(EncodeWith(Limits(47, 65535)), kWPRTooLarge);
  EXPECT_EQ(EncodeWith(Limits(65535, 31)), kWPRTooLarge);
  EXPECT_EQ(EncodeWith(Limits(65535, 65535, 48 * 32 - 1)), kWPRTooLarge);
}

TEST(EncodeLimits, MustBeValid) {
  const auto encoder = test::Open();
  const FrameLimitsRecord good = Limits(16, 16);
  EXPECT_EQ(WPRSetEncodeLimits(nullptr, &good), kWPRBadArgument);
  EXPECT_EQ(WPRSetEncodeLimits(encoder.get(), nullptr), kWPRBadArgument);
  for (const FrameLimitsRecord& limits : kInvalid) {
    EXPECT_EQ(WPRSetEncodeLimits(encoder.get(), &limits), kWPRBadArgument);
  }
}

}  // namespace
}  // namespace prores
