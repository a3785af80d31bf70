// SPDX-License-Identifier: BSD-2-Clause
#include <stdexcept>

#include "DecoderTest.h"

namespace {

using fake::TheCodec;
using fake::TheHost;

const std::string kUyvy = fake::Join(vix::kFourCC_UYVY);

class DecoderPushSampleTest : public DecoderTest {
 protected:
  void DefineUyvy() {
    initConfig->fourccs["OutputFourCC"] = vix::kFourCC_UYVY;
    Define();
  }
};

// Standard layout

TEST_F(DecoderPushSampleTest, DecodesTheFirstFrameCallByCall) {
  Define();
  TheHost().spareBytes = 64;
  Push(FrameShape{});
  EXPECT_EQ(TheHost().TakeCalls(),
            (CallList{"container.GetVideoSamples(null, null)",
                      "outputInfos1.GetInfo()",
                      "outputInfo.GetVideoParameters()",
                      "output.GetFourCC()",
                      "sample.GetBuffer()",
                      "input.GetData()",
                      "input.GetSize()",
                      "input.GetData()",
                      "input.GetSize()",
                      "CreateBuffer(recycler2, null)",
                      "GetFrameBytes(" + kV210 + ", 2, 1920, 1080)",
                      "buffer2.Allocate(5529600)",
                      "buffer2.GetSize()",
                      "buffer2.SetSize(5529664)",
                      "WPROpenDecoder(0, null)",
                      "GetStrides(" + kV210 + ", 2, 1920, 1080)",
                      "buffer2.GetData()",
                      "WPRDecodeFrame(handle1, 1000, v210, 1920, 1080, 5120, 0)",
                      "outputInfo.GetVideoParameters()",
                      "sample.GetTimeLimits()",
                      "CreateVideoSample(output, outputInfo, buffer2, 2, 0)",
                      "CreateSampleContainer(newSample1, null)"}));
}

TEST_F(DecoderPushSampleTest, LaterFramesReuseTheDecoderAndItsGeometry) {
  Define();
  Push(FrameShape{});
  TheHost().calls.clear();
  Push(FrameShape{});
  EXPECT_EQ(TheHost().CountCalls("WPROpenDecoder"), 0U);
  EXPECT_EQ(TheHost().CountCalls("GetStrides"), 0U);
  EXPECT_EQ(TheHost().CountCalls("WPRDecodeFrame(handle1, 1000, v210, 1920, 1080, 5120, 0)"), 1U);
}

TEST_F(DecoderPushSampleTest, TheFrameIsDecodedInPlaceIntoTheSamplesBuffer) {
  Define();
  const auto input = MakeInput(MakeCompressedFrame({}));
  decoder->PushSample(MakeContainer(nullptr, input));
  const auto sample = OnlySample(decoder->GetSample());
  const auto& buffer = dynamic_cast<const fake::Buffer&>(*sample->buffer);
  EXPECT_EQ(LastDecoded().frame, input->memory.get());
  EXPECT_EQ(LastDecoded().frameBytes, 1000U);
  EXPECT_EQ(LastDecoded().destination.baseAddress, buffer.memory.get());
}

TEST_F(DecoderPushSampleTest, SamplesCarryTheDefinedOutputAndTheInputsTimeLimits) {
  Define();
  Push(FrameShape{.width = 720, .height = 576});
  const auto container = decoder->GetSample();
  const auto sample = OnlySample(container);
  const auto defined = OnlyInfo(decoder->GetDefinedOutput(""));
  EXPECT_EQ(sample->parameters, defined->parameters);
  EXPECT_EQ(sample->info, defined);
  EXPECT_EQ(sample->timeLimits, kTimeLimits);
  EXPECT_TRUE(sample->metadata.empty());
}

TEST_F(DecoderPushSampleTest, TheOutputFourCCChoosesThePixelFormat) {
  DefineUyvy();
  TheHost().strides = {3856, 12};
  Push(FrameShape{});
  EXPECT_EQ(LastDecoded().destination.pixelFormat, 0x32767579U);
  EXPECT_EQ(LastDecoded().destination.rowBytes, 3856U);
  EXPECT_EQ(TheHost().CountCalls("GetStrides(" + kUyvy + ", 2, 1920, 1080)"), 1U);
  TheHost().strides.clear();
  const auto other = vix::CreateVideoDecoderProRes(nullptr);
  initConfig->fourccs["OutputFourCC"] = vix::kFourCC_V210;
  other->SetInitConfig(initConfig);
  other->DefineInput(MakeStream(parameters), "");
  other->PushSample(MakeContainer(nullptr, MakeInput(MakeCompressedFrame({}))));
  EXPECT_EQ(LastDecoded().destination.pixelFormat, 0x76323130U);
  EXPECT_EQ(LastDecoded().destination.rowBytes, 5120U);
}

TEST_F(DecoderPushSampleTest, TheChromaCodeIsPassedUnchanged) {
  Define();
  Push(FrameShape{.chromaFormat = 3});
  EXPECT_EQ(TheHost().CountCalls("GetFrameBytes(" + kV210 + ", 3, 1920, 1080)"), 1U);
  EXPECT_EQ(TheHost().CountCalls("GetStrides(" + kV210 + ", 3, 1920, 1080)"), 1U);
}

TEST_F(DecoderPushSampleTest, AnInterlacedStandardFrameIsDecodedWhole) {
  Define();
  Push(FrameShape{.interlaceMode = 1});
  EXPECT_EQ(LastDecoded().destination.height, 1080U);
  EXPECT_EQ(LastDecoded().fieldFlag, 0);
}

TEST_F(DecoderPushSampleTest, SkippingFieldsDecodesInterlacedFramesAtHalfHeight) {
  DefineSkippingFields();
  Push(FrameShape{.height = 1081, .interlaceMode = 2});
  EXPECT_EQ(TheHost().CountCalls("GetFrameBytes(" + kV210 + ", 2, 1920, 540)"), 1U);
  EXPECT_EQ(LastDecoded().destination.height, 540U);
  EXPECT_EQ(LastDecoded().fieldFlag, 1);
}

TEST_F(DecoderPushSampleTest, SkippingFieldsLeavesProgressiveFramesWhole) {
  DefineSkippingFields();
  Push(FrameShape{});
  EXPECT_EQ(LastDecoded().destination.height, 1080U);
  EXPECT_EQ(LastDecoded().fieldFlag, 0);
}

TEST_F(DecoderPushSampleTest, APictureSizeBeyondTheFrameIsLeftToTheLibrary) {
  Define();
  Push(FrameShape{.pictureSize = 0xFFFFFFFF});
  EXPECT_NE(decoder->GetSample(), nullptr);
}

TEST_F(DecoderPushSampleTest, DamagedSlicesAreNotAFailure) {
  Define();
  TheCodec().decodeResult = 3;
  Push(FrameShape{});
  EXPECT_NE(decoder->GetSample(), nullptr);
}

TEST_F(DecoderPushSampleTest, AWaitingSampleIsReplacedAndItsOwnerKeepsItsBuffer) {
  Define();
  Push(FrameShape{});
  TheHost().noteReleases = true;
  Push(FrameShape{});
  EXPECT_EQ(TheHost().CountCalls("~newContainer1"), 1U);
  EXPECT_EQ(TheHost().CountCalls("~buffer2"), 1U);
  const auto held = decoder->GetSample();
  Push(FrameShape{});
  EXPECT_EQ(TheHost().CountCalls("~buffer3"), 0U);
  EXPECT_EQ(fake::NameOf(OnlySample(held)->buffer), "buffer3");
}

// Failures

TEST_F(DecoderPushSampleTest, ExactlyOneSampleIsAccepted) {
  Define();
  for (const std::size_t count : {0U, 2U}) {
    ExpectReport(
        [&] {
          decoder->PushSample(MakeContainer(nullptr, MakeInput(MakeCompressedFrame({})), count));
        },
        "[Unsupported number of video samples] [ value1 (" + std::to_string(count) +
            ") is not == value2 (1) ]",
        "VideoDecoderProRes");
  }
  EXPECT_EQ(TheHost().CountCalls("sample.GetBuffer"), 0U);
  EXPECT_EQ(TheHost().CountCalls("outputInfos1.GetInfo"), 2U);
  EXPECT_EQ(TheHost().CountCalls("WPR"), 0U);
}

TEST_F(DecoderPushSampleTest, UnreadableFramesAreReportedAsMinusOne) {
  Define();
  ExpectResult(-1, FrameShape{.chromaFormat = 1});
  ExpectResult(-1, FrameShape{.bitstreamVersion = 1});
  ExpectResult(-1, FrameShape{.bare = true, .interlaceMode = 3});
  ExpectResult(-1, std::vector<std::uint8_t>{});
  const auto frame = MakeCompressedFrame({});
  ExpectResult(-1, std::vector<std::uint8_t>(frame.begin(), frame.begin() + 160));
  EXPECT_EQ(TheHost().CountCalls("CreateBuffer"), 0U);
}

TEST_F(DecoderPushSampleTest, InputWithoutMemoryIsUnreadable) {
  Define();
  ExpectReport(
      [&] { decoder->PushSample(MakeContainer(nullptr, std::make_shared<fake::Buffer>("input"))); },
      "[Failed to decode frame] [ value1 (0) is not == value2 (-1) ]", "VideoDecoderProRes");
}

TEST_F(DecoderPushSampleTest, ASampleWithoutABufferIsReportedAsMinusTwo) {
  Define();
  ExpectReport([&] { decoder->PushSample(MakeContainer(nullptr, nullptr)); },
               "[Failed to decode frame] [ value1 (0) is not == value2 (-2) ]",
               "VideoDecoderProRes");
}

TEST_F(DecoderPushSampleTest, StandardDecodingReportsMissingMemoryBeforeAnUnreadableHeader) {
  Define();
  auto& element = dynamic_cast<vix::VideoDecoderProRes&>(*decoder);
  EXPECT_EQ(element.DecodeStdProRes(std::make_shared<fake::Buffer>("input"), vix::kFourCC_V210),
            -2);
  EXPECT_EQ(element.DecodeStdProRes(MakeInput(MakeCompressedFrame({.bitstreamVersion = 1})),
                                    vix::kFourCC_V210),
            -1);
  EXPECT_EQ(TheHost().CountCalls("CreateBuffer"), 0U);
}

TEST_F(DecoderPushSampleTest, AFailedOpeningIsReportedAsMinusThreeAndTriedAgain) {
  Define();
  TheCodec().openFailures = 1;
  ExpectResult(-3, FrameShape{});
  EXPECT_EQ(TheHost().CountCalls("WPRDecodeFrame"), 0U);
  Push(FrameShape{});
  EXPECT_EQ(TheHost().CountCalls("WPROpenDecoder"), 2U);
  EXPECT_NE(decoder->GetSample(), nullptr);
}

TEST_F(DecoderPushSampleTest, EveryNegativeResultIsReportedAsMinusFive) {
  Define();
  for (const int result : {-1, -4, -1000000}) {
    TheCodec().decodeResult = result;
    ExpectResult(-5, FrameShape{});
  }
  EXPECT_EQ(TheHost().CountCalls("WPROpenDecoder"), 1U);
}

TEST_F(DecoderPushSampleTest, AFailingFrameKeepsTheWaitingSampleAndTheOpenDecoder) {
  Define();
  Push(FrameShape{});
  TheCodec().decodeResult = -1;
  ExpectResult(-5, FrameShape{});
  ExpectResult(-1, FrameShape{.chromaFormat = 0});
  EXPECT_EQ(fake::NameOf(decoder->GetSample()), "newContainer1");
  TheCodec().decodeResult = 0;
  Push(FrameShape{});
  EXPECT_EQ(TheHost().CountCalls("WPROpenDecoder"), 1U);
}

TEST_F(DecoderPushSampleTest, AnUnsupportedFourCCLeavesTheDecoderOpenWithoutGeometry) {
  initConfig->fourccs["OutputFourCC"] = vix::MakeFourCC("NV12");
  Define();
  ExpectReport([&] { Push(FrameShape{}); }, "Unsupported fourcc", "VideoCodecProResCommon");
  EXPECT_EQ(TheHost().CountCalls("WPROpenDecoder"), 1U);
  EXPECT_EQ(TheHost().CountCalls("GetStrides"), 0U);
  EXPECT_EQ(TheHost().CountCalls("WPRDecodeFrame"), 0U);
  Push(FrameShape{});
  EXPECT_EQ(TheHost().CountCalls("WPROpenDecoder"), 1U);
  EXPECT_EQ(LastDecoded().destination.pixelFormat, 0U);
  EXPECT_EQ(LastDecoded().destination.width, 0U);
  EXPECT_EQ(LastDecoded().destination.height, 0U);
  EXPECT_EQ(LastDecoded().destination.rowBytes, 0U);
  EXPECT_NE(LastDecoded().destination.baseAddress, nullptr);
  decoder = nullptr;
  EXPECT_EQ(TheHost().CountCalls("WPRCloseDecoder(handle1)"), 1U);
}

TEST_F(DecoderPushSampleTest, AReopenedDecoderKeepsNoFormerGeometry) {
  Define();
  Push(FrameShape{});
  decoder->Release();
  initConfig->fourccs["OutputFourCC"] = vix::MakeFourCC("NV12");
  Define();
  EXPECT_THROW(Push(FrameShape{}), vix::VIXRuntimeError);
  Push(FrameShape{});
  EXPECT_EQ(LastDecoded().destination.pixelFormat, 0U);
  EXPECT_EQ(LastDecoded().destination.width, 0U);
  EXPECT_EQ(LastDecoded().destination.height, 0U);
  EXPECT_EQ(LastDecoded().destination.rowBytes, 0U);
}

TEST_F(DecoderPushSampleTest, FailuresOfTheHostPassThroughAndKeepTheWaitingSample) {
  Define();
  Push(FrameShape{});
  for (const char* const function :
       {"container.GetVideoSamples", "outputInfos1.GetInfo", "CreateBuffer", "GetFrameBytes",
        "CreateVideoSample", "CreateSampleContainer"}) {
    TheHost().hooks = {{function, [] { throw std::domain_error("host"); }}};
    EXPECT_THROW(Push(FrameShape{}), std::domain_error) << function;
  }
  EXPECT_EQ(fake::NameOf(decoder->GetSample()), "newContainer1");
}

}  // namespace
