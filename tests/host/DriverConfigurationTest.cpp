// SPDX-License-Identifier: BSD-2-Clause
// Configure() on a defined driver: samples describe what they hold from the next frame on.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>

#include "Drivers.h"
#include "Errors.h"
#include "ProRes/ProRes.h"
#include "Streams.h"
#include "Threads.h"
#include "vix/Error.h"

namespace vix::test {
namespace {

class DriverConfiguration : public Drivers {
 protected:
  void DefineDecoder(const Shape& shape) {
    Configure(decoder);
    decoder.Define(DescribeProRes(shape));
  }
};

TEST_F(DriverConfiguration, ChangesTheOutputFormatInBothDirections) {
  DefineDecoder(kSmall);
  ExpectDecodes(kSmall, {});
  for (const FourCC fourcc : {kFourCC_UYVY, kFourCC_V210, kFourCC_UYVY}) {
    Configure(decoder, SetFormat(fourcc));
    ExpectDecodes(kSmall, {.fourcc = fourcc});
  }
}

TEST_F(DriverConfiguration, DecodesToV210AgainWhenTheFormatIsUnset) {
  DefineDecoder(kSmall);
  Configure(decoder, SetFormat(kFourCC_UYVY));
  ExpectDecodes(kSmall, {.fourcc = kFourCC_UYVY});
  Configure(decoder);
  ExpectDecodes(kSmall, {});
}

TEST_F(DriverConfiguration, ChangesBetweenFramesAndFields) {
  DefineDecoder(kInterlaced);
  ExpectDecodes(kInterlaced, {});
  for (const bool skipField : {true, false, true}) {
    Configure(decoder, SetSkipField(skipField));
    ExpectDecodes(kInterlaced, {.skipField = skipField});
  }
}

TEST_F(DriverConfiguration, KeepsAllRowsOfProgressiveFramesWhenFieldsAreSkipped) {
  DefineDecoder(kSmall);
  Configure(decoder, SetSkipField(true));
  ExpectDecodes(kSmall, {.skipField = true});
}

TEST_F(DriverConfiguration, ChangesTheVariantWithItsBitRate) {
  Configure(encoder);
  encoder.Define(DescribeRaw(kSmall));
  ExpectEncodes(kSmall, ProResCodecVariant::Standard);
  for (const auto variant : {ProResCodecVariant::HQ, ProResCodecVariant::Proxy,
                             ProResCodecVariant::LT, ProResCodecVariant::Standard}) {
    Configure(encoder, SetVariant(variant));
    ExpectEncodes(kSmall, variant);
  }
}

TEST_F(DriverConfiguration, DescribesTheBitRateThatTheCodecAimsAt) {
  Configure(encoder, SetVariant(ProResCodecVariant::HQ));
  const Shape sizes[] = {{.width = 640, .height = 360},   {.width = 720, .height = 576},
                         {.width = 1280, .height = 720},  {.width = 1920, .height = 1080},
                         {.width = 3840, .height = 2160}, {.width = 7680, .height = 4320}};
  for (const Shape& shape : sizes) {
    std::uint32_t most = 0, target = 0;
    ASSERT_EQ(WPRGetCompressedFrameSize(kWPRCodecHQ, shape.width, shape.height, &most, &target),
              kWPRSuccess);
    const auto output = encoder.Define(DescribeRaw(shape))->GetInfo().front();
    const double described = output->GetVideoParameters()->GetBitRate();
    const double framesPerSecond = double(shape.rate.numerator) / shape.rate.denominator;
    const double aimedAt = 8e-6 * target * framesPerSecond;
    EXPECT_NEAR(described, aimedAt, 0.06 * aimedAt) << shape.width << 'x' << shape.height;
  }
}

TEST_F(DriverConfiguration, ChangesTheNumberOfThreadsOfAnEncoder) {
  const auto setThreads = [&](int threads) {
    Configure(encoder, [=](auto& config) { config.SetInt("NumThreads", threads); });
  };
  setThreads(1);
  encoder.Define(DescribeRaw(kLarge));
  ExpectEncodes(kLarge, ProResCodecVariant::Standard);
  EXPECT_TRUE(HasOwnThreads(0));
  setThreads(3);
  ExpectEncodes(kLarge, ProResCodecVariant::Standard);
  EXPECT_TRUE(HasOwnThreads(2));
  setThreads(1);
  ExpectEncodes(kLarge, ProResCodecVariant::Standard);
  EXPECT_TRUE(HasOwnThreads(0));
}

TEST_F(DriverConfiguration, ChangesTheAllocator) {
  std::atomic<int> blocks = 0;
  SetExtBufferCallbacks({[&](std::size_t bytes) {
                           ++blocks;
                           return static_cast<std::uint8_t*>(std::malloc(bytes));
                         },
                         [](std::uint8_t* data, std::size_t) { std::free(data); }});
  DefineDecoder(kSmall);
  ExpectDecodes(kSmall, {});
  EXPECT_EQ(blocks, 0);
  Configure(decoder, [](auto& config) { config.SetString("Allocator", "ExtBufferAllocator"); });
  ExpectDecodes(kSmall, {});
  EXPECT_EQ(blocks, 1);
  Configure(decoder);
  ExpectDecodes(kSmall, {});
  EXPECT_EQ(blocks, 1);
  SetExtBufferCallbacks({});
}

TEST_F(DriverConfiguration, IsACopyOfTheHostsObject) {
  const auto config = decoder.CreateConfig();
  decoder.Configure(config);
  config->SetBool("SkipField", true);
  config->SetFourCC("OutputFourCC", kFourCC_UYVY);
  decoder.Define(DescribeProRes(kInterlaced));
  ExpectDecodes(kInterlaced, {});

  const auto encoderConfig = encoder.CreateConfig();
  encoder.Configure(encoderConfig);
  encoder.Define(DescribeRaw(kSmall));
  encoderConfig->SetProResCodecVariant("ProResCodecVariant", ProResCodecVariant::HQ);
  ExpectEncodes(kSmall, ProResCodecVariant::Standard);
  encoderConfig->SetInt("NumThreads", 1);
  encoder.Define(DescribeRaw(kSmall));
  ExpectEncodes(kSmall, ProResCodecVariant::Standard);
}

TEST_F(DriverConfiguration, LeavesAWaitingOutputAsItWas) {
  DefineDecoder(kInterlaced);
  decoder.Push(MakeProResFrame(kInterlaced, 7));
  Configure(decoder, [](auto& config) {
    config.SetFourCC("OutputFourCC", kFourCC_UYVY);
    config.SetBool("SkipField", true);
  });
  ExpectPicture(decoder.Pull(), kInterlaced, 7, {});
  ExpectDecodes(kInterlaced, {.fourcc = kFourCC_UYVY, .skipField = true});

  Configure(encoder);
  encoder.Define(DescribeRaw(kSmall));
  encoder.Push(MakeRawFrame(kSmall, 8));
  Configure(encoder, SetVariant(ProResCodecVariant::HQ));
  ExpectFrame(encoder.Pull(), kSmall, 8, ProResCodecVariant::Standard);
}

TEST_F(DriverConfiguration, ReturnsTheNewDescriptionAndKeepsAnUnchangedOne) {
  DefineDecoder(kSmall);
  const Stream before = decoder.GetOutput();
  Configure(decoder);
  EXPECT_EQ(decoder.GetOutput(), before);
  const Container picture = Process(decoder, MakeProResFrame(kSmall, 1));
  EXPECT_EQ(SampleOf(picture)->GetVideoInfo(), before->GetInfo().front());
  Configure(decoder, SetFormat(kFourCC_UYVY));
  EXPECT_NE(decoder.GetOutput(), before);
  const Container other = Process(decoder, MakeProResFrame(kSmall, 2));
  EXPECT_EQ(SampleOf(other)->GetVideoInfo(), decoder.GetOutput()->GetInfo().front());
}

TEST_F(DriverConfiguration, KeepsTheOldOneIfTheNewOneIsRefused) {
  Configure(decoder, SetFormat(kFourCC_UYVY));
  decoder.Define(DescribeProRes(kInterlaced));
  ErrorOf([&] {
    Configure(decoder, [](auto& config) {
      config.SetBool("SkipField", true);
      config.SetString("Allocator", "Nobody's");
    });
  });
  ExpectDecodes(kInterlaced, {.fourcc = kFourCC_UYVY});

  Configure(encoder, SetVariant(ProResCodecVariant::LT));
  encoder.Define(DescribeRaw(kSmall));
  ErrorOf([&] { Configure(encoder, SetVariant(ProResCodecVariant{9})); });
  ExpectEncodes(kSmall, ProResCodecVariant::LT);
}

TEST_F(DriverConfiguration, ListsTheNamesOfEnumerators) {
  std::vector<std::string> names;
  for (const ParameterDescription& parameter : encoder.DescribeParameters()) {
    if (parameter.name != "ProResCodecVariant") continue;
    names = parameter.allowedValues;
    EXPECT_EQ(parameter.defaultValue, GetLabel(ProResCodecVariant::Standard));
  }
  EXPECT_EQ(names.size(), 4u);
  EXPECT_EQ(names.front(), GetLabel(ProResCodecVariant::Proxy));
}

}  // namespace
}  // namespace vix::test
