// SPDX-License-Identifier: BSD-2-Clause
// The elements behind drivers: descriptions, refusals, changed streams, and frames of 4:2:2.
#include <gtest/gtest.h>

#include <algorithm>

#include "Errors.h"
#include "ProRes/ProRes.h"
#include "Streams.h"
#include "vix/ProResCodecHook.h"

namespace vix::test4444 {
namespace {

using test::ErrorOf;
using test::IsError;
using test::Parts;

class Drivers4444 : public Elements {
 protected:
  void DefineEncoder(const Shape& shape = {}, const Set& set = kDefaults) {
    Configure(encoder, set);
    encoder.Define(DescribeRaw(shape));
  }
  void DefineDecoder(const Shape& shape = {}, const Set& set = kDefaults) {
    Configure(decoder, set);
    decoder.Define(DescribeProRes(shape));
  }
  Container RoundTrip(const Shape& shape, unsigned number) {
    return Process(decoder, Process(encoder, MakeRawFrame(shape, number)));
  }
  VIXError Refuse(ElementDriver& driver, const Container& frame) {
    return ErrorOf([&] { driver.Push(frame); });
  }

  ElementDriver encoder = MakeEncoderDriver();
  ElementDriver decoder = MakeDecoderDriver();
};

TEST_F(Drivers4444, KeepAlphaExactlyAndColoursClosely) {
  for (const FourCC fourcc : {kFourCC_Y416, kFourCC_b64A}) {
    for (const ScanMode scanMode : {ScanMode::Progressive, ScanMode::Interlaced}) {
      const Shape shape{.width = 70, .height = 50, .scanMode = scanMode, .fourcc = fourcc};
      DefineEncoder(shape);
      DefineDecoder(shape, SetFourCC("OutputFourCC", fourcc));
      for (const unsigned number : {1u, 2u}) ExpectPicture(RoundTrip(shape, number), shape, number);
    }
  }
}

TEST_F(Drivers4444, DescribeFramesWithTheRateOfTheirElement) {
  const Shape shape{.width = 720, .height = 486};
  std::uint32_t most = 0;
  std::uint32_t target = 0;
  ASSERT_EQ(WPRGetCompressedFrameSize(kWPRCodec4444XQ, 720, 486, &most, &target), kWPRSuccess);
  DefineEncoder(shape, SetFourCC("Variant", kVariant4444XQ));
  const auto frame = SampleOf(Process(encoder, MakeRawFrame(shape, 1)));
  EXPECT_DOUBLE_EQ(frame->GetVideoParameters()->GetBitRate(), target * 8e-6 * 25);
  EXPECT_EQ(frame->GetVideoParameters(), ParametersOf(encoder.GetOutput()));
  EXPECT_GT(frame->GetVideoParameters()->GetBitRate(), 0);
}

TEST_F(Drivers4444, DescribePicturesAsTheirBytesAre) {
  struct Mark final : IMetadata {};
  const Shape shape{.scanMode = ScanMode::Interlaced};
  DefineDecoder(shape);
  const auto mark = std::make_shared<Mark>();
  const auto sample =
      SampleOf(Process(decoder, Wrap(BytesOf(Encode(shape, 1)), DescribeProRes(shape), 5, {mark})));
  EXPECT_EQ(sample->GetVideoParameters()->GetBitRate(), 8e-6 * 64 * 32 * 8 * 25);
  EXPECT_EQ(sample->GetVideoParameters()->GetVideoProperty1(),
            static_cast<std::int32_t>(VideoChroma::C4444));
  EXPECT_EQ(sample->GetTimeLimits(), (std::vector<TimeLimits>{{5, 6, {25, 1}}}));
  const auto metadata = sample->GetMetadata();
  ASSERT_EQ(metadata.size(), 2u);
  EXPECT_EQ(metadata[0], mark);
  const auto order = std::dynamic_pointer_cast<const IFieldOrder>(metadata[1]);
  ASSERT_TRUE(order);
  EXPECT_EQ(order->GetFieldOrder(), FieldOrder::TopFirst);
}

TEST_F(Drivers4444, RefuseOtherPixelFormats) {
  Configure(encoder);
  for (const FourCC fourcc : {kFourCC_UYVY, kFourCC_V210, MakeFourCC("RGBA")}) {
    EXPECT_THAT(ErrorOf([&] { encoder.Define(DescribeRaw({.fourcc = fourcc})); }),
                IsError(ErrorCode::Unsupported, Parts{R"(; allowed: "Y416", "b64A")"}));
  }
}

TEST_F(Drivers4444, RefuseWhatNoElementCodes) {
  Configure(encoder);
  const auto refuses = [&](const Shape& shape, ErrorCode code, const std::string& part) {
    EXPECT_THAT(ErrorOf([&] { encoder.Define(DescribeRaw(shape)); }), IsError(code, Parts{part}));
  };
  refuses({.width = 1}, ErrorCode::BadArgument, "width of 1");
  refuses({.scanMode = ScanMode{0}}, ErrorCode::BadArgument, "scan mode 0");
  refuses({.height = 33, .scanMode = ScanMode::Interlaced}, ErrorCode::Unsupported, "rows");
  refuses({.width = 65535, .height = 65535}, ErrorCode::Unsupported, "4 GiB");
  refuses({.matrix = 256}, ErrorCode::BadArgument, "0 to 255");
  EXPECT_THAT(ErrorOf([&] { Configure(encoder, SetInt("AlphaBits", 9)); }),
              IsError(ErrorCode::BadArgument, Parts{"AlphaBits is 9", "0, 8, 16"}));
  EXPECT_THAT(ErrorOf([&] { Configure(encoder, SetInt("NumThreads", 4097)); }),
              IsError(ErrorCode::BadArgument, Parts{"NumThreads", "0 to 4096"}));
}

TEST_F(Drivers4444, RefuseFramesThatAreShorterThanTheirDescription) {
  for (const FourCC fourcc : {kFourCC_Y416, kFourCC_b64A}) {
    const Shape shape{.fourcc = fourcc};
    DefineEncoder(shape);
    Bytes bytes = DrawPicture(shape, 1);
    bytes.pop_back();
    EXPECT_THAT(Refuse(encoder, Wrap(bytes, DescribeRaw(shape))),
                IsError(ErrorCode::Truncated, Parts{"16383 bytes", "16384"}));
  }
}

TEST_F(Drivers4444, NoticeThatAlphaComesAndGoes) {
  DefineEncoder();
  const Shape opaque{.chroma = VideoChroma::C444};
  EXPECT_THAT(Refuse(encoder, MakeRawFrame(opaque, 1)),
              IsError(ErrorCode::FormatChanged, Parts{"a frame of 64x32 progressive 4:4:4 in",
                                                      "64x32 progressive 4:4:4 with alpha;"}));
  encoder.SetInputChange(InputChange::Redefine);
  DefineDecoder();
  ExpectPicture(RoundTrip({}, 1), {}, 1, 16);
  ExpectPicture(RoundTrip(opaque, 2), {}, 2, 0);
  ExpectPicture(RoundTrip({}, 3), {}, 3, 16);
}

TEST_F(Drivers4444, FollowChangedStreams) {
  DefineEncoder();
  DefineDecoder();
  const Shape other{.width = 100, .height = 48, .scanMode = ScanMode::Interlaced};
  EXPECT_THAT(Refuse(decoder, Encode(other, 1)),
              IsError(ErrorCode::FormatChanged, Parts{"100x48 interlaced", "64x32 progressive"}));
  encoder.SetInputChange(InputChange::Redefine);
  decoder.SetInputChange(InputChange::Redefine);
  for (const Shape& shape : {Shape{}, other, Shape{}}) {
    ExpectPicture(RoundTrip(shape, 1), shape, 1);
    ExpectPicture(RoundTrip(shape, 2), shape, 2);
  }
}

TEST_F(Drivers4444, RefuseFramesWithoutPrefix) {
  for (const ScanMode scanMode : {ScanMode::Progressive, ScanMode::Interlaced}) {
    const Shape shape{.scanMode = scanMode};
    DefineDecoder(shape);
    Bytes bytes = BytesOf(Encode(shape, 1));
    bytes.erase(bytes.begin(), bytes.begin() + 8);
    EXPECT_THAT(Refuse(decoder, Wrap(bytes, DescribeProRes(shape))),
                IsError(ErrorCode::Unsupported,
                        Parts{"frames without the 8-byte prefix are not supported"}));
  }
}

TEST_F(Drivers4444, ReportDamagedFrames) {
  DefineDecoder();
  const Bytes frame = BytesOf(Encode({}, 1));
  Bytes bytes(frame.begin(), frame.end() - 1);
  EXPECT_THAT(Refuse(decoder, Wrap(bytes, DescribeProRes({}))),
              IsError(ErrorCode::Truncated, Parts{std::to_string(bytes.size())}));
  bytes = frame;
  bytes.at(8 + frame.at(8) * 256u + frame.at(9)) = 0xff;  // the header of the picture
  decoder.SetCodecHook(std::make_shared<ProResCodecHook>(), 1);
  const VIXError damaged = Refuse(decoder, Wrap(bytes, DescribeProRes({})));
  EXPECT_THAT(damaged, IsError(ErrorCode::Damaged, Parts{"Cannot decode the frame"}));
  ASSERT_TRUE(damaged.GetCodecResult());
  EXPECT_LT(*damaged.GetCodecResult(), 0);
  ExpectPicture(Process(decoder, Encode({}, 2)), {}, 2);
}

TEST_F(Drivers4444, CountDamagedSlicesThroughTheHook) {
  decoder.SetCodecHook(std::make_shared<ProResCodecHook>(), 1);
  DefineDecoder();
  Bytes bytes = BytesOf(Encode({}, 1, SetInt("AlphaBits", 0)));
  std::fill(bytes.end() - 60, bytes.end(), 0xff);
  EXPECT_TRUE(Process(decoder, Wrap(bytes, DescribeProRes({}))));
  ASSERT_TRUE(decoder.GetCodecReport());
  EXPECT_GT(decoder.GetCodecReport()->damagedSlices, 0u);
}

/// The first plug-in's elements beside those for 4444.
class BothPlugins : public Drivers4444 {
 protected:
  static constexpr int kLuma = 120;
  static constexpr int kCb = 100;
  static constexpr int kCr = 150;

