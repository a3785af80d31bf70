// SPDX-License-Identifier: BSD-2-Clause
#include <stdexcept>

#include "EncoderTest.h"

namespace {

using fake::TheCodec;
using fake::TheHost;

class EncoderPushSampleTest : public EncoderTest {
 protected:
  EncoderPushSampleTest() { Define(); }
};

TEST_F(EncoderPushSampleTest, EncodesTheFirstFrameCallByCall) {
  TheHost().spareBytes = 24;
  encoder->PushSample(MakeFrame());
  EXPECT_EQ(TheHost().TakeCalls(),
            (CallList{"container.GetVideoSamples(null, null)",
                      "sample.GetVideoParameters()",
                      "raw.GetWidth()",
                      "raw.GetHeight()",
                      "initConfig.GetInt(NumThreads)",
                      "WPROpenEncoder(0, null)",
                      "initConfig.GetProResCodecVariant(ProResCodecVariant)",
                      "raw.GetScanMode()",
                      "WPRGetCompressedFrameSize(apcn, 1920, 1080, 0, 0)",
                      "raw.GetFourCC()",
                      "GetStrides(raw)",
                      "sample.GetBuffer()",
                      "pixels.GetData()",
                      "CreateBuffer(recycler1, null)",
                      "buffer1.Allocate(5000)",
                      "buffer1.GetData()",
                      "buffer1.GetSize()",
                      "WPREncodeFrame(handle1, apcn, 0, v210, 1920, 1080, 5120, 5024, 0)",
                      "buffer1.SetSize(7)",
                      "outputInfos1.GetInfo()",
                      "outputInfo.GetVideoParameters()",
                      "sample.GetTimeLimits()",
                      "CreateVideoSample(output, outputInfo, buffer1, 2, 0)",
                      "CreateSampleContainer(newSample1, null)"}));
}

TEST_F(EncoderPushSampleTest, LaterFramesReuseTheEncoder) {
  encoder->PushSample(MakeFrame());
  TheHost().calls.clear();
  encoder->PushSample(MakeFrame());
  EXPECT_EQ(TheHost().CountCalls("WPROpenEncoder"), 0U);
  EXPECT_EQ(TheHost().CountCalls("initConfig.GetInt"), 0U);
  EXPECT_EQ(TheHost().CountCalls("initConfig.GetProResCodecVariant"), 1U);
  EXPECT_EQ(TheCodec().encoded.size(), 2U);
}

TEST_F(EncoderPushSampleTest, TheLibraryGetsTheConfiguredThreadCount) {
  for (const int threads : {0, 4, -1}) {
    const auto element = vix::CreateVideoEncoderProRes(nullptr);
    initConfig->numbers["NumThreads"] = threads;
    element->SetInitConfig(initConfig);
    EXPECT_ANY_THROW(element->PushSample(MakeFrame(vix::MakeFourCC("NV12"))));
    EXPECT_EQ(TheHost().CountCalls("WPROpenEncoder(" + std::to_string(threads) + ", null)"), 1U);
  }
}

TEST_F(EncoderPushSampleTest, TheLibraryReadsThePixelsInPlace) {
  const auto frame = MakeFrame();
  encoder->PushSample(frame);
  const auto& pixels = dynamic_cast<const fake::Buffer&>(
      *dynamic_cast<const fake::VideoSample&>(*frame->samples.front()).buffer);
  const fake::EncodeCall& call = TheCodec().encoded.at(0);
  EXPECT_EQ(call.source.baseAddress, pixels.memory.get());
  EXPECT_EQ(call.source.pixelFormat, 0x76323130U);
  EXPECT_EQ(call.source.width, 1920U);
  EXPECT_EQ(call.source.height, 1080U);
  EXPECT_EQ(call.source.rowBytes, 5120U);
  EXPECT_EQ(call.params.codecType, 0x6170636EU);
  EXPECT_EQ(call.params.interlaceMode, 0U);
}

TEST_F(EncoderPushSampleTest, OnlyTheFirstStrideIsUsed) {
  TheHost().strides = {6000, 77};
  encoder->PushSample(MakeFrame());
  EXPECT_EQ(TheCodec().encoded.at(0).source.rowBytes, 6000U);
}

TEST_F(EncoderPushSampleTest, TheLibraryWritesIntoTheSamplesBuffer) {
  encoder->PushSample(MakeFrame());
  const auto sample = OnlySample(encoder->GetSample());
  const auto& buffer = dynamic_cast<const fake::Buffer&>(*sample->buffer);
  EXPECT_EQ(TheCodec().encoded.at(0).destination, buffer.memory.get());
  EXPECT_EQ(buffer.Contents(), TheCodec().compressed);
}

TEST_F(EncoderPushSampleTest, AnInterlacedUyvyFrame) {
  encoder->PushSample(MakeFrame(vix::kFourCC_UYVY, vix::ScanMode::Interlaced));
  const fake::EncodeCall& call = TheCodec().encoded.at(0);
  EXPECT_EQ(call.source.pixelFormat, 0x32767579U);
  EXPECT_EQ(call.params.interlaceMode, 1U);
  EXPECT_EQ(call.source.height, 1080U);
}

TEST_F(EncoderPushSampleTest, EveryVariantReachesTheLibrary) {
  const std::vector<std::uint32_t> codecTypes{kWPRCodecProxy, kWPRCodecLT, kWPRCodec422,
                                              kWPRCodecHQ};
  for (std::size_t i = 0; i < codecTypes.size(); ++i) {
    initConfig->numbers["ProResCodecVariant"] = static_cast<int>(i) + 1;
    encoder->PushSample(MakeFrame());
    EXPECT_EQ(TheCodec().encoded.at(i).params.codecType, codecTypes[i]);
  }
}

TEST_F(EncoderPushSampleTest, AFrameOfAnotherSizeIsEncodedAtItsSize) {
  encoder->PushSample(MakeFrame(vix::kFourCC_UYVY, vix::ScanMode::Progressive, 720, 576));
  EXPECT_EQ(TheHost().CountCalls("WPRGetCompressedFrameSize(apcn, 720, 576, 0, 0)"), 1U);
  EXPECT_EQ(TheCodec().encoded.at(0).source.width, 720U);
  EXPECT_EQ(TheCodec().encoded.at(0).source.height, 576U);
  EXPECT_EQ(TheCodec().encoded.at(0).source.rowBytes, 1440U);
  const auto defined = OnlyInfo(encoder->GetDefinedOutput(""));
  const auto sample = OnlySample(encoder->GetSample());
  EXPECT_EQ(sample->parameters, defined->parameters);
  EXPECT_EQ(sample->info, defined);
}

TEST_F(EncoderPushSampleTest, TimeLimitsAreCopiedAndMetadataAreNot) {
  encoder->PushSample(MakeFrame());
  const auto sample = OnlySample(encoder->GetSample());
  EXPECT_EQ(sample->timeLimits, kTimeLimits);
  EXPECT_TRUE(sample->metadata.empty());
}

TEST_F(EncoderPushSampleTest, ExactlyOneSampleIsAccepted) {
  for (const std::size_t count : {0U, 2U, 3U}) {
    ExpectReport(
        [&] {
          encoder->PushSample(
              MakeFrame(vix::kFourCC_V210, vix::ScanMode::Progressive, 1920, 1080, count));
        },
        "[only one input allowed] [ value1 (1) is not == value2 (" + std::to_string(count) + ") ]",
        "VideoEncoderProRes");
  }
  EXPECT_EQ(TheHost().CountCalls("WPR"), 0U);
}

TEST_F(EncoderPushSampleTest, CompressedOrUndescribedSamplesAreRejected) {
  for (const std::shared_ptr<fake::ProResParameters>& parameters :
       {std::make_shared<fake::ProResParameters>("compressed"),
        std::shared_ptr<fake::ProResParameters>()}) {
    ExpectReport([&] { encoder->PushSample(MakeContainer(parameters, nullptr)); },
                 "[Invalid video codec family] [ Pointer is null ]", "VideoEncoderProRes");
  }
  EXPECT_EQ(TheHost().CountCalls("WPR"), 0U);
}

TEST_F(EncoderPushSampleTest, AFailedOpeningIsTriedAgainWithTheNextFrame) {
  TheCodec().openFailures = 1;
  ExpectReport([&] { encoder->PushSample(MakeFrame()); },
               "[WPROpenEncoder failed] [ Pointer is null ]", "VideoEncoderProRes");
  EXPECT_EQ(TheHost().CountCalls("initConfig.GetProResCodecVariant"), 0U);
  EXPECT_EQ(encoder->GetSample(), nullptr);
  encoder->PushSample(MakeFrame());
  EXPECT_NE(encoder->GetSample(), nullptr);
  EXPECT_EQ(TheHost().CountCalls("WPROpenEncoder"), 2U);
}

TEST_F(EncoderPushSampleTest, UnknownVariantsThrowPlainErrors) {
  for (const int variant : {0, 5}) {
    initConfig->numbers["ProResCodecVariant"] = variant;
    ExpectPlainError([&] { encoder->PushSample(MakeFrame()); },
                     "Failed to convert prores codec variant to apple prores code type");
  }
  EXPECT_EQ(TheHost().CountCalls("WPRGetCompressedFrameSize"), 0U);
  EXPECT_EQ(TheHost().CountCalls("raw.GetScanMode"), 0U);
}

TEST_F(EncoderPushSampleTest, UnknownScanModesThrowPlainErrors) {
  ExpectPlainError([&] { encoder->PushSample(MakeFrame(vix::kFourCC_V210, vix::ScanMode{0})); },
                   "Failed to convert ScanMode to apple interlace mode");
  EXPECT_EQ(TheHost().CountCalls("WPRGetCompressedFrameSize"), 0U);
}

TEST_F(EncoderPushSampleTest, AnUnsupportedFourCCOnTheFirstFrameLeavesTheEncoderOpen) {
  ExpectReport([&] { encoder->PushSample(MakeFrame(vix::MakeFourCC("NV12"))); },
               "Unsupported fourcc", "VideoCodecProResCommon");
  EXPECT_EQ(TheHost().CountCalls("WPROpenEncoder"), 1U);
  EXPECT_EQ(TheHost().CountCalls("GetStrides"), 0U);
  encoder->PushSample(MakeFrame());
  EXPECT_EQ(TheHost().CountCalls("WPROpenEncoder"), 1U);
  encoder = nullptr;
  EXPECT_EQ(TheHost().CountCalls("WPRCloseEncoder"), 1U);
}

TEST_F(EncoderPushSampleTest, EveryNonZeroResultIsAFailure) {
  for (const int result : {-1, 1, -1234567}) {
    TheCodec().encodeResult = result;
    ExpectReport([&] { encoder->PushSample(MakeFrame()); },
                 "[Failed to encode prores frame] [ value1 (0) is not == value2 (" +
                     std::to_string(result) + ") ]",
                 "VideoEncoderProRes");
  }
  EXPECT_EQ(TheHost().CountCalls("buffer1.SetSize"), 0U);
  EXPECT_EQ(TheHost().CountCalls("CreateVideoSample"), 0U);
}

TEST_F(EncoderPushSampleTest, AZeroBoundIsNotChecked) {
  TheCodec().maxBytes = 0;
  TheCodec().encodeResult = kWPRDestinationTooSmall;
  ExpectReport([&] { encoder->PushSample(MakeFrame()); },
               "[Failed to encode prores frame] [ value1 (0) is not == value2 (-5) ]",
               "VideoEncoderProRes");
  EXPECT_EQ(TheHost().CountCalls("buffer1.Allocate(0)"), 1U);
}

TEST_F(EncoderPushSampleTest, AFailingFrameKeepsTheWaitingSampleAndReleasesItsBuffer) {
  encoder->PushSample(MakeFrame());
  TheCodec().encodeResult = -1;
  TheHost().noteReleases = true;
  EXPECT_THROW(encoder->PushSample(MakeFrame()), vix::VIXRuntimeError);
  EXPECT_EQ(TheHost().CountCalls("~buffer2"), 1U);
  EXPECT_EQ(fake::NameOf(encoder->GetSample()), "newContainer1");
  TheCodec().encodeResult = 0;
  encoder->PushSample(MakeFrame());
  EXPECT_EQ(fake::NameOf(encoder->GetSample()), "newContainer2");
}

TEST_F(EncoderPushSampleTest, TheEarlierOfTwoFaultsIsReported) {
  initConfig->numbers["ProResCodecVariant"] = 0;
  ExpectPlainError(
      [&] { encoder->PushSample(MakeFrame(vix::MakeFourCC("NV12"), vix::ScanMode{7})); },
      "Failed to convert prores codec variant to apple prores code type");
  initConfig->numbers["ProResCodecVariant"] = 3;
  ExpectPlainError(
      [&] { encoder->PushSample(MakeFrame(vix::MakeFourCC("NV12"), vix::ScanMode{7})); },
      "Failed to convert ScanMode to apple interlace mode");
}

TEST_F(EncoderPushSampleTest, FailuresOfTheHostPassThroughAndKeepTheWaitingSample) {
  encoder->PushSample(MakeFrame());
  for (const char* const function :
       {"container.GetVideoSamples", "raw.GetWidth", "GetStrides", "CreateBuffer",
        "CreateVideoSample", "CreateSampleContainer"}) {
    TheHost().hooks = {{function, [] { throw std::domain_error("host"); }}};
    EXPECT_THROW(encoder->PushSample(MakeFrame()), std::domain_error) << function;
  }
  EXPECT_EQ(fake::NameOf(encoder->GetSample()), "newContainer1");
}

TEST_F(EncoderPushSampleTest, ASampleWithoutABufferReachesTheLibraryAsNoPicture) {
  const auto container = MakeFrame();
  const auto sample = std::make_shared<fake::VideoSample>("sample");
  sample->parameters = container->samples.front()->GetVideoParameters();
  TheCodec().encodeResult = kWPRBadArgument;
  EXPECT_THROW(encoder->PushSample(std::make_shared<fake::SampleContainer>(
                   "container", std::vector<std::shared_ptr<const vix::IVideoSample>>{sample})),
               vix::VIXRuntimeError);
  EXPECT_EQ(TheCodec().encoded.at(0).source.baseAddress, nullptr);
}

}  // namespace
