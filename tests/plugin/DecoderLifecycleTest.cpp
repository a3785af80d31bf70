// SPDX-License-Identifier: BSD-2-Clause
#include <stdexcept>

#include "DecoderTest.h"

namespace {

using fake::TheHost;

const CallList kRecyclerCalls{"GetLabel(factory type, 23)",
                              "GetCurrentLoggerWriter()",
                              "GetCurrentTimeString()",
                              "GetThreadId()",
                              "ToString(240)",
                              "GetCurrentContextString()",
                              "writer.Write(4)",
                              "CreateMilestone(ImplementElement Type23.vix.Recycler)",
                              "GetFactory(23, vix, Recycler)",
                              "GetManifest(23, vix, Recycler)",
                              "creator(manifest)"};

CallList Concatenate(CallList first, const CallList& second) {
  first.insert(first.end(), second.begin(), second.end());
  return first;
}

using DecoderLifecycleTest = DecoderTest;

TEST_F(DecoderLifecycleTest, OperationsHaveFixedSlots) {
  using Decoder = vix::VideoDecoderProRes;
  EXPECT_EQ(SlotOf(&Decoder::PushSample), 2U);
  EXPECT_EQ(SlotOf(&Decoder::GetSample), 3U);
  EXPECT_EQ(SlotOf(&Decoder::CheckInputAndAdaptIfNecessary), 4U);
  EXPECT_EQ(SlotOf(&Decoder::DefineInput), 5U);
  EXPECT_EQ(SlotOf(&Decoder::SetInputMediator), 6U);
  EXPECT_EQ(SlotOf(&Decoder::SetOutputMediator), 7U);
  EXPECT_EQ(SlotOf(&Decoder::ClearInternalBuffer), 8U);
  EXPECT_EQ(SlotOf(&Decoder::GetDefinedInput), 9U);
  EXPECT_EQ(SlotOf(&Decoder::GetDefinedOutput), 10U);
  EXPECT_EQ(SlotOf(&Decoder::SetInitConfig), 11U);
  EXPECT_EQ(SlotOf(&Decoder::Flush), 12U);
  EXPECT_EQ(SlotOf(&Decoder::Interrupt), 13U);
  EXPECT_EQ(SlotOf(&Decoder::GetManifest), 14U);
  EXPECT_EQ(SlotOf(&Decoder::Release), 15U);
  EXPECT_EQ(SlotOf(&Decoder::UpdateConfig), 16U);
}

TEST_F(DecoderLifecycleTest, ConstructionCreatesTheScratchBufferThenTheRecyclerCallByCall) {
  const auto made = vix::CreateVideoDecoderProRes(config);
  EXPECT_EQ(TheHost().TakeCalls(), Concatenate({"CreateBuffer(null, null)"}, kRecyclerCalls));
  EXPECT_EQ(made->GetSample(), nullptr);
  EXPECT_EQ(made->GetDefinedInput(""), nullptr);
  EXPECT_EQ(made->GetDefinedOutput(""), nullptr);
}

TEST_F(DecoderLifecycleTest, AFailingConstructionReleasesWhatItMade) {
  const std::weak_ptr<fake::Instance> kept = config;
  TheHost().factory = nullptr;
  TheHost().noteReleases = true;
  EXPECT_THROW(vix::CreateVideoDecoderProRes(config), vix::VIXRuntimeError);
  EXPECT_EQ(TheHost().CountCalls("~buffer2"), 1U);
  decoder = nullptr;
  config = nullptr;
  EXPECT_TRUE(kept.expired());
}

TEST_F(DecoderLifecycleTest, TeardownClosesTheDecoderThenReleasesMembersInReverseOrder) {
  Define();
  Push(FrameShape{});
  fake::TheCodec().decodeResult = -1;  // no sample owns the buffer of this frame
  EXPECT_THROW(Push(FrameShape{}), vix::VIXRuntimeError);
  parameters = nullptr;
  config = nullptr;
  initConfig = nullptr;
  TheHost().noteReleases = true;
  TheHost().calls.clear();
  decoder = nullptr;
  // The waiting sample keeps the description alive.
  EXPECT_EQ(
      TheHost().TakeCalls(),
      (CallList{"WPRCloseDecoder(handle1)", "~initConfig", "~buffer1", "~buffer3", "~outputInfos1",
                "~input", "~info", "~infos", "~track", "~channel", "~outputInfo", "~output",
                "~buffer2", "~newSample1", "~newContainer1", "~recycler2", "~config"}));
}

TEST_F(DecoderLifecycleTest, GetSampleReturnsASampleOnce) {
  EXPECT_EQ(decoder->GetSample(), nullptr);
  Define();
  Push(FrameShape{});
  EXPECT_EQ(fake::NameOf(decoder->GetSample()), "newContainer1");
  EXPECT_EQ(decoder->GetSample(), nullptr);
}

TEST_F(DecoderLifecycleTest, ReleaseWithoutADecoderDoesNothing) {
  decoder->Release();
  decoder->Release();
  decoder = nullptr;
  EXPECT_EQ(TheHost().TakeCalls(), CallList{});
}

TEST_F(DecoderLifecycleTest, ReleaseClosesAnOpenDecoderOnce) {
  Define();
  Push(FrameShape{});
  TheHost().calls.clear();
  decoder->Release();
  decoder->Release();
  decoder = nullptr;
  EXPECT_EQ(TheHost().TakeCalls(), (CallList{"WPRCloseDecoder(handle1)"}));
}

TEST_F(DecoderLifecycleTest, ConfigurationWithoutOptionsUsesTheRecyclerCallByCall) {
  decoder->SetInitConfig(initConfig);
  EXPECT_EQ(TheHost().TakeCalls(),
            Concatenate({"initConfig.GetBool(SkipField)", "initConfig.HasFourCC(OutputFourCC)",
                         "initConfig.HasString(Allocator)"},
                        kRecyclerCalls));
}

TEST_F(DecoderLifecycleTest, ConfigurationWithEverythingCallByCall) {
  initConfig->fourccs["OutputFourCC"] = vix::kFourCC_UYVY;
  initConfig->texts["Allocator"] = "ExtBufferAllocator";
  TheHost().allocators["ExtBufferAllocator"] = std::make_shared<fake::Allocator>("external");
  decoder->SetInitConfig(initConfig);
  EXPECT_EQ(TheHost().TakeCalls(),
            (CallList{"initConfig.GetBool(SkipField)", "initConfig.HasFourCC(OutputFourCC)",
                      "initConfig.GetFourCC(OutputFourCC)", "initConfig.HasString(Allocator)",
                      "initConfig.GetString(Allocator)", "GetAllocator(ExtBufferAllocator)"}));
}

TEST_F(DecoderLifecycleTest, FramesComeFromTheNamedAllocator) {
  initConfig->texts["Allocator"] = "mine";
  TheHost().allocators["mine"] = std::make_shared<fake::Allocator>("external");
  Define();
  Push(FrameShape{});
  EXPECT_EQ(TheHost().CountCalls("CreateBuffer(external, null)"), 1U);
}

TEST_F(DecoderLifecycleTest, ALaterConfigurationWithoutAllocatorRestoresTheRecycler) {
  initConfig->texts["Allocator"] = "mine";
  TheHost().allocators["mine"] = std::make_shared<fake::Allocator>("external");
  decoder->SetInitConfig(initConfig);
  TheHost().allocators.clear();
  TheHost().noteReleases = true;
  const auto other = std::make_shared<fake::Instance>("other");
  other->numbers = {{"SkipField", 0}};
  decoder->SetInitConfig(other);
  EXPECT_EQ(TheHost().CountCalls("~external"), 1U);
  decoder->DefineInput(MakeStream(parameters), "");
  Push(FrameShape{});
  EXPECT_EQ(TheHost().CountCalls("CreateBuffer(recycler2, null)"), 1U);
}

TEST_F(DecoderLifecycleTest, AnUnknownAllocatorIsRejectedAfterTheOtherParametersWereRead) {
  initConfig->texts["Allocator"] = "nobody's";
  initConfig->numbers["SkipField"] = 1;
  initConfig->fourccs["OutputFourCC"] = vix::kFourCC_UYVY;
  ExpectReport([&] { decoder->SetInitConfig(initConfig); },
               "[Invalid allocator] [ Pointer is null ]", "VideoDecoderProRes");
  parameters->values.scanMode = vix::ScanMode::Interlaced;
  decoder->DefineInput(MakeStream(parameters), "");
  EXPECT_EQ(TheHost().CountCalls("output.SetFourCC(" + fake::Join(vix::kFourCC_UYVY) + ")"), 1U);
  EXPECT_EQ(TheHost().CountCalls("CreateChannelInfo"), 1U);
  Push(FrameShape{});
  EXPECT_EQ(TheHost().CountCalls("CreateBuffer(null, null)"), 1U);
}

TEST_F(DecoderLifecycleTest, AnUnsetOutputFourCCKeepsThePreviousOne) {
  initConfig->fourccs["OutputFourCC"] = vix::kFourCC_UYVY;
  decoder->SetInitConfig(initConfig);
  initConfig->fourccs.clear();
  Define();
  EXPECT_EQ(
      dynamic_cast<const fake::RawParameters&>(*OnlyInfo(decoder->GetDefinedOutput(""))->parameters)
          .values.fourcc,
      vix::kFourCC_UYVY);
}

TEST_F(DecoderLifecycleTest, FailuresOfTheHostPassThroughSetInitConfig) {
  for (const char* const function :
       {"initConfig.GetBool", "initConfig.HasFourCC", "initConfig.HasString", "GetFactory"}) {
    TheHost().hooks = {{function, [] { throw std::domain_error("host"); }}};
    EXPECT_THROW(decoder->SetInitConfig(initConfig), std::domain_error) << function;
  }
  TheHost().hooks.clear();
  TheHost().factory = nullptr;
  EXPECT_THROW(decoder->SetInitConfig(initConfig), vix::VIXRuntimeError);
}

TEST_F(DecoderLifecycleTest, UpdateConfigIsAlwaysRejected) {
  Define();
  for (const std::shared_ptr<fake::Instance>& argument :
       {std::shared_ptr<fake::Instance>(), config, initConfig}) {
    ExpectReport([&] { decoder->UpdateConfig(argument); }, "[UpdateConfig not supported]",
                 "VideoDecoderProRes");
  }
  vix::IVideoDecoderControl& control = *decoder;
  ExpectReport([&] { control.UpdateConfig(initConfig); }, "[UpdateConfig not supported]",
               "VideoDecoderProRes");
  Push(FrameShape{});
  EXPECT_NE(decoder->GetSample(), nullptr);
}

TEST_F(DecoderLifecycleTest, TheManifestIsTheFactorysConfiguration) {
  decoder->SetInitConfig(initConfig);
  EXPECT_EQ(decoder->GetManifest(), config);
  const vix::IVideoDecoderControl& control = *decoder;
  EXPECT_EQ(control.GetManifest(), config);
}

TEST_F(DecoderLifecycleTest, EmptyOperationsCallNothing) {
  decoder->Flush();
  decoder->Interrupt();
  decoder->SetInputMediator(nullptr, "", "");
  decoder->SetOutputMediator(nullptr, "", "");
  EXPECT_EQ(decoder->CheckInputAndAdaptIfNecessary(MakeStream(parameters), "name"), nullptr);
  EXPECT_EQ(decoder->CheckInputAndAdaptIfNecessary(nullptr, ""), nullptr);
  EXPECT_EQ(TheHost().TakeCalls(), CallList{});
}

TEST_F(DecoderLifecycleTest, ClearInternalBufferDropsTheSampleAndNothingElse) {
  Define();
  Push(FrameShape{});
  decoder->ClearInternalBuffer();
  EXPECT_EQ(decoder->GetSample(), nullptr);
  Push(FrameShape{});
  EXPECT_NE(decoder->GetSample(), nullptr);
  EXPECT_EQ(TheHost().CountCalls("WPROpenDecoder"), 1U);
}

}  // namespace
