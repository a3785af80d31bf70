// SPDX-License-Identifier: BSD-2-Clause
// Plug-ins and hosts call each other's objects through tables of virtual operations, so the order
// of declaration is part of the binary interface.
#include <cstddef>
#include <vector>

#include "PluginTest.h"
#include "VideoDecoderProRes.h"
#include "VideoEncoderProRes.h"

namespace {

using namespace vix;

/// Expects consecutive slots from `first`. Slot 1 is the destructor.
template <typename... Members>
void ExpectSlotsFrom(std::size_t first, Members... members) {
  for (const std::size_t slot : {SlotOf(members)...}) EXPECT_EQ(slot, first++);
}

template <typename... Members>
void ExpectOrder(Members... members) {
  ExpectSlotsFrom(2, members...);
}

TEST(InterfaceOrder, OfElements) {
  using F = IMediaFilter;
  ExpectOrder(&F::PushSample, &F::GetSample, &F::CheckInputAndAdaptIfNecessary, &F::DefineInput,
              &F::SetInputMediator, &F::SetOutputMediator, &F::ClearInternalBuffer,
              &F::GetDefinedInput, &F::GetDefinedOutput, &F::SetInitConfig, &F::Flush,
              &F::Interrupt, &F::GetManifest, &F::Release);
  ExpectOrder(&IBasicControl::UpdateConfig, &IBasicControl::GetManifest);
}

TEST(InterfaceOrder, OfParameters) {
  using P = IParametersCollectionPrototype;
  ExpectOrder(&P::AddParameterBool, &P::AddParameterInt, &P::AddParameterString,
              &P::AddParameterFourCC, &P::AddParameterProResCodecVariant);
  using I = IParametersCollectionInstance;
  ExpectOrder(&I::GetBool, &I::GetInt, &I::GetString, &I::SetString, &I::HasString, &I::GetFourCC,
              &I::HasFourCC, &I::GetProResCodecVariant, &I::SetParametersCollectionPrototype,
              &I::SetElementFactoryType);
}

TEST(InterfaceOrder, OfVideoParameters) {
  using P = IVideoParameters;
  ExpectOrder(&P::SetVideoProperty1, &P::SetVideoProperty2, &P::SetVideoProperty3,
              &P::SetVideoProperty4, &P::SetScanMode, &P::SetVideoProperty6, &P::SetStoredWidth,
              &P::SetStoredHeight, &P::SetWidth, &P::SetHeight, &P::SetVideoProperty11,
              &P::SetEditRate, &P::SetBitRate, &P::GetCodecFamily, &P::GetVideoProperty1,
              &P::GetVideoProperty2, &P::GetVideoProperty3, &P::GetVideoProperty4, &P::GetEditRate,
              &P::GetScanMode, &P::GetVideoProperty6, &P::GetStoredWidth, &P::GetStoredHeight,
              &P::GetWidth, &P::GetHeight, &P::GetVideoProperty11, &P::GetBitRate, &P::CopyFrom);
  const std::size_t behindCopyFrom = SlotOf(&P::CopyFrom) + 1;
  ExpectSlotsFrom(behindCopyFrom, &IVideoParameters_RAW::GetFourCC,
                  &IVideoParameters_RAW::SetFourCC);
  ExpectSlotsFrom(behindCopyFrom, &IVideoParameters_ProRes::GetProResCodecVariant,
                  &IVideoParameters_ProRes::SetProResCodecVariant);
}

TEST(InterfaceOrder, OfDescriptionsAndSamples) {
  ExpectOrder(&IInfoContainer::GetInfo);
  ExpectOrder(&IVideoInfo::GetChannelInfo, &IVideoInfo::GetVideoParameters);
  ExpectOrder(&IChannelInfo::GetTrack);
  ExpectOrder(&ISampleContainer::GetVideoSamples);
  ExpectOrder(&ISample::GetBuffer, &ISample::GetTimeLimits);
  ExpectSlotsFrom(SlotOf(&ISample::GetTimeLimits) + 1, &IVideoSample::GetVideoParameters);
}

TEST(InterfaceOrder, OfBuffersFactoriesAndLoggers) {
  using B = IBuffer;
  ExpectOrder(&B::GetData, &B::GetSize, &B::SetSize, &B::Allocate, &B::Resize);
  ExpectOrder(&IElementFactory::GetFactoryType);
  ExpectOrder(&ILoggerWriter::Write);
}

TEST(InterfaceOrder, OfErrors) {
  ExpectOrder(&VIXRuntimeError::what);
}

using InterfaceBasesTest = PluginTest;

/// Returns the bytes between an element's address and that of its control interface.
template <typename Element>
std::ptrdiff_t OffsetOfControl(Element& element) {
  const auto addressOf = [](auto& object) { return reinterpret_cast<const char*>(&object); };
  EXPECT_EQ(addressOf(static_cast<IMediaFilter&>(element)), addressOf(element));
  return addressOf(static_cast<IBasicControl&>(element)) - addressOf(element);
}

TEST_F(InterfaceBasesTest, TheControlInterfaceFollowsTheMediaFilter) {
  constexpr std::ptrdiff_t kBehindTablePointer = sizeof(void*);
  EXPECT_EQ(OffsetOfControl(*CreateVideoEncoderProRes(nullptr)), kBehindTablePointer);
  EXPECT_EQ(OffsetOfControl(*CreateVideoDecoderProRes(nullptr)), kBehindTablePointer);
}

}  // namespace
