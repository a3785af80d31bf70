// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "EncoderTestPicture.h"
#include "EncoderTestSession.h"
#include "ProRes/ProRes.h"
#include "ReferenceCodec.h"

namespace prores {
namespace {

using test::BinaryNoise;
using test::Busy;
using test::Content;
using test::Decode;
using test::Describe;
using test::Encode;
using test::EncoderOwner;
using test::Flat;
using test::FrameSizes;
using test::kCodecTypes;
using test::kFormats;
using test::kModes;
using test::Noise;
using test::Open;
using test::SizesOf;
using test::Smooth;
using test::SourcePicture;
using Bytes = std::vector<std::uint8_t>;

// ---- Round trips -------------------------------------------------------------------------------

struct Size {
  std::uint32_t width;
  std::uint32_t height;
};

/// Signal-to-noise ratio in decibels that busy pictures of every size keep, by variant.
constexpr struct {
  std::uint32_t codecType;
  double floor;
} kFloors[] = {{kWPRCodecProxy, 33}, {kWPRCodecLT, 35}, {kWPRCodec422, 39.5}, {kWPRCodecHQ, 44}};

class EncoderRoundTrip : public testing::TestWithParam<Size> {};

TEST_P(EncoderRoundTrip, KeepsThePictureInEveryVariantModeAndFormat) {
  const auto [width, height] = GetParam();
  const EncoderOwner encoder = Open();
  for (const std::uint32_t format : kFormats) {
    const SourcePicture picture(format, width, height, Busy(2), 5);
    for (const std::uint32_t mode : kModes) {
      double last = 0;
      for (const auto [codecType, floor] : kFloors) {
        SCOPED_TRACE(Describe(codecType, mode, picture.Record()));
        const Bytes frame = Encode(encoder.get(), {codecType, mode}, picture);
        const SourcePicture decoded = Decode(frame, kWPRPixelFormatV210, picture.Record());
        const double luma = Psnr(picture, decoded, 0);
        EXPECT_GT(luma, floor);
        EXPECT_GT(Psnr(picture, decoded, 1), floor);
        EXPECT_GT(Psnr(picture, decoded, 2), floor);
        EXPECT_GT(luma, last - 0.5);  // more bytes, better picture
        last = luma;
      }
    }
  }
}

/// Expects the independent model to decode the same picture as the decoder.
void ExpectTheReferenceAgrees(const Bytes& frame, const SourcePicture& decoded) {
  const reference::Image image = reference::Decode(frame);
  for (int component = 0; component < 3; ++component) {
    for (int y = 0; y < decoded.Lines(); ++y) {
      for (int x = 0; x < decoded.Columns(component); ++x) {
        ASSERT_NEAR(decoded.Sample(component, x, y), image.Sample(component, x, y, 10), 1);
      }
    }
  }
}

TEST_P(EncoderRoundTrip, WritesStreamsThatTheReferenceDecodesTheSame) {
  const auto [width, height] = GetParam();
  const EncoderOwner encoder = Open();
  const SourcePicture picture(kWPRPixelFormatV210, width, height, Busy(3));
  for (const std::uint32_t mode : kModes) {
    for (const std::uint32_t codecType : kCodecTypes) {
      SCOPED_TRACE(Describe(codecType, mode, picture.Record()));
      const Bytes frame = Encode(encoder.get(), {codecType, mode}, picture);
      ExpectTheReferenceAgrees(frame, Decode(frame, kWPRPixelFormatV210, picture.Record()));
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Sizes, EncoderRoundTrip,
                         testing::Values(Size{2, 2}, Size{3, 3}, Size{2, 40}, Size{40, 2},
                                         Size{18, 16}, Size{50, 34}, Size{17, 19}, Size{65, 66},
                                         Size{130, 80}),
                         [](const testing::TestParamInfo<Size>& size) {
                           return std::to_string(size.param.width) + "x" +
                                  std::to_string(size.param.height);
                         });

TEST(Encoder, KeepsALargePictureOfOddSize) {
  const EncoderOwner encoder = Open(2);
  const SourcePicture picture(kWPRPixelFormatV210, 719, 575, Busy(4));
  for (const std::uint32_t mode : kModes) {
    const Bytes frame = Encode(encoder.get(), {kWPRCodecHQ, mode}, picture);
    const SourcePicture decoded = Decode(frame, kWPRPixelFormatV210, picture.Record());
    for (int component = 0; component < 3; ++component) {
      EXPECT_GT(Psnr(picture, decoded, component), 48);
    }
    ExpectTheReferenceAgrees(frame, decoded);
  }
}

TEST(Encoder, ReproducesFlatPicturesExactly) {
  const EncoderOwner encoder = Open();
  for (const int level : {4, 64, 511, 512, 940, 1019}) {
    const SourcePicture picture(kWPRPixelFormatV210, 70, 50, Flat(level));
    for (const std::uint32_t mode : kModes) {
      const Bytes frame = Encode(encoder.get(), {kWPRCodecHQ, mode}, picture);
      const SourcePicture decoded = Decode(frame, kWPRPixelFormatV210, picture.Record());
      for (int component = 0; component < 3; ++component) {
        EXPECT_EQ(Psnr(picture, decoded, component), 100) << level;
      }
    }
  }
}

TEST(Encoder, RoundsToTheNearestWhereBytesAreLeft) {
  const EncoderOwner encoder = Open();
  const SourcePicture picture(kWPRPixelFormatV210, 320, 240, Smooth());
  const Bytes frame = Encode(encoder.get(), {kWPRCodecHQ, kWPRProgressive}, picture);
  const FrameSizes sizes = SizesOf(kWPRCodecHQ, picture.Record());
  EXPECT_LT(frame.size(), sizes.target * 9 / 10);  // simple frames are not padded
  const SourcePicture decoded = Decode(frame, kWPRPixelFormatV210, picture.Record());
  EXPECT_GT(Psnr(picture, decoded, 0), 65);  // nearly every sample returns exactly
}

// ---- Frame sizes -------------------------------------------------------------------------------

TEST(Encoder, UsesItsTargetOnBusyPictures) {
  const EncoderOwner encoder = Open();
  const SourcePicture picture(kWPRPixelFormatV210, 720, 486, Busy(1));
  for (const std::uint32_t codecType : kCodecTypes) {
    for (const std::uint32_t mode : kModes) {
      const Bytes frame = Encode(encoder.get(), {codecType, mode}, picture);
      const std::uint32_t target = SizesOf(codecType, picture.Record()).target;
      EXPECT_LE(frame.size(), target);
      EXPECT_GE(frame.size(), target - target / 500) << Describe(codecType, mode, picture.Record());
    }
  }
}

TEST(Encoder, UsesItsTargetWhereSomeRowsAreUnlikeTheOthers) {
  // Whichever rows the rate control samples, some of these pictures mislead it.
  const EncoderOwner encoder = Open(2);
  const Content noise = Noise(3), busy = Busy(3);
  for (const bool mostlyNoise : {false, true}) {
    for (int phase = 0; phase < 7; ++phase) {
      const auto content = [&](int component, int x, int y) {
        return (y / 16 % 7 == phase) != mostlyNoise ? noise(component, x, y)
                                                    : busy(component, x, y);
      };
      const SourcePicture picture(kWPRPixelFormat2vuy, 1040, 1088, content);
      const Bytes frame = Encode(encoder.get(), {kWPRCodecHQ, kWPRProgressive}, picture);
      const std::uint32_t target = SizesOf(kWPRCodecHQ, picture.Record()).target;
      EXPECT_LE(frame.size(), target);
      EXPECT_GE(frame.size(), target - target / 100) << phase << mostlyNoise;
    }
  }
}

TEST(Encoder, ExceedsItsTargetOnlyOnTheCoarsestQuantiser) {
  const EncoderOwner encoder = Open();
  for (const Size size : {Size{2, 2}, Size{3, 3}, Size{16, 16}, Size{17, 19}, Size{130, 66}}) {
    for (const Content& content : {Noise(1), BinaryNoise(1), Busy(1)}) {
      for (const std::uint32_t format : kFormats) {
        const SourcePicture picture(format, size.width, size.height, content);
        for (const std::uint32_t codecType : kCodecTypes) {
          for (const std::uint32_t mode : kModes) {
            SCOPED_TRACE(Describe(codecType, mode, picture.Record()));
            const Bytes frame = Encode(encoder.get(), {codecType, mode}, picture);
            const FrameSizes sizes = SizesOf(codecType, picture.Record());
            ASSERT_LE(frame.size(), sizes.max);
            if (frame.size() <= sizes.target) continue;
            // Size of the slice table: the first picture has at most 10 slices here.
            const std::size_t slices = frame[28 + 6];
            EXPECT_EQ(frame[28 + 8 + 2 * slices + 1], 224);
          }
        }
      }
    }
  }
}

TEST(Encoder, StaysWithinItsTargetOnNoiseOfTheFullRange) {
  const EncoderOwner encoder = Open();
  for (const Content& content : {Noise(2), BinaryNoise(2)}) {
    const SourcePicture picture(kWPRPixelFormatV210, 352, 288, content);
    for (const std::uint32_t codecType : kCodecTypes) {
      for (const std::uint32_t mode : kModes) {
        SCOPED_TRACE(Describe(codecType, mode, picture.Record()));
        const Bytes frame = Encode(encoder.get(), {codecType, mode}, picture);
        const std::uint32_t target = SizesOf(codecType, picture.Record()).target;
        EXPECT_LE(frame.size(), target);
        EXPECT_GE(frame.size(), target - target / 50);
        const SourcePicture decoded = Decode(frame, kWPRPixelFormatV210, picture.Record());
        ExpectTheReferenceAgrees(frame, decoded);
      }
    }
  }
}

TEST(Encoder, SpendsHardlyAnyBytesOutsideThePicture) {
  // Eight lines, and the same lines with the last one repeated. Only in the first picture do the
  // lower blocks of the macroblocks lie outside.
  const EncoderOwner encoder = Open();
  const Content content = Smooth();
  const auto repeated = [&](int component, int x, int y) {
    return content(component, x, std::min(y, 7));
  };
  const EncodeParamsRecord params{kWPRCodecHQ, kWPRProgressive};
  const SourcePicture half(kWPRPixelFormatV210, 1024, 8, content);
  const SourcePicture whole(kWPRPixelFormatV210, 1024, 16, repeated);
  EXPECT_LT(Encode(encoder.get(), params, half).size(),
            Encode(encoder.get(), params, whole).size() * 9 / 10);
}

// ---- Syntax ------------------------------------------------------------------------------------

TEST(Encoder, WritesTheFrameHeaderOfThePicture) {
  const EncoderOwner encoder = Open();
  const SourcePicture picture(kWPRPixelFormat2vuy, 300, 50, Busy(1));
  const Bytes progressive = Encode(encoder.get(), {kWPRCodec422, kWPRProgressive}, picture);
  const auto size = static_cast<std::uint32_t>(progressive.size());
  const Bytes expected = {
      static_cast<std::uint8_t>(size >> 24), static_cast<std::uint8_t>(size >> 16),
      static_cast<std::uint8_t>(size >> 8), static_cast<std::uint8_t>(size), 'i', 'c', 'p', 'f', 0,
      20, 0, 0, 'v', 'i', 'x', 'p', 300 / 256, 300 % 256, 0, 50, 0x80, 0, 2, 2, 2, 0, 0, 0,
      // The picture: 8 bytes of header, 4 rows of 4 slices (8, 8, 2, 1).
      0x40};
  EXPECT_EQ(Bytes(progressive.begin(), progressive.begin() + 29), expected);
  EXPECT_EQ(progressive[33] * 256 + progressive[34], 16);
  EXPECT_EQ(progressive[35], 0x30);

  const Bytes interlaced = Encode(encoder.get(), {kWPRCodec422, kWPRTopFieldFirst}, picture);
  EXPECT_EQ(interlaced[20], 0x84);
  EXPECT_EQ(interlaced[33] * 256 + interlaced[34], 8);
}

TEST(Encoder, PutsTheTopFieldFirst) {
  const EncoderOwner encoder = Open();
  const SourcePicture picture(kWPRPixelFormatV210, 64, 48,
                              [](int, int, int y) { return y % 2 == 0 ? 200 : 800; });
  const Bytes frame = Encode(encoder.get(), {kWPRCodecProxy, kWPRTopFieldFirst}, picture);
  const SourcePicture decoded = Decode(frame, kWPRPixelFormatV210, picture.Record());
  EXPECT_GT(Psnr(picture, decoded, 0), 60);  // each field is flat

  SourcePicture top(kWPRPixelFormatV210, 64, 24);
  PixelBufferRecord destination = top.MutableRecord();
  WPRDecoderHandle decoder = WPROpenDecoder(1, nullptr);
  EXPECT_EQ(WPRDecodeFrame(decoder, frame.data(), static_cast<std::uint32_t>(frame.size()),
                           &destination, 1),
            kWPRSuccess);
  WPRCloseDecoder(decoder);
  EXPECT_NEAR(top.Sample(0, 30, 12), 200, 1);
}

TEST(Encoder, IgnoresTheBytesBetweenRows) {
  const EncoderOwner encoder = Open();
  for (const std::uint32_t format : kFormats) {
    const SourcePicture tight(format, 67, 40, Busy(4));
    const SourcePicture padded(format, 67, 40, Busy(4), 29);
    EXPECT_EQ(Encode(encoder.get(), {kWPRCodecLT, kWPRProgressive}, tight),
              Encode(encoder.get(), {kWPRCodecLT, kWPRProgressive}, padded));
  }
}

// ---- Determinism -------------------------------------------------------------------------------

TEST(Encoder, WritesTheSameBytesForEveryThreadCount) {
  const SourcePicture picture(kWPRPixelFormatV210, 560, 100, Busy(5));
  for (const std::uint32_t mode : kModes) {
    const EncodeParamsRecord params{kWPRCodec422, mode};
    const Bytes expected = Encode(Open(1).get(), params, picture);
    for (const int threads : {0, 2, 3, 5, 8}) {
      const EncoderOwner encoder = Open(threads);
      for (int repetition = 0; repetition < 3; ++repetition) {
        ASSERT_EQ(Encode(encoder.get(), params, picture), expected) << threads;
      }
    }
  }
}

TEST(Encoder, WritesTheSameBytesWhateverItEncodedBefore) {
  const EncoderOwner used = Open(3);
  const Size sizes[] = {{130, 66}, {16, 16}, {600, 34}, {17, 190}, {2, 2}, {130, 66}};
  for (const Size size : sizes) {
    for (const std::uint32_t format : kFormats) {
      for (const std::uint32_t mode : kModes) {
        const SourcePicture picture(format, size.width, size.height, Busy(6));
        const EncodeParamsRecord params{kWPRCodecHQ, mode};
        ASSERT_EQ(Encode(used.get(), params, picture), Encode(Open(1).get(), params, picture))
            << Describe(kWPRCodecHQ, mode, picture.Record());
      }
    }
  }
}

// ---- Destination -------------------------------------------------------------------------------

TEST(Encoder, FillsADestinationOfExactlyTheFrameAndNothingAroundIt) {
  const EncoderOwner encoder = Open(2);
  const SourcePicture picture(kWPRPixelFormatV210, 200, 100, Busy(7));
  const PixelBufferRecord source = picture.Record();
  for (const std::uint32_t mode : kModes) {
    const EncodeParamsRecord params{kWPRCodecLT, mode};
    const Bytes frame = Encode(encoder.get(), params, picture);
    constexpr std::size_t kGuard = 64;
    for (const std::size_t missing :
         {std::size_t{0}, std::size_t{1}, std::size_t{1000}, frame.size() - 1, frame.size()}) {
      Bytes buffer(kGuard + frame.size() + kGuard, 0xA5);
      const auto room = static_cast<std::uint32_t>(frame.size() - missing);
      std::uint32_t bytes = 77;
      const int result =
          WPREncodeFrame(encoder.get(), &params, &source, buffer.data() + kGuard, room, &bytes);
      EXPECT_EQ(result, missing == 0 ? kWPRSuccess : kWPRDestinationTooSmall);
      EXPECT_EQ(bytes, missing == 0 ? frame.size() : 77);
      const auto begin = buffer.begin() + kGuard;
      if (missing == 0) {
        EXPECT_TRUE(std::equal(frame.begin(), frame.end(), begin));
      }
      const auto isGuard = [](int byte) { return byte == 0xA5; };
      EXPECT_TRUE(std::all_of(buffer.begin(), begin, isGuard));
      EXPECT_TRUE(std::all_of(begin + room, buffer.end(), isGuard));
    }
  }
}

// ---- Rejected arguments ------------------------------------------------------------------------

TEST(EncoderOpen, RejectsNegativeThreadCountsAndReservedData) {
  int reserved = 0;
  EXPECT_EQ(WPROpenEncoder(-1, nullptr), nullptr);
  EXPECT_EQ(WPROpenEncoder(1, &reserved), nullptr);
  WPRCloseEncoder(nullptr);
}

class EncoderArguments : public testing::Test {
 protected:
  int Encode() {
    return WPREncodeFrame(encoder_.get(), &params_, &source_, frame_.data(),
                          static_cast<std::uint32_t>(frame_.size()), &bytes_);
  }

  EncoderOwner encoder_ = Open();
  SourcePicture picture_{kWPRPixelFormatV210, 64, 64, Smooth()};
  EncodeParamsRecord params_{kWPRCodecHQ, kWPRProgressive};
  PixelBufferRecord source_ = picture_.Record();
  Bytes frame_ = Bytes(100'000);
  std::uint32_t bytes_ = 0;
};

TEST_F(EncoderArguments, EveryPointerIsRequired) {
  const auto size = static_cast<std::uint32_t>(frame_.size());
  std::uint8_t* const to = frame_.data();
  WPREncoderHandle const encoder = encoder_.get();
  EXPECT_EQ(WPREncodeFrame(nullptr, &params_, &source_, to, size, &bytes_), kWPRBadArgument);
  EXPECT_EQ(WPREncodeFrame(encoder, nullptr, &source_, to, size, &bytes_), kWPRBadArgument);
  EXPECT_EQ(WPREncodeFrame(encoder, &params_, nullptr, to, size, &bytes_), kWPRBadArgument);
  EXPECT_EQ(WPREncodeFrame(encoder, &params_, &source_, nullptr, size, &bytes_), kWPRBadArgument);
  EXPECT_EQ(WPREncodeFrame(encoder, &params_, &source_, to, size, nullptr), kWPRBadArgument);
  source_.baseAddress = nullptr;
  EXPECT_EQ(Encode(), kWPRBadArgument);
  source_ = picture_.Record();
  EXPECT_EQ(Encode(), kWPRSuccess);
}

TEST_F(EncoderArguments, CodesMustBeKnown) {
  for (const std::uint32_t codecType : {0U, 0x6170347AU, 0xFFFFFFFFU}) {
    params_.codecType = codecType;
    EXPECT_EQ(Encode(), kWPRBadArgument);
  }
  params_.codecType = kWPRCodecHQ;
  for (const std::uint32_t mode : {2U, 3U, 0xFFFFFFFFU}) {
    params_.interlaceMode = mode;
    EXPECT_EQ(Encode(), kWPRBadArgument);
  }
  params_.interlaceMode = kWPRTopFieldFirst;
  EXPECT_EQ(Encode(), kWPRSuccess);
  source_.pixelFormat = 0x79757632;
  EXPECT_EQ(Encode(), kWPRBadArgument);
}

TEST_F(EncoderArguments, SizesMustBeInRangeAndRowsHoldTheWidth) {
  for (const std::uint32_t size : {0U, 1U, 65536U, 0xFFFFFFFFU}) {
    source_ = picture_.Record();
    source_.rowBytes = 0xFFFFFFFF;
    source_.width = size;
    EXPECT_EQ(Encode(), kWPRBadArgument) << size;
    source_ = picture_.Record();
    source_.height = size;
    EXPECT_EQ(Encode(), kWPRBadArgument) << size;
  }
  source_ = picture_.Record();
  source_.rowBytes = 11 * 16 - 1;  // 64 pixels take 11 groups
  EXPECT_EQ(Encode(), kWPRBadArgument);
  source_.pixelFormat = kWPRPixelFormat2vuy;
  source_.width = 63;
  source_.rowBytes = 127;  // 63 pixels take 32 pairs
  EXPECT_EQ(Encode(), kWPRBadArgument);
  source_.rowBytes = 128;
  EXPECT_EQ(Encode(), kWPRSuccess);
  params_.codecType = kWPRCodec4444;
  source_.pixelFormat = kWPRPixelFormatY416;
  source_.width = 16;
  source_.rowBytes = 127;  // 16 pixels of four words
  EXPECT_EQ(Encode(), kWPRBadArgument);
  source_.rowBytes = 128;
  EXPECT_EQ(Encode(), kWPRSuccess);
}

TEST_F(EncoderArguments, FieldsOfDifferentMacroblockRowsAreNotSupported) {
  params_.interlaceMode = kWPRTopFieldFirst;
  source_.height = 33;
  EXPECT_EQ(Encode(), kWPRUnsupported);
  source_.height = 34;
  EXPECT_EQ(Encode(), kWPRSuccess);
  params_.interlaceMode = kWPRProgressive;
  source_.height = 33;
  EXPECT_EQ(Encode(), kWPRSuccess);
}

TEST_F(EncoderArguments, PicturesWhoseFrameExceeds32BitsAreNotSupported) {
  // The size is checked before any pixel is read.
  source_.width = source_.height = 65535;
  source_.rowBytes = 10923 * 16;
  EXPECT_EQ(Encode(), kWPRUnsupported);
}

TEST(EncoderFrameSize, RejectsUnsupportedSizes) {
  std::uint32_t max = 1;
  std::uint32_t target = 2;
  EXPECT_EQ(WPRGetCompressedFrameSize(0, 64, 64, &max, &target), kWPRBadArgument);
  EXPECT_EQ(WPRGetCompressedFrameSize(kWPRCodecHQ, 64, 64, nullptr, &target), kWPRBadArgument);
  for (const std::uint32_t size : {0U, 1U, 65536U, 0xFFFFFFFFU}) {
    EXPECT_EQ(WPRGetCompressedFrameSize(kWPRCodecHQ, size, 64, &max, &target), kWPRBadArgument);
    EXPECT_EQ(WPRGetCompressedFrameSize(kWPRCodecHQ, 64, size, &max, &target), kWPRBadArgument);
  }
  EXPECT_EQ(WPRGetCompressedFrameSize(kWPRCodecHQ, 65535, 65535, &max, &target), kWPRUnsupported);
  EXPECT_EQ(max, 1);
  EXPECT_EQ(target, 2);
  EXPECT_EQ(WPRGetCompressedFrameSize(kWPRCodecHQ, 65535, 2, &max, nullptr), kWPRSuccess);
  EXPECT_GT(max, 4096 * 256);
}

}  // namespace
}  // namespace prores