  static Stream Describe422(ScanMode scanMode, FourCC fourcc = kFourCC_UYVY) {
    return DescribeRaw({.scanMode = scanMode, .fourcc = fourcc, .chroma = VideoChroma::C422});
  }
  /// Returns a frame of one colour.
  static Container EncodeColour(ScanMode scanMode, ProResCodecVariant variant) {
    Bytes bytes;
    for (int i = 0; i < 64 * 32 / 2; ++i) bytes.insert(bytes.end(), {kCb, kLuma, kCr, kLuma});
    ElementDriver other(ElementFactoryType::VideoEncoder, "vix", kType);
    Configure(other,
              [=](auto& config) { config.SetProResCodecVariant("ProResCodecVariant", variant); });
    other.Define(Describe422(scanMode));
    return Process(other, Wrap(bytes, Describe422(scanMode), 1));
  }

  std::shared_ptr<IPlugin> first = LoadPlugin(VIX_PLUGIN, "tests");
};

TEST_F(BothPlugins, DecodeFramesOf422AsOpaquePictures) {
  for (const ScanMode scanMode : {ScanMode::Progressive, ScanMode::Interlaced}) {
    for (const auto variant : {ProResCodecVariant::Proxy, ProResCodecVariant::LT,
                               ProResCodecVariant::Standard, ProResCodecVariant::HQ}) {
      const Container frame = EncodeColour(scanMode, variant);
      Configure(decoder);
      decoder.Define(Describe(SampleOf(frame)->GetVideoParameters()));
      const Container picture = Process(decoder, frame);
      ASSERT_TRUE(picture);
      const Bytes bytes = BytesOf(picture);
      for (std::size_t pixel = 0; pixel < 64 * 32; ++pixel) {
        const auto component = [&](std::size_t index) {
          return ReadComponent(kFourCC_Y416, bytes, pixel, index);
        };
        ASSERT_EQ(component(0), 65535);
        ASSERT_NEAR(component(1), kLuma * 256, 512);
        ASSERT_NEAR(component(2), kCb * 256, 512);
        ASSERT_NEAR(component(3), kCr * 256, 512);
      }
    }
  }
}

TEST_F(BothPlugins, KeepTheirLimitsApart) {
  ElementDriver oldEncoder(ElementFactoryType::VideoEncoder, "vix", kType);
  Configure(oldEncoder);
  EXPECT_STREQ(ErrorOf([&] { oldEncoder.Define(DescribeRaw({})); }).what(),
               "VideoEncoder.vix.ProRes: Define got the pixel format \"Y416\" (0x36313459); "
               "allowed: \"UYVY\", \"V210\"");
  ElementDriver oldDecoder(ElementFactoryType::VideoDecoder, "vix", kType);
  Configure(oldDecoder);
  oldDecoder.Define(DescribeProRes({}));
  const Container frame = Encode({}, 1);
  ASSERT_EQ(BytesOf(frame).at(11), 1) << "the version of the bitstream";
  EXPECT_THAT(Refuse(oldDecoder, frame),
              IsError(ErrorCode::Unsupported, Parts{"bitstream version 1 is not supported"}));
  DefineDecoder();
  ExpectPicture(Process(decoder, frame), {}, 1);
}

}  // namespace
}  // namespace vix::test4444
