// SPDX-License-Identifier: BSD-2-Clause
// The encoder element without a driver: parameters, descriptions and refusals.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ErrorText.h"
#include "ProRes/ProRes.h"
#include "Streams.h"

namespace vix::test4444 {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;

/// Offset of the flags with chroma format and interlace mode in a frame with prefix.
constexpr std::size_t kFlagsOffset = 20;

class Encoders : public Elements {
 protected:
  /// Returns why a configured encoder refuses a stream.
  std::string RefusalOf(const Stream& stream) {
    SetConfig(*encoder);
    return ErrorTextOf([&] { encoder->DefineInput(stream, ""); });
  }
  std::string RefusalOf(const Container& container) {
    return ErrorTextOf([&] { encoder->PushSample(container); });
  }
  void Define(const Shape& shape = {}) {
    SetConfig(*encoder);
    encoder->DefineInput(DescribeRaw(shape), "");
  }

  std::shared_ptr<IVideoEncoder> encoder = MakeEncoder();
};

TEST_F(Encoders, DeclareTheirParameters) {
  const auto parameters = encoder->GetManifest()->GetPrototype()->GetDescriptions();
  ASSERT_EQ(parameters.size(), 3u);
  EXPECT_EQ(parameters[0].name, "Variant");
  EXPECT_EQ(parameters[0].allowedValues, (std::vector<std::string>{"ap4h", "ap4x"}));
  EXPECT_EQ(parameters[1].name, "AlphaBits");
  EXPECT_EQ(parameters[1].defaultValue, "-1");
  EXPECT_EQ(parameters[2].name, "NumThreads");
  EXPECT_EQ(parameters[2].defaultValue, "0");
  for (const ParameterDescription& parameter : parameters) {
    EXPECT_FALSE(parameter.description.empty()) << parameter.name;
  }
}

TEST_F(Encoders, DescribeTheirOutput) {
  const auto raw = RawParameters({.matrix = 9});
  raw->SetVideoProperty2(2000);
  raw->SetVideoProperty3(3000);
  raw->SetVideoProperty6(6000);
  raw->SetVideoProperty11(11000);
  raw->SetStoredWidth(80);
  raw->SetStoredHeight(48);
  SetConfig(*encoder);
  const Stream input = Describe(raw);
  encoder->DefineInput(input, "");
  EXPECT_EQ(encoder->GetDefinedInput(""), input);
  const auto output = std::dynamic_pointer_cast<const IVideoParameters_ProRes>(
      ParametersOf(encoder->GetDefinedOutput("")));
  ASSERT_TRUE(output);
  EXPECT_EQ(output->GetProResCodecVariant(), ProResCodecVariant{0});
  EXPECT_EQ(output->GetVideoProperty1(), static_cast<std::int32_t>(VideoChroma::C444));
  EXPECT_EQ(output->GetVideoProperty2(), 2000);
  EXPECT_EQ(output->GetVideoProperty3(), 3000);
  EXPECT_EQ(output->GetVideoProperty4(), 9);
  EXPECT_EQ(output->GetVideoProperty6(), 6000);
  EXPECT_EQ(output->GetVideoProperty11(), 11000);
  EXPECT_EQ(output->GetScanMode(), ScanMode::Progressive);
  EXPECT_EQ(output->GetWidth(), 64u);
  EXPECT_EQ(output->GetHeight(), 32u);
  EXPECT_EQ(output->GetStoredWidth(), 80u);
  EXPECT_EQ(output->GetStoredHeight(), 48u);
  EXPECT_EQ(output->GetEditRate(), (EditRate{25, 1}));
}

TEST_F(Encoders, DescribeTheBitRateThatTheColoursAimAt) {
  const auto rate = [&](FourCC variant, EditRate editRate) {
    SetConfig(*encoder, SetFourCC("Variant", variant));
    encoder->DefineInput(DescribeRaw({.width = 1920, .height = 1080, .rate = editRate}), "");
    return ParametersOf(encoder->GetDefinedOutput(""))->GetBitRate();
  };
  for (const auto& [variant, type] :
       {std::pair(kVariant4444, kWPRCodec4444), {kVariant4444XQ, kWPRCodec4444XQ}}) {
    std::uint32_t most = 0;
    std::uint32_t target = 0;
    ASSERT_EQ(WPRGetCompressedFrameSize(type, 1920, 1080, &most, &target), kWPRSuccess);
    EXPECT_DOUBLE_EQ(rate(variant, {25, 1}), target * 8e-6 * 25);
    EXPECT_DOUBLE_EQ(rate(variant, {30000, 1001}), target * 8e-6 * 30000 / 1001);
    EXPECT_EQ(rate(variant, {0, 1}), 0);
    EXPECT_EQ(rate(variant, {25, 0}), 0);
    EXPECT_EQ(rate(variant, {-25, 1}), 0);
  }
}

TEST_F(Encoders, EncodeFramesOf444InTheVariantThatIsSet) {
  const Shape shape{.width = 320, .height = 96};
  const Container noise = Wrap(DrawNoise(shape), DescribeRaw(shape));
  const auto encode = [&](const Set& set) {
    SetConfig(*encoder, set);
    encoder->DefineInput(DescribeRaw(shape), "");
    return BytesOf(Process(*encoder, noise));
  };
  const Bytes plain = encode(kDefaults);
  EXPECT_EQ(plain.at(kFlagsOffset) >> 6, 3) << "4:4:4";
  EXPECT_EQ(encode(SetFourCC("Variant", kVariant4444)), plain);
  EXPECT_GT(encode(SetFourCC("Variant", kVariant4444XQ)).size(), plain.size());
}

TEST_F(Encoders, EncodeTheFieldsOfInterlacedFrames) {
  const Bytes frame = BytesOf(Encode({.scanMode = ScanMode::Interlaced}, 1));
  EXPECT_EQ(frame.at(kFlagsOffset) >> 2 & 3, kWPRTopFieldFirst);
  EXPECT_EQ(BytesOf(Encode({}, 1)).at(kFlagsOffset) >> 2 & 3, kWPRProgressive);
}

TEST_F(Encoders, CarryTimeDescriptionAndMetadata) {
  struct Mark final : IMetadata {};
  Define();
  const auto mark = std::make_shared<Mark>();
  const auto sample =
      SampleOf(Process(*encoder, Wrap(DrawPicture({}, 1), DescribeRaw({}), 7, {mark})));
  EXPECT_EQ(sample->GetTimeLimits(), (std::vector<TimeLimits>{{7, 8, {25, 1}}}));
  EXPECT_EQ(sample->GetMetadata(), (std::vector<std::shared_ptr<const IMetadata>>{mark}));
  EXPECT_EQ(sample->GetVideoInfo(), encoder->GetDefinedOutput("")->GetInfo().front());
  EXPECT_EQ(sample->GetVideoParameters(), ParametersOf(encoder->GetDefinedOutput("")));
  EXPECT_FALSE(encoder->GetSample());
}

TEST_F(Encoders, EncodeFramesOfEitherPixelFormatInOneStream) {
  Define();
  ExpectPicture(Decode(Process(*encoder, MakeRawFrame({}, 1)), {}), {}, 1);
  const Shape rgb{.fourcc = kFourCC_b64A};
  ExpectPicture(
      Decode(Process(*encoder, MakeRawFrame(rgb, 2)), {}, SetFourCC("OutputFourCC", kFourCC_b64A)),
      rgb, 2);
}

TEST_F(Encoders, RefuseParameters) {
  for (const int bits : {-2, 1, 7, 10, 17}) {
    EXPECT_THAT(ErrorTextOf([&] { SetConfig(*encoder, SetInt("AlphaBits", bits)); }),
                AllOf(HasSubstr("AlphaBits is " + std::to_string(bits)),
                      HasSubstr("allowed: -1 (automatic), 0, 8, 16")));
  }
  EXPECT_THAT(ErrorTextOf([&] { SetConfig(*encoder, SetInt("NumThreads", -1)); }),
              HasSubstr("NumThreads is -1"));
  EXPECT_THAT(ErrorTextOf([&] { SetConfig(*encoder, SetFourCC("Variant", MakeFourCC("apch"))); }),
              AllOf(HasSubstr("apch"), HasSubstr("ap4h"), HasSubstr("ap4x")));
  EXPECT_THAT(ErrorTextOf([&] { encoder->SetInitConfig(nullptr); }), HasSubstr("configuration"));
  EXPECT_THAT(ErrorTextOf([&] { encoder->UpdateConfig(nullptr); }), HasSubstr("SetInitConfig"));
}

TEST_F(Encoders, KeepTheirSettingsAfterARefusal) {
  SetConfig(*encoder, SetInt("AlphaBits", 8));
  ErrorTextOf([&] { SetConfig(*encoder, SetInt("AlphaBits", 9)); });
  encoder->DefineInput(DescribeRaw({}), "");
  ErrorTextOf([&] { encoder->DefineInput(DescribeRaw({.width = 1}), ""); });
  ExpectPicture(Decode(Process(*encoder, MakeRawFrame({}, 1)), {}), {}, 1, 8);
}

TEST_F(Encoders, RefuseStreams) {
  EXPECT_THAT(RefusalOf(Stream()), HasSubstr("DefineInput needs a description"));
  EXPECT_THAT(RefusalOf(CreateInfoContainer(nullptr, nullptr)), HasSubstr("0 video streams"));
  EXPECT_THAT(RefusalOf(Describe(nullptr)), HasSubstr("with video parameters"));
  EXPECT_THAT(RefusalOf(DescribeProRes({})),
              AllOf(HasSubstr("ProRes video"), HasSubstr("allowed: Raw")));
  EXPECT_THAT(RefusalOf(DescribeRaw({.fourcc = kFourCC_V210})),
              AllOf(HasSubstr("\"V210\""), HasSubstr(R"(allowed: "Y416", "b64A")")));
  EXPECT_THAT(RefusalOf(DescribeRaw({.fourcc = 1})), HasSubstr("\"....\""));
  EXPECT_THAT(RefusalOf(DescribeRaw({.scanMode = ScanMode{0}})),
              AllOf(HasSubstr("scan mode is 0"), HasSubstr("1 (interlaced")));
  EXPECT_THAT(RefusalOf(DescribeRaw({.matrix = 256})),
              AllOf(HasSubstr("are 256"), HasSubstr("0 to 255")));
  EXPECT_THAT(RefusalOf(DescribeRaw({.matrix = -1})), HasSubstr("are -1"));
  for (const Shape& shape : {Shape{.width = 1}, Shape{.height = 0}, Shape{.width = 65536}}) {
    const std::string size = std::to_string(shape.width) + 'x' + std::to_string(shape.height);
    EXPECT_THAT(RefusalOf(DescribeRaw(shape)),
                AllOf(HasSubstr(size), HasSubstr("2x2 to 65535x65535")));
  }
  EXPECT_THAT(RefusalOf(DescribeRaw({.width = 65535, .height = 65535})), HasSubstr("4 GiB"));
  EXPECT_FALSE(encoder->GetDefinedOutput(""));
}

TEST_F(Encoders, RefuseFrames) {
  Define();
  EXPECT_THAT(RefusalOf(Container()), HasSubstr("needs a container"));
  EXPECT_THAT(RefusalOf(CreateSampleContainer(nullptr, nullptr)), HasSubstr("0 video samples"));
  Bytes bytes = DrawPicture({}, 1);
  EXPECT_THAT(RefusalOf(Wrap(bytes, DescribeProRes({}))), HasSubstr("description of raw video"));
  EXPECT_THAT(RefusalOf(Wrap(bytes, Describe(nullptr))), HasSubstr("description of raw video"));
  bytes.pop_back();
  EXPECT_THAT(RefusalOf(Wrap(bytes, DescribeRaw({}))),
              AllOf(HasSubstr("16383 bytes"), HasSubstr("requires 16384")));
  EXPECT_THAT(RefusalOf(MakeRawFrame({.width = 66}, 1)),
              AllOf(HasSubstr("66x32"), HasSubstr("stream of 64x32")));
  EXPECT_THAT(RefusalOf(MakeRawFrame({.scanMode = ScanMode::Interlaced}, 1)),
              AllOf(HasSubstr("interlaced in"), HasSubstr("progressive")));
  EXPECT_THAT(RefusalOf(MakeRawFrame({.matrix = 999}, 1)), HasSubstr("are 999"));
  EXPECT_THAT(RefusalOf(Wrap(DrawPicture({}, 1), DescribeRaw({.fourcc = kFourCC_UYVY}))),
              HasSubstr("\"UYVY\""));
  const auto info = DescribeRaw({})->GetInfo().front();
  EXPECT_THAT(RefusalOf(CreateSampleContainer(
                  CreateVideoSample(info->GetVideoParameters(), info, nullptr, {}, {}), nullptr)),
              HasSubstr("A frame of 0 bytes"));
  ExpectPicture(Decode(Process(*encoder, MakeRawFrame({}, 2)), {}), {}, 2);
}

TEST_F(Encoders, RefuseCallsOutOfOrder) {
  EXPECT_THAT(ErrorTextOf([&] { encoder->DefineInput(DescribeRaw({}), ""); }),
              HasSubstr("before SetInitConfig"));
  EXPECT_THAT(RefusalOf(MakeRawFrame({}, 1)), HasSubstr("before DefineInput"));
}

TEST_F(Encoders, EncodeAgainAfterRelease) {
  Define();
  const Bytes first = BytesOf(Process(*encoder, MakeRawFrame({}, 1)));
  encoder->PushSample(MakeRawFrame({}, 2));
  encoder->ClearInternalBuffer();
  EXPECT_FALSE(encoder->GetSample());
  encoder->Release();
  encoder->Release();
  EXPECT_EQ(BytesOf(Process(*encoder, MakeRawFrame({}, 1))), first);
}

}  // namespace
}  // namespace vix::test4444
