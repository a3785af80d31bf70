// SPDX-License-Identifier: BSD-2-Clause
#include <stdexcept>

#include "DecoderTest.h"

namespace {

using fake::TheHost;

class DecoderDefineInputTest : public DecoderTest {
 protected:
  void DefineParameters() { decoder->DefineInput(MakeStream(parameters), ""); }

  /// Returns the properties of the output for the input parameters.
  fake::Properties Output() {
    DefineParameters();
    return dynamic_cast<const fake::RawParameters&>(
               *OnlyInfo(decoder->GetDefinedOutput(""))->parameters)
        .values;
  }
};

TEST_F(DecoderDefineInputTest, DescribesTheRawStreamCallByCall) {
  decoder->SetInitConfig(initConfig);
  TheHost().calls.clear();
  const auto stream = MakeStream(parameters);
  decoder->DefineInput(stream, "any name");
  CallList expected{"infos.GetInfo()", "info.GetVideoParameters()", "input.GetCodecFamily()",
                    "CreateVideoParameters(1)", "info.GetVideoParameters()"};
  for (const std::string& call : CopyCalls(parameters->values)) expected.push_back(call);
  for (const std::string& call :
       CallList{"output.SetFourCC(" + kV210 + ")", "output.SetVideoProperty6(2)",
                "output.SetVideoProperty1(2)", "output.GetStoredHeight()",
                "output.GetVideoProperty11()", "info.GetChannelInfo()",
                "CreateVideoInfo(output, channel, 0, 0)", "CreateInfoContainer(outputInfo, null)"})
    expected.push_back(call);
  EXPECT_EQ(TheHost().TakeCalls(), expected);
  EXPECT_EQ(decoder->GetDefinedInput(""), stream);
}

TEST_F(DecoderDefineInputTest, DescribesSingleFieldsCallByCall) {
  initConfig->numbers["SkipField"] = 1;
  decoder->SetInitConfig(initConfig);
  parameters->values.scanMode = vix::ScanMode::Interlaced;
  parameters->values.storedHeight = 1088;
  parameters->values.property11 = 2;
  TheHost().calls.clear();
  DefineParameters();
  const CallList calls = TheHost().TakeCalls();
  const CallList tail(calls.end() - 14, calls.end());
  EXPECT_EQ(tail,
            (CallList{"output.SetVideoProperty6(2)", "output.SetVideoProperty1(2)",
                      "output.GetStoredHeight()", "output.SetStoredHeight(1080)",
                      "output.GetVideoProperty11()", "output.SetVideoProperty11(1)",
                      "output.GetScanMode()", "output.GetStoredHeight()",
                      "output.SetStoredHeight(540)", "info.GetChannelInfo()", "channel.GetTrack()",
                      "CreateChannelInfo(track, 0)", "CreateVideoInfo(output, newChannel, 0, 0)",
                      "CreateInfoContainer(outputInfo, null)"}));
}

TEST_F(DecoderDefineInputTest, OutputHasTheInputsPropertiesExceptForcedOnes) {
  decoder->SetInitConfig(initConfig);
  fake::Properties expected = parameters->values;
  expected.property1 = 2;
  expected.property6 = 2;
  expected.variant = {};
  expected.fourcc = vix::kFourCC_V210;
  EXPECT_EQ(Output(), expected);
  EXPECT_EQ(fake::NameOf(OnlyInfo(decoder->GetDefinedOutput(""))->channel), "channel");
}

TEST_F(DecoderDefineInputTest, TheOutputHasTheConfiguredFourCC) {
  initConfig->fourccs["OutputFourCC"] = vix::kFourCC_UYVY;
  decoder->SetInitConfig(initConfig);
  const fake::Properties output = Output();
  EXPECT_EQ(output.fourcc, vix::kFourCC_UYVY);
  EXPECT_EQ(output.property1, 2);
  EXPECT_EQ(output.property6, 2);
}

TEST_F(DecoderDefineInputTest, StoredHeight1088Becomes1080) {
  decoder->SetInitConfig(initConfig);
  for (const auto& [input, output] : std::vector<std::pair<std::uint32_t, std::uint32_t>>{
           {1088, 1080}, {1080, 1080}, {1087, 1087}, {544, 544}, {0, 0}}) {
    parameters->values.storedHeight = input;
    parameters->values.height = 1088;
    EXPECT_EQ(Output().storedHeight, output);
    EXPECT_EQ(Output().height, 1088U);
  }
}

TEST_F(DecoderDefineInputTest, SkippingFieldsHalvesTheStoredHeightOfInterlacedInputOnly) {
  initConfig->numbers["SkipField"] = 1;
  decoder->SetInitConfig(initConfig);
  struct Case {
    std::uint32_t input;
    int scanMode;
    std::uint32_t output;
    std::string channel;
  };
  for (const Case& c : std::vector<Case>{{1088, 1, 540, "newChannel"},
                                         {1080, 1, 540, "newChannel"},
                                         {487, 1, 243, "newChannel"},
                                         {1088, 2, 1080, "channel"},
                                         {1080, 2, 1080, "channel"},
                                         {1080, 0, 1080, "channel"}}) {
    parameters->values.storedHeight = c.input;
    parameters->values.scanMode = vix::ScanMode{c.scanMode};
    const fake::Properties output = Output();
    EXPECT_EQ(output.storedHeight, c.output);
    EXPECT_EQ(output.scanMode, vix::ScanMode{c.scanMode});
    EXPECT_EQ(fake::NameOf(OnlyInfo(decoder->GetDefinedOutput(""))->channel), c.channel);
  }
}

TEST_F(DecoderDefineInputTest, TheNewChannelHasTheInputsTrack) {
  initConfig->numbers["SkipField"] = 1;
  decoder->SetInitConfig(initConfig);
  parameters->values.scanMode = vix::ScanMode::Interlaced;
  DefineParameters();
  const auto& channel =
      dynamic_cast<const fake::ChannelInfo&>(*OnlyInfo(decoder->GetDefinedOutput(""))->channel);
  EXPECT_EQ(fake::NameOf(channel.track), "track");
  EXPECT_EQ(channel.index, 0);
}

TEST_F(DecoderDefineInputTest, AMissingInputChannelGivesAChannelWithoutTrack) {
  initConfig->numbers["SkipField"] = 1;
  decoder->SetInitConfig(initConfig);
  parameters->values.scanMode = vix::ScanMode::Interlaced;
  const auto stream = MakeStream(parameters);
  stream->infos = {std::make_shared<fake::VideoInfo>("info", parameters, nullptr)};
  decoder->DefineInput(stream, "");
  EXPECT_EQ(TheHost().CountCalls("CreateChannelInfo(null, 0)"), 1U);
  EXPECT_EQ(fake::NameOf(OnlyInfo(decoder->GetDefinedOutput(""))->channel), "newChannel");
}

TEST_F(DecoderDefineInputTest, TheScanModeIsReadOnlyWhenFieldsAreSkipped) {
  decoder->SetInitConfig(initConfig);
  DefineParameters();
  EXPECT_EQ(TheHost().CountCalls("output.GetScanMode"), 0U);
}

TEST_F(DecoderDefineInputTest, Property11Of2Becomes1) {
  decoder->SetInitConfig(initConfig);
  for (const auto& [input, output] :
       std::vector<std::pair<int, int>>{{2, 1}, {3, 3}, {1, 1}, {0, 0}, {-2, -2}}) {
    parameters->values.property11 = input;
    EXPECT_EQ(Output().property11, output);
  }
}

TEST_F(DecoderDefineInputTest, TheBitRateIsCopied) {
  decoder->SetInitConfig(initConfig);
  parameters->values.bitRate = 147.25;
  EXPECT_EQ(Output().bitRate, 147.25);
  EXPECT_EQ(TheHost().CountCalls("GetProResVideoRateMbps"), 0U);
}

TEST_F(DecoderDefineInputTest, ExactlyOneStreamIsAcceptedAndEveryInputIsStored) {
  Define();
  const auto output = decoder->GetDefinedOutput("");
  const auto stream = MakeStream(parameters);
  stream->infos.clear();
  ExpectReport([&] { decoder->DefineInput(stream, ""); },
               "[Only one input video sample allowed] [ value1 (1) is not == value2 (0) ]",
               "VideoDecoderProRes", "330");
  stream->infos.resize(2, MakeStream(parameters)->infos.front());
  ExpectReport([&] { decoder->DefineInput(stream, ""); },
               "[Only one input video sample allowed] [ value1 (1) is not == value2 (2) ]",
               "VideoDecoderProRes", "330");
  EXPECT_EQ(decoder->GetDefinedInput(""), stream);
  EXPECT_EQ(decoder->GetDefinedOutput(""), output);
}

TEST_F(DecoderDefineInputTest, RawInputIsRejected) {
  decoder->SetInitConfig(initConfig);
  ExpectReport(
      [&] { decoder->DefineInput(MakeStream(std::make_shared<fake::RawParameters>("input")), ""); },
      "[Need prores video codec family for input config] [ value1 (2) is not == value2 (1) ]",
      "VideoDecoderProRes", "331");
}

TEST_F(DecoderDefineInputTest, FamiliesAreWrittenAsSignedNumbers) {
  parameters->family = vix::VCodecFamily{-7};
  ExpectReport(
      [&] { DefineParameters(); },
      "[Need prores video codec family for input config] [ value1 (2) is not == value2 (-7) ]",
      "VideoDecoderProRes", "331");
}

TEST_F(DecoderDefineInputTest, MissingRawParametersAreReported) {
  decoder->SetInitConfig(initConfig);
  const std::vector<std::shared_ptr<vix::IVideoParameters>> answers{
      nullptr, std::make_shared<fake::ProResParameters>("another class")};
  for (const auto& answer : answers) {
    TheHost().createParameters = [=](vix::VCodecFamily) { return answer; };
    ExpectReport([&] { DefineParameters(); },
                 "[Need raw video codec family for output config] [ Pointer is null ]",
                 "VideoDecoderProRes", "335");
  }
}

TEST_F(DecoderDefineInputTest, AMissingConfigurationIsReportedAfterTheOutputWasFilled) {
  ExpectReport([&] { decoder->DefineInput(std::make_shared<fake::InfoContainer>("infos"), ""); },
               "[Only one input video sample allowed] [ value1 (1) is not == value2 (0) ]",
               "VideoDecoderProRes", "330");
  const auto stream = MakeStream(parameters);
  ExpectReport([&] { decoder->DefineInput(stream, ""); },
               "[VideoDecoderProRes config] [ Pointer is null ]", "VideoDecoderProRes", "355");
  EXPECT_EQ(TheHost().CountCalls("output.SetFourCC(" + kV210 + ")"), 1U);
  EXPECT_EQ(TheHost().CountCalls("output.GetVideoProperty11()"), 1U);
  EXPECT_EQ(TheHost().CountCalls("info.GetChannelInfo"), 0U);
  EXPECT_EQ(decoder->GetDefinedInput(""), stream);
  EXPECT_EQ(decoder->GetDefinedOutput(""), nullptr);
}

TEST_F(DecoderDefineInputTest, ALaterConfigurationDoesNotChangeTheOutput) {
  Define();
  const auto output = decoder->GetDefinedOutput("");
  initConfig->fourccs["OutputFourCC"] = vix::kFourCC_UYVY;
  decoder->SetInitConfig(initConfig);
  EXPECT_EQ(decoder->GetDefinedOutput(""), output);
  EXPECT_EQ(dynamic_cast<const fake::RawParameters&>(*OnlyInfo(output)->parameters).values.fourcc,
            vix::kFourCC_V210);
}

TEST_F(DecoderDefineInputTest, ASecondDefinitionReleasesThePreviousOutput) {
  Define();
  TheHost().noteReleases = true;
  DefineParameters();
  EXPECT_EQ(TheHost().CountCalls("~outputInfos1"), 1U);
}

TEST_F(DecoderDefineInputTest, NamesHaveNoEffectAndTheCodecLibraryIsNotCalled) {
  decoder->SetInitConfig(initConfig);
  const auto stream = MakeStream(parameters);
  decoder->DefineInput(stream, "main");
  EXPECT_EQ(decoder->GetDefinedInput("a"), stream);
  EXPECT_EQ(decoder->GetDefinedOutput("a"), decoder->GetDefinedOutput("b"));
  EXPECT_EQ(TheHost().CountCalls("WPR"), 0U);
}

TEST_F(DecoderDefineInputTest, FailuresOfTheHostPassThrough) {
  Define();
  const auto output = decoder->GetDefinedOutput("");
  for (const char* const function : {"infos.GetInfo", "CreateVideoParameters", "CreateVideoInfo"}) {
    TheHost().hooks = {{function, [] { throw std::domain_error("host"); }}};
    EXPECT_THROW(DefineParameters(), std::domain_error) << function;
  }
  EXPECT_EQ(decoder->GetDefinedOutput(""), output);
}

}  // namespace
