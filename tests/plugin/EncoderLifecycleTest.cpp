// SPDX-License-Identifier: BSD-2-Clause
#include <stdexcept>

#include "EncoderTest.h"

namespace {

using fake::TheHost;

using EncoderLifecycleTest = EncoderTest;

TEST_F(EncoderLifecycleTest, OperationsHaveFixedSlots) {
  using Encoder = vix::VideoEncoderProRes;
  EXPECT_EQ(SlotOf(&Encoder::PushSample), 2U);
  EXPECT_EQ(SlotOf(&Encoder::GetSample), 3U);
  EXPECT_EQ(SlotOf(&Encoder::CheckInputAndAdaptIfNecessary), 4U);
  EXPECT_EQ(SlotOf(&Encoder::DefineInput), 5U);
  EXPECT_EQ(SlotOf(&Encoder::SetInputMediator), 6U);
  EXPECT_EQ(SlotOf(&Encoder::SetOutputMediator), 7U);
  EXPECT_EQ(SlotOf(&Encoder::ClearInternalBuffer), 8U);
  EXPECT_EQ(SlotOf(&Encoder::GetDefinedInput), 9U);
  EXPECT_EQ(SlotOf(&Encoder::GetDefinedOutput), 10U);
  EXPECT_EQ(SlotOf(&Encoder::SetInitConfig), 11U);
  EXPECT_EQ(SlotOf(&Encoder::Flush), 12U);
  EXPECT_EQ(SlotOf(&Encoder::Interrupt), 13U);
  EXPECT_EQ(SlotOf(&Encoder::GetManifest), 14U);
  EXPECT_EQ(SlotOf(&Encoder::Release), 15U);
  EXPECT_EQ(SlotOf(&Encoder::UpdateConfig), 16U);
}

TEST_F(EncoderLifecycleTest, ConstructionObtainsTheRecyclerCallByCall) {
  const auto made = vix::CreateVideoEncoderProRes(config);
  EXPECT_EQ(
      TheHost().TakeCalls(),
      (CallList{"GetLabel(factory type, 23)", "GetCurrentLoggerWriter()", "GetCurrentTimeString()",
                "GetThreadId()", "ToString(240)", "GetCurrentContextString()", "writer.Write(4)",
                "CreateMilestone(ImplementElement Type23.vix.Recycler)",
                "GetFactory(23, vix, Recycler)", "GetManifest(23, vix, Recycler)",
                "creator(manifest)"}));
  EXPECT_EQ(made->GetSample(), nullptr);
  EXPECT_EQ(made->GetDefinedInput(""), nullptr);
  EXPECT_EQ(made->GetDefinedOutput(""), nullptr);
}

TEST_F(EncoderLifecycleTest, AFailingConstructionReleasesWhatItMade) {
  const std::weak_ptr<fake::Instance> kept = config;
  TheHost().factory = nullptr;
  EXPECT_THROW(vix::CreateVideoEncoderProRes(config), vix::VIXRuntimeError);
  encoder = nullptr;
  config = nullptr;
  EXPECT_TRUE(kept.expired());
}

TEST_F(EncoderLifecycleTest, TeardownClosesTheEncoderThenReleasesMembersInReverseOrder) {
  Define();
  encoder->PushSample(MakeFrame());
  config = nullptr;
  initConfig = nullptr;
  TheHost().noteReleases = true;
  TheHost().calls.clear();
  encoder = nullptr;
  EXPECT_EQ(TheHost().TakeCalls(),
            (CallList{"WPRCloseEncoder(handle1)", "~initConfig", "~recycler1", "~buffer1",
                      "~newSample1", "~newContainer1", "~output", "~outputInfo", "~outputInfos1",
                      "~track", "~channel", "~input", "~info", "~infos", "~config"}));
}

TEST_F(EncoderLifecycleTest, TeardownWithoutAFrameClosesNothing) {
  Define();
  encoder = nullptr;
  EXPECT_EQ(TheHost().CountCalls("WPRCloseEncoder"), 0U);
}

TEST_F(EncoderLifecycleTest, GetSampleReturnsASampleOnce) {
  EXPECT_EQ(encoder->GetSample(), nullptr);
  Define();
  encoder->PushSample(MakeFrame());
  EXPECT_EQ(fake::NameOf(encoder->GetSample()), "newContainer1");
  EXPECT_EQ(encoder->GetSample(), nullptr);
}

TEST_F(EncoderLifecycleTest, AnUnclaimedSampleIsReplacedByTheNextFrame) {
  Define();
  encoder->PushSample(MakeFrame());
  TheHost().noteReleases = true;
  encoder->PushSample(MakeFrame());
  EXPECT_EQ(TheHost().CountCalls("~newContainer1"), 1U);
  EXPECT_EQ(fake::NameOf(encoder->GetSample()), "newContainer2");
  EXPECT_EQ(encoder->GetSample(), nullptr);
}

TEST_F(EncoderLifecycleTest, ClearInternalBufferDropsTheSampleAndNothingElse) {
  Define();
  encoder->PushSample(MakeFrame());
  const auto input = encoder->GetDefinedInput("");
  encoder->ClearInternalBuffer();
  EXPECT_EQ(encoder->GetSample(), nullptr);
  EXPECT_EQ(encoder->GetDefinedInput(""), input);
  encoder->PushSample(MakeFrame());
  EXPECT_NE(encoder->GetSample(), nullptr);
  EXPECT_EQ(TheHost().CountCalls("WPROpenEncoder"), 1U);
}

TEST_F(EncoderLifecycleTest, ReleaseFlushAndInterruptLeaveTheEncoderOpen) {
  Define();
  encoder->PushSample(MakeFrame());
  TheHost().calls.clear();
  encoder->Release();
  encoder->Flush();
  encoder->Interrupt();
  EXPECT_EQ(TheHost().TakeCalls(), CallList{});
  encoder->PushSample(MakeFrame());
  EXPECT_EQ(TheHost().CountCalls("WPROpenEncoder"), 0U);
  encoder = nullptr;
  EXPECT_EQ(TheHost().CountCalls("WPRCloseEncoder(handle1)"), 1U);
}

TEST_F(EncoderLifecycleTest, MediatorsAreIgnored) {
  encoder->SetInputMediator(std::make_shared<fake::Marker<vix::IInputMediator>>("in"), "a", "b");
  encoder->SetOutputMediator(std::make_shared<fake::Marker<vix::IOutputMediator>>("out"), "a", "b");
  EXPECT_EQ(TheHost().TakeCalls(), CallList{});
}

TEST_F(EncoderLifecycleTest, UpdateConfigIsAlwaysRejected) {
  Define();
  for (const std::shared_ptr<fake::Instance>& argument :
       {std::shared_ptr<fake::Instance>(), config, initConfig}) {
    ExpectReport([&] { encoder->UpdateConfig(argument); }, "[UpdateConfig not supported]",
                 "VideoEncoderProRes");
  }
  vix::IVideoEncoderControl& control = *encoder;
  ExpectReport([&] { control.UpdateConfig(nullptr); }, "[UpdateConfig not supported]",
               "VideoEncoderProRes");
  encoder->PushSample(MakeFrame());
  EXPECT_NE(encoder->GetSample(), nullptr);
}

TEST_F(EncoderLifecycleTest, TheManifestIsTheFactorysConfiguration) {
  encoder->SetInitConfig(initConfig);
  EXPECT_EQ(encoder->GetManifest(), config);
  const vix::IVideoEncoderControl& control = *encoder;
  EXPECT_EQ(control.GetManifest(), config);
}

TEST_F(EncoderLifecycleTest, SetInitConfigReadsNothingAndReleasesThePreviousOne) {
  encoder->SetInitConfig(initConfig);
  EXPECT_EQ(TheHost().TakeCalls(), CallList{});
  const std::weak_ptr<fake::Instance> previous = initConfig;
  initConfig = nullptr;
  EXPECT_FALSE(previous.expired());
  encoder->SetInitConfig(nullptr);
  EXPECT_TRUE(previous.expired());
}

TEST_F(EncoderLifecycleTest, ANewConfigurationChangesTheVariantButNotTheThreads) {
  Define();
  encoder->PushSample(MakeFrame());
  const auto other = std::make_shared<fake::Instance>("other");
  other->numbers = {{"NumThreads", 8}, {"ProResCodecVariant", 4}};
  encoder->SetInitConfig(other);
  TheHost().calls.clear();
  encoder->PushSample(MakeFrame());
  EXPECT_EQ(fake::TheCodec().encoded.at(0).params.codecType, kWPRCodec422);
  EXPECT_EQ(fake::TheCodec().encoded.at(1).params.codecType, kWPRCodecHQ);
  EXPECT_EQ(TheHost().CountCalls("other.GetInt"), 0U);
  EXPECT_EQ(TheHost().CountCalls("WPROpenEncoder"), 0U);
}

}  // namespace
