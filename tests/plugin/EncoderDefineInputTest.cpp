// SPDX-License-Identifier: BSD-2-Clause
#include <stdexcept>

#include "EncoderTest.h"
#include "VideoCodecProResCommon.h"

namespace {

using fake::TheHost;

class EncoderDefineInputTest : public EncoderTest {
 protected:
  EncoderDefineInputTest() {
    parameters->values = DistinctProperties();
    TheHost().rate = 145;
  }

  void DefineParameters() { encoder->DefineInput(MakeStream(parameters), ""); }

  std::shared_ptr<fake::RawParameters> parameters = std::make_shared<fake::RawParameters>("input");
};

TEST_F(EncoderDefineInputTest, DescribesTheProResStreamCallByCall) {
  encoder->SetInitConfig(initConfig);
  const auto stream = MakeStream(parameters);
  encoder->DefineInput(stream, "any name");
  CallList expected{"infos.GetInfo()",   "info.GetVideoParameters()", "input.GetCodecFamily()",
                    "input.GetFourCC()", "input.GetFourCC()",         "CreateVideoParameters(2)"};
  for (const std::string& call : CopyCalls(parameters->values)) expected.push_back(call);
  for (const char* const call :
       {"initConfig.GetProResCodecVariant(ProResCodecVariant)", "output.SetProResCodecVariant(3)",
        "output.GetHeight()", "output.GetEditRate()", "output.GetProResCodecVariant()",
        "GetProResVideoRateMbps(3, 30000, 1001, 4)", "output.SetBitRate(145)",
        "info.GetChannelInfo()", "CreateVideoInfo(output, channel, 0, 0)",
        "CreateInfoContainer(outputInfo, null)"})
    expected.emplace_back(call);
  EXPECT_EQ(TheHost().TakeCalls(), expected);
  EXPECT_EQ(encoder->GetDefinedInput(""), stream);
}

TEST_F(EncoderDefineInputTest, OutputHasTheInputsPropertiesExceptVariantAndRate) {
  initConfig->numbers["ProResCodecVariant"] = 2;
  encoder->SetInitConfig(initConfig);
  DefineParameters();
  const auto info = OnlyInfo(encoder->GetDefinedOutput("other name"));
  fake::Properties expected = parameters->values;
  expected.bitRate = 145;
  expected.variant = vix::ProResCodecVariant::LT;
  expected.fourcc = 0;
  const auto& output = dynamic_cast<const fake::ProResParameters&>(*info->parameters);
  EXPECT_EQ(output.values, expected);
  EXPECT_EQ(fake::NameOf(info->channel), "channel");
}

TEST_F(EncoderDefineInputTest, UyvyIsRecognisedAtTheFirstComparison) {
  encoder->SetInitConfig(initConfig);
  parameters->values.fourcc = vix::kFourCC_UYVY;
  DefineParameters();
  EXPECT_EQ(TheHost().CountCalls("input.GetFourCC"), 1U);
  EXPECT_NE(encoder->GetDefinedOutput(""), nullptr);
}

TEST_F(EncoderDefineInputTest, HeightChoosesTheResolutionClass) {
  encoder->SetInitConfig(initConfig);
  const std::vector<std::pair<std::uint32_t, int>> classes{
      {480, 1},  {576, 2},  {720, 3}, {1080, 4}, {2160, 5}, {240, 17},
      {288, 18}, {1088, 0}, {0, 0},   {481, 0},  {540, 0},  {4320, 0}};
  for (const auto& [height, resolution] : classes) {
    parameters->values.height = height;
    TheHost().calls.clear();
    DefineParameters();
    EXPECT_EQ(TheHost().CountCalls("GetProResVideoRateMbps(3, 30000, 1001, " +
                                   std::to_string(resolution) + ")"),
              1U)
        << height;
  }
}

TEST_F(EncoderDefineInputTest, TheLargestRateIsStoredExactly) {
  encoder->SetInitConfig(initConfig);
  TheHost().rate = 4294967295U;
  DefineParameters();
  const auto& output = dynamic_cast<const fake::ProResParameters&>(
      *OnlyInfo(encoder->GetDefinedOutput(""))->parameters);
  EXPECT_EQ(output.values.bitRate, 4294967295.0);
}

TEST_F(EncoderDefineInputTest, TheConfigurationIsCheckedBeforeAnythingIsRead) {
  ExpectReport([&] { encoder->DefineInput(std::make_shared<fake::InfoContainer>("infos"), ""); },
               "[Need config prior to define input for encoder] [ Pointer is null ]",
               "VideoEncoderProRes", "79");
  EXPECT_EQ(TheHost().CountCalls("infos.GetInfo"), 0U);
}

TEST_F(EncoderDefineInputTest, ExactlyOneTrackIsAccepted) {
  encoder->SetInitConfig(initConfig);
  const auto stream = MakeStream(parameters);
  stream->infos.clear();
  ExpectReport([&] { encoder->DefineInput(stream, ""); },
               "[Only one input video track allowed] [ value1 (1) is not == value2 (0) ]",
               "VideoEncoderProRes", "84");
  stream->infos.resize(2, MakeStream(parameters)->infos.front());
  ExpectReport([&] { encoder->DefineInput(stream, ""); },
               "[Only one input video track allowed] [ value1 (1) is not == value2 (2) ]",
               "VideoEncoderProRes", "84");
  EXPECT_EQ(encoder->GetDefinedInput(""), nullptr);
  EXPECT_EQ(encoder->GetDefinedOutput(""), nullptr);
}

TEST_F(EncoderDefineInputTest, CompressedInputIsRejected) {
  encoder->SetInitConfig(initConfig);
  ExpectReport(
      [&] {
        encoder->DefineInput(MakeStream(std::make_shared<fake::ProResParameters>("input")), "");
      },
      "[Need raw input] [ value1 (1) is not == value2 (2) ]", "VideoEncoderProRes", "87");
}

TEST_F(EncoderDefineInputTest, FamiliesAreWrittenAsSignedNumbers) {
  encoder->SetInitConfig(initConfig);
  parameters->family = vix::VCodecFamily{-3};
  ExpectReport([&] { DefineParameters(); }, "[Need raw input] [ value1 (1) is not == value2 (-3) ]",
               "VideoEncoderProRes", "87");
}

TEST_F(EncoderDefineInputTest, OtherPixelFormatsAreRejectedWithoutBrackets) {
  Define();
  const auto input = encoder->GetDefinedInput("");
  const auto output = encoder->GetDefinedOutput("");
  for (const vix::FourCC fourcc : {vix::MakeFourCC("NV12"), vix::FourCC{0}}) {
    parameters->values.fourcc = fourcc;
    ExpectReport([&] { DefineParameters(); }, "UYVY and V210 inputs only", "VideoEncoderProRes",
                 "91");
  }
  EXPECT_EQ(TheHost().CountCalls("input.GetFourCC"), 4U);
  EXPECT_EQ(encoder->GetDefinedInput(""), input);
  EXPECT_EQ(encoder->GetDefinedOutput(""), output);
}

TEST_F(EncoderDefineInputTest, ARejectedInputKeepsThePreviousDefinitions) {
  Define();
  const auto input = encoder->GetDefinedInput("");
  const auto output = encoder->GetDefinedOutput("");
  EXPECT_THROW(encoder->DefineInput(std::make_shared<fake::InfoContainer>("infos"), ""),
               vix::VIXRuntimeError);
  parameters->family = vix::VCodecFamily::ProRes;
  EXPECT_THROW(DefineParameters(), vix::VIXRuntimeError);
  EXPECT_EQ(encoder->GetDefinedInput(""), input);
  EXPECT_EQ(encoder->GetDefinedOutput(""), output);
}

TEST_F(EncoderDefineInputTest, ASecondDefinitionReplacesBothDescriptions) {
  Define();
  const auto input = encoder->GetDefinedInput("");
  TheHost().noteReleases = true;
  DefineParameters();
  EXPECT_EQ(TheHost().CountCalls("~outputInfos1"), 1U);
  EXPECT_NE(encoder->GetDefinedInput(""), input);
  EXPECT_EQ(fake::NameOf(encoder->GetDefinedOutput("")), "outputInfos2");
}

TEST_F(EncoderDefineInputTest, ALaterConfigurationDoesNotChangeTheOutput) {
  Define();
  const auto other = std::make_shared<fake::Instance>("other");
  other->numbers = {{"ProResCodecVariant", 1}};
  encoder->SetInitConfig(other);
  const auto& output = dynamic_cast<const fake::ProResParameters&>(
      *OnlyInfo(encoder->GetDefinedOutput(""))->parameters);
  EXPECT_EQ(output.values.variant, vix::ProResCodecVariant::Standard);
}

TEST_F(EncoderDefineInputTest, FailuresOfTheHostPassThrough) {
  encoder->SetInitConfig(initConfig);
  TheHost().hooks["infos.GetInfo"] = [] { throw std::domain_error("host"); };
  EXPECT_THROW(DefineParameters(), std::domain_error);
  EXPECT_EQ(encoder->GetDefinedInput(""), nullptr);
  TheHost().hooks = {{"CreateVideoInfo", [] { throw std::domain_error("host"); }}};
  EXPECT_THROW(DefineParameters(), std::domain_error);
  EXPECT_NE(encoder->GetDefinedInput(""), nullptr);
  EXPECT_EQ(encoder->GetDefinedOutput(""), nullptr);
}

TEST_F(EncoderDefineInputTest, NoInputIsAdapted) {
  EXPECT_EQ(encoder->CheckInputAndAdaptIfNecessary(nullptr, ""), nullptr);
  EXPECT_EQ(encoder->CheckInputAndAdaptIfNecessary(MakeStream(parameters), "name"), nullptr);
  EXPECT_EQ(TheHost().TakeCalls(), CallList{});
}

TEST_F(EncoderDefineInputTest, NamesHaveNoEffect) {
  encoder->SetInitConfig(initConfig);
  const auto stream = MakeStream(parameters);
  encoder->DefineInput(stream, "main");
  EXPECT_EQ(encoder->GetDefinedInput("a"), stream);
  EXPECT_EQ(encoder->GetDefinedInput("b"), stream);
  EXPECT_EQ(encoder->GetDefinedOutput("a"), encoder->GetDefinedOutput(""));
}

TEST_F(EncoderDefineInputTest, ParametersOfOneFamilyAreCopiedAsAWhole) {
  fake::RawParameters target("output");
  vix::CopyCommonProperties(parameters, target);
  EXPECT_EQ(TheHost().TakeCalls(), (CallList{"input.GetCodecFamily()", "output.GetCodecFamily()",
                                             "output.CopyFrom(input)"}));
}

TEST_F(EncoderDefineInputTest, TypedParametersAreNullIfTheHostReturnsNullOrAnotherClass) {
  using vix::VCodecFamily;
  EXPECT_NE(vix::CreateVideoParameters<VCodecFamily::Raw>(), nullptr);
  EXPECT_NE(vix::CreateVideoParameters<VCodecFamily::ProRes>(), nullptr);
  TheHost().createParameters = [](VCodecFamily) { return nullptr; };
  EXPECT_EQ(vix::CreateVideoParameters<VCodecFamily::Raw>(), nullptr);
  TheHost().createParameters = [](VCodecFamily family) {
    // The right family in an object of the other family's class.
    const auto other = std::make_shared<fake::ProResParameters>("other");
    other->family = family;
    return other;
  };
  EXPECT_EQ(vix::CreateVideoParameters<VCodecFamily::Raw>(), nullptr);
  TheHost().createParameters = [](VCodecFamily) {
    return std::make_shared<fake::RawParameters>("other");
  };
  EXPECT_EQ(vix::CreateVideoParameters<VCodecFamily::ProRes>(), nullptr);
}

}  // namespace
