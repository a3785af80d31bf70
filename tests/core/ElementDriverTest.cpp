// SPDX-License-Identifier: BSD-2-Clause
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>

#include "ErrorText.h"
#include "SilentLog.h"
#include "vix/ElementDriver.h"
#include "vix/Logging.h"
#include "vix/PluginLoader.h"

namespace vix {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::StartsWith;

constexpr const char* kName = "VideoDecoder.fake.Pass";

std::shared_ptr<const IInfoContainer> MakeInput() {
  const auto parameters = CreateVideoParameters(VCodecFamily::Raw);
  return CreateInfoContainer(CreateVideoInfo(parameters, nullptr, {}, {}), nullptr);
}

std::shared_ptr<const ISampleContainer> MakeSample() {
  return CreateSampleContainer(CreateVideoSample(nullptr, nullptr, nullptr, {}, {}), nullptr);
}

class Driver : public ::testing::Test {
 protected:
  void Define() {
    driver.Configure(driver.CreateConfig());
    driver.Define(MakeInput());
  }

  SilentLog silentLog;
  std::shared_ptr<IPlugin> plugin = LoadPlugin(FAKE_PLUGIN, "test");
  ElementDriver driver{ElementFactoryType::VideoDecoder, "fake", "Pass"};
};

TEST_F(Driver, DrivesDecodersAndEncoders) {
  ElementDriver encoder(ElementFactoryType::VideoEncoder, "fake", "Pass");
  EXPECT_EQ(driver.GetName(), kName);
  EXPECT_EQ(encoder.GetName(), "VideoEncoder.fake.Pass");
  for (ElementDriver* each : {&driver, &encoder}) {
    each->Configure(each->CreateConfig());
    const auto input = MakeInput();
    EXPECT_EQ(each->Define(input), input);
    const auto sample = MakeSample();
    each->Push(sample);
    EXPECT_EQ(each->Pull(), sample);
    EXPECT_EQ(each->Pull(), nullptr);
    each->Release();
  }
}

TEST_F(Driver, CreatesConfigurationsOfTheElementsSchema) {
  const auto config = driver.CreateConfig();
  EXPECT_FALSE(config->GetBool("FailRelease"));
  config->SetBool("FailRelease", true);
  EXPECT_FALSE(driver.CreateConfig()->GetBool("FailRelease"));
}

TEST_F(Driver, RejectsCallsOutOfOrder) {
  const auto error = [](const char* reason) { return std::string(kName) + ": " + reason; };
  EXPECT_EQ(ErrorTextOf([&] { driver.Define(MakeInput()); }),
            error("call Configure before Define"));
  EXPECT_EQ(ErrorTextOf([&] { driver.Push(MakeSample()); }), error("call Configure before Push"));
  EXPECT_EQ(ErrorTextOf([&] { driver.Pull(); }), error("call Configure before Pull"));
  driver.Configure(driver.CreateConfig());
  EXPECT_EQ(ErrorTextOf([&] { driver.Push(MakeSample()); }), error("call Define before Push"));
  EXPECT_EQ(ErrorTextOf([&] { driver.Pull(); }), error("call Define before Pull"));
}

TEST_F(Driver, RejectsAPushWhileAnOutputIsWaiting) {
  Define();
  const auto first = MakeSample();
  driver.Push(first);
  EXPECT_THAT(ErrorTextOf([&] { driver.Push(MakeSample()); }),
              AllOf(StartsWith(kName), HasSubstr("call Pull before Push")));
  EXPECT_EQ(driver.Pull(), first);
  driver.Push(MakeSample());
}

TEST_F(Driver, RejectsARawFrameShorterThanItsDescription) {
  Define();
  const auto parameters = CreateVideoParameters<VCodecFamily::Raw>();
  parameters->SetFourCC(kFourCC_UYVY);
  parameters->SetWidth(4);
  parameters->SetHeight(3);
  const auto buffer = CreateBuffer(nullptr, nullptr);
  const auto push = [&](std::shared_ptr<const IBuffer> frame) {
    driver.Push(CreateSampleContainer(
        CreateVideoSample(parameters, nullptr, std::move(frame), {}, {}), nullptr));
  };
  buffer->Allocate(23);
  EXPECT_EQ(ErrorTextOf([&] { push(buffer); }),
            std::string(kName) + ": Push got a frame of 23 bytes; its description requires 24");
  EXPECT_THAT(ErrorTextOf([&] { push(nullptr); }), HasSubstr("a frame of 0 bytes"));
  EXPECT_EQ(driver.Pull(), nullptr);
  buffer->Allocate(24);
  push(buffer);
  EXPECT_NE(driver.Pull(), nullptr);
}

TEST_F(Driver, LeavesUnknownRawFormatsToTheElement) {
  Define();
  const auto parameters = CreateVideoParameters<VCodecFamily::Raw>();
  parameters->SetFourCC(MakeFourCC("RGBA"));
  driver.Push(
      CreateSampleContainer(CreateVideoSample(parameters, nullptr, nullptr, {}, {}), nullptr));
  EXPECT_NE(driver.Pull(), nullptr);
}

TEST_F(Driver, RejectsNullArguments) {
  EXPECT_THAT(ErrorTextOf([&] { driver.Configure(nullptr); }), StartsWith(kName));
  driver.Configure(driver.CreateConfig());
  EXPECT_THAT(ErrorTextOf([&] { driver.Define(nullptr); }), StartsWith(kName));
  const auto bare = CreateInfoContainer(CreateVideoInfo(nullptr, nullptr, {}, {}), nullptr);
  EXPECT_THAT(ErrorTextOf([&] { driver.Define(bare); }),
              AllOf(StartsWith(kName), HasSubstr("without video parameters")));
  driver.Define(MakeInput());
  EXPECT_THAT(ErrorTextOf([&] { driver.Push(nullptr); }), StartsWith(kName));
}

TEST_F(Driver, MayConfigureAndDefineAgain) {
  Define();
  driver.Configure(driver.CreateConfig());
  driver.Push(MakeSample());
  driver.Define(MakeInput());
  EXPECT_NE(driver.Pull(), nullptr);
}

TEST_F(Driver, NamesTheElementAndTheCallInFailuresOfTheElement) {
  driver.Configure(driver.CreateConfig());
  EXPECT_EQ(ErrorTextOf([&] { driver.Define(CreateInfoContainer(nullptr, nullptr)); }),
            std::string(kName) + ": Define failed: no stream");
  EXPECT_THAT(ErrorTextOf([&] { driver.Push(MakeSample()); }), HasSubstr("call Define"))
      << "a failed Define() must not count";
}

TEST_F(Driver, NamesTheElementAsTheContextOfItsCalls) {
  Define();
  EXPECT_EQ(ErrorTextOf([&] { driver.Push(CreateSampleContainer(nullptr, nullptr)); }),
            std::string(kName) + ": Push failed: no sample in " + kName);
  EXPECT_EQ(GetCurrentContextString(), "");
}

TEST_F(Driver, RejectsEverythingAfterRelease) {
  Define();
  driver.Push(MakeSample());
  driver.Release();
  driver.Release();
  const auto afterRelease = AllOf(StartsWith(kName), HasSubstr("after Release"));
  EXPECT_THAT(ErrorTextOf([&] { driver.CreateConfig(); }), afterRelease);
  EXPECT_THAT(ErrorTextOf([&] { driver.Configure(nullptr); }), afterRelease);
  EXPECT_THAT(ErrorTextOf([&] { driver.Define(nullptr); }), afterRelease);
  EXPECT_THAT(ErrorTextOf([&] { driver.Push(nullptr); }), afterRelease);
  EXPECT_THAT(ErrorTextOf([&] { driver.Pull(); }), afterRelease);
  EXPECT_EQ(driver.GetName(), kName);
}

TEST_F(Driver, ReleasesAnElementWhoseReleaseThrows) {
  const auto config = driver.CreateConfig();
  config->SetBool("FailRelease", true);
  driver.Configure(config);
  EXPECT_EQ(ErrorTextOf([&] { driver.Release(); }),
            std::string(kName) + ": Release failed: release failed");
  driver.Release();
  EXPECT_THAT(ErrorTextOf([&] { driver.CreateConfig(); }), HasSubstr("after Release"));
}

TEST_F(Driver, MovesWithItsState) {
  Define();
  driver.Push(MakeSample());
  ElementDriver moved = std::move(driver);
  EXPECT_NE(moved.Pull(), nullptr);
  driver = std::move(moved);
  EXPECT_EQ(driver.Pull(), nullptr);
}

TEST_F(Driver, RejectsElementsThatCannotBeDriven) {
  const auto make = [](ElementFactoryType factoryType, const char* type) {
    return ErrorTextOf([&] { ElementDriver(factoryType, "fake", type); });
  };
  EXPECT_THAT(make(ElementFactoryType::VideoDecoder, "Unheard"),
              AllOf(HasSubstr("VideoDecoder.fake.Unheard"), HasSubstr("VideoDecoder.fake.Pass")));
  EXPECT_THAT(make(ElementFactoryType::VideoDecoder, "Odd"), HasSubstr("type=\"Odd\""));
  EXPECT_THAT(make(ElementFactoryType::VideoDecoder, "Nothing"),
              StartsWith("VideoDecoder.fake.Nothing"));
  EXPECT_THAT(make(ElementFactoryType::MemoryBlockAllocator, "Vector"),
              StartsWith("MemoryBlockAllocator.fake.Vector"));
}

}  // namespace
}  // namespace vix
