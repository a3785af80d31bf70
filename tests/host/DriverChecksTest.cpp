// SPDX-License-Identifier: BSD-2-Clause
// Arguments that drivers refuse at once, with a code and the values.
#include <gtest/gtest.h>

#include <utility>

#include "Drivers.h"
#include "Errors.h"
#include "Streams.h"

namespace vix::test {
namespace {

class DriverChecks : public Drivers {
 protected:
  void ExpectRefuses(const std::function<void(IParametersCollectionInstance&)>& set, ErrorCode code,
                     const Parts& parts) {
    ElementDriver& driver = code == ErrorCode::NotFound ? decoder : encoder;
    EXPECT_THAT(ErrorOf([&] { Configure(driver, set); }), IsError(code, parts));
  }
};

TEST_F(DriverChecks, RefuseElementsThatAreNotRegistered) {
  EXPECT_THAT(ErrorOf([] { ElementDriver(ElementFactoryType::VideoEncoder, "vix", "Unheard"); }),
              IsError(ErrorCode::NotFound, Parts{"VideoEncoder.vix.Unheard", "load its plug-in"}));
}

TEST_F(DriverChecks, RefuseConfigurations) {
  EXPECT_THAT(ErrorOf([&] { encoder.Configure(nullptr); }),
              IsError(ErrorCode::BadArgument, Parts{encoder.GetName(), "null"}));
  EXPECT_THAT(ErrorOf([&] { encoder.Configure(decoder.CreateConfig()); }),
              IsError(ErrorCode::BadArgument, Parts{encoder.GetName(), "NumThreads"}));
}

TEST_F(DriverChecks, RefuseVariants) {
  for (const std::int32_t variant : {0, 5, 9}) {
    ExpectRefuses(SetVariant(ProResCodecVariant{variant}), ErrorCode::BadArgument,
                  {"ProResCodecVariant", std::to_string(variant), "Proxy", "HQ"});
  }
}

TEST_F(DriverChecks, RefuseNegativeNumbersOfThreads) {
  ExpectRefuses([](auto& config) { config.SetInt("NumThreads", -1); }, ErrorCode::BadArgument,
                {"NumThreads", "-1", "0 to 4096"});
  EXPECT_THAT(ErrorOf([&] { encoder.SetCodecHook(nullptr, -1); }),
              IsError(ErrorCode::BadArgument, Parts{"-1 threads"}));
}

TEST_F(DriverChecks, RefuseUnknownAllocators) {
  const auto set = [](auto& config) { config.SetString("Allocator", "ExtBufferAllocator"); };
  ExpectRefuses(set, ErrorCode::NotFound, {"ExtBufferAllocator", "SetExtBufferCallbacks"});
}

TEST_F(DriverChecks, RefuseCallsOutOfOrder) {
  const auto wrongOrder = [&](const char* text) {
    return IsError(ErrorCode::WrongOrder, Parts{encoder.GetName(), text});
  };
  EXPECT_THAT(ErrorOf([&] { encoder.Define(DescribeRaw(kSmall)); }),
              wrongOrder("call Configure before Define"));
  EXPECT_THAT(ErrorOf([&] { encoder.Push(MakeRawFrame(kSmall, 1)); }),
              wrongOrder("call Configure before Push"));
  Configure(encoder);
  EXPECT_THAT(ErrorOf([&] { encoder.SetFrameMemory({}); }),
              wrongOrder("call SetFrameMemory before Configure"));
  EXPECT_THAT(ErrorOf([&] { encoder.Push(MakeRawFrame(kSmall, 1)); }),
              wrongOrder("call Define before Push"));
  encoder.Define(DescribeRaw(kSmall));
  encoder.Push(MakeRawFrame(kSmall, 1));
  EXPECT_THAT(ErrorOf([&] { encoder.Push(MakeRawFrame(kSmall, 2)); }),
              wrongOrder("call Pull before Push"));
  ExpectFrame(encoder.Pull(), kSmall, 1, ProResCodecVariant::Standard);
  encoder.Release();
  EXPECT_THAT(ErrorOf([&] { encoder.Push(MakeRawFrame(kSmall, 3)); }), wrongOrder("after Release"));
}

/// A description with a fault, and the error that it causes.
struct Fault {
  const char* name;
  Shape shape;
  ErrorCode code;
  Parts parts;
};

const Fault kFaults[] = {
    {"NoWidth", {.width = 0}, ErrorCode::BadArgument, {"width of 0", "65535"}},
    {"NoHeight", {.height = 0}, ErrorCode::BadArgument, {"height of 0", "65535"}},
    {"LargeWidth", {.width = 65536}, ErrorCode::BadArgument, {"width of 65536", "65535"}},
    {"LargeHeight", {.height = 65536}, ErrorCode::BadArgument, {"height of 65536", "65535"}},
    {"NoScanMode", {.scanMode = ScanMode{0}}, ErrorCode::BadArgument, {"scan mode 0", "allowed"}},
    {"OddScanMode", {.scanMode = ScanMode{3}}, ErrorCode::BadArgument, {"scan mode 3", "allowed"}},
    {"NegativeRate", {.rate = {-25, 1}}, ErrorCode::BadArgument, {"-25/1", "0/1"}},
    {"RateWithoutSeconds", {.rate = {25, 0}}, ErrorCode::BadArgument, {"25/0", "0/1"}},
    {"FourGigabytes",
     {.width = 65535, .height = 65535},
     ErrorCode::Unsupported,
     {"65535x65535", "4 GiB"}},
    {"FourGigabytesOfUnknownRate",
     {.width = 65535, .height = 65535, .rate = {0, 1}},
     ErrorCode::Unsupported,
     {"65535x65535", "4 GiB"}},
};

/// Faults of raw frames only.
const Fault kRawFaults[] = {
    {"OnePixel", {.width = 1}, ErrorCode::BadArgument, {"width of 1", "2 to 65535"}},
    {"OneRow", {.height = 1}, ErrorCode::BadArgument, {"height of 1", "2 to 65535"}},
    {"OtherFormat",
     {.fourcc = MakeFourCC("RGBA")},
     ErrorCode::Unsupported,
     {"RGBA", "UYVY", "V210"}},
    {"FormatOf4444",
     {.fourcc = kFourCC_Y416},
     ErrorCode::Unsupported,
     {R"(the pixel format "Y416" (0x36313459); allowed: "UYVY", "V210")"}},
    {"UnevenFields",
     {.height = 33, .scanMode = ScanMode::Interlaced},
     ErrorCode::Unsupported,
     {"33", "macroblock rows"}},
};

class Descriptions : public DriverChecks, public ::testing::WithParamInterface<Fault> {};
class RawDescriptions : public Descriptions {};

TEST_P(Descriptions, AreRefusedByDecoders) {
  Configure(decoder);
  EXPECT_THAT(ErrorOf([&] { decoder.Define(DescribeProRes(GetParam().shape)); }),
              IsError(GetParam().code, GetParam().parts));
  EXPECT_FALSE(decoder.GetOutput());
}

TEST_P(RawDescriptions, AreRefusedByEncoders) {
  Configure(encoder);
  EXPECT_THAT(ErrorOf([&] { encoder.Define(DescribeRaw(GetParam().shape)); }),
              IsError(GetParam().code, GetParam().parts));
  EXPECT_FALSE(encoder.GetOutput());
}

INSTANTIATE_TEST_SUITE_P(Faults, Descriptions, ::testing::ValuesIn(kFaults), kNameOfParameter);
INSTANTIATE_TEST_SUITE_P(Faults, RawDescriptions, ::testing::ValuesIn(kFaults), kNameOfParameter);
INSTANTIATE_TEST_SUITE_P(RawFaults, RawDescriptions, ::testing::ValuesIn(kRawFaults),
                         kNameOfParameter);

using Infos = std::vector<std::shared_ptr<const IVideoInfo>>;

/// A description of several streams.
class ManyStreams final : public IInfoContainer {
 public:
  explicit ManyStreams(Infos infos) : infos_(std::move(infos)) {}
  Infos GetInfo() const override { return infos_; }

 private:
  Infos infos_;
};

TEST_F(DriverChecks, RefuseDescriptionsOfSomethingElse) {
  for (ElementDriver* driver : {&encoder, &decoder}) {
    Configure(*driver);
    const auto refuses = [&](const Stream& stream, const std::string& part) {
      EXPECT_THAT(ErrorOf([&] { driver->Define(stream); }),
                  IsError(ErrorCode::BadArgument, Parts{driver->GetName(), part}));
    };
    refuses(nullptr, "null");
    refuses(Describe(nullptr), "without video parameters");
    refuses(CreateInfoContainer(nullptr, nullptr), "Only one input video");
    const auto info = DescribeRaw(kSmall)->GetInfo().front();
    refuses(std::make_shared<ManyStreams>(Infos{info, info}), "Only one input video");
    refuses(std::make_shared<ManyStreams>(Infos{nullptr}), "without video parameters");
    driver->Release();
  }
}

TEST_F(DriverChecks, RefuseTheConfigurationOfAnotherElement) {
  EXPECT_THAT(ErrorOf([&] { encoder.Configure(decoder.CreateConfig()); }),
              IsError(ErrorCode::BadArgument, Parts{"another element", "CreateConfig"}));
}

TEST_F(DriverChecks, RefuseUnknownPoliciesAndThreads) {
  const auto refused = [](const std::string& part) {
    return IsError(ErrorCode::BadArgument, Parts{part});
  };
  EXPECT_THAT(ErrorOf([&] { decoder.SetInputChange(InputChange{9}); }), refused("InputChange 9"));
  EXPECT_THAT(ErrorOf([&] { decoder.SetCodecHook(nullptr, 2); }), refused("need a codec hook"));
  EXPECT_THAT(ErrorOf([&] { decoder.SetCodecHook(nullptr, 4097); }), refused("0 to 4096"));
  EXPECT_THAT(
      ErrorOf([&] { Configure(encoder, [](auto& config) { config.SetInt("NumThreads", 4097); }); }),
      refused("0 to 4096"));
}

TEST_F(DriverChecks, NameTheElementsThatThereAre) {
  EXPECT_THAT(
      ErrorOf([] { ElementDriver(ElementFactoryType::VideoDecoder, "", "ProRes"); }),
      IsError(ErrorCode::NotFound, Parts{"VideoDecoder..ProRes", "VideoDecoder.vix.ProRes"}));
}

TEST_F(DriverChecks, RefuseTheOtherElementsInput) {
  Configure(encoder);
  EXPECT_THAT(
      ErrorOf([&] { encoder.Define(DescribeProRes(kSmall)); }),
      IsError(ErrorCode::BadArgument, Parts{"description of ProRes video", "takes Raw video"}));
  Configure(decoder);
  EXPECT_THAT(
      ErrorOf([&] { decoder.Define(DescribeRaw(kSmall)); }),
      IsError(ErrorCode::BadArgument, Parts{"description of Raw video", "takes ProRes video"}));
}

TEST_F(DriverChecks, KeepTheDefinedStreamIfANewOneIsRefused) {
  Configure(encoder);
  encoder.Define(DescribeRaw(kSmall));
  const Stream before = encoder.GetOutput();
  ErrorOf([&] { encoder.Define(DescribeRaw({.width = 0})); });
  ErrorOf([&] { encoder.Define(DescribeProRes({.width = 128})); });
  EXPECT_EQ(encoder.GetOutput()->GetInfo().front()->GetVideoParameters()->GetWidth(), kSmall.width);
  ExpectFrame(Process(encoder, MakeRawFrame(kSmall, 1)), kSmall, 1, ProResCodecVariant::Standard);

  Configure(decoder);
  decoder.Define(DescribeProRes(kSmall));
  ErrorOf([&] { decoder.Define(DescribeRaw({.width = 128})); });
  ExpectPicture(Process(decoder, MakeProResFrame(kSmall, 1)), kSmall, 1, {});
}

using Samples = std::vector<std::shared_ptr<const IVideoSample>>;

/// A container of several samples.
class ManySamples final : public ISampleContainer {
 public:
  explicit ManySamples(Samples samples) : samples_(std::move(samples)) {}
  Samples GetVideoSamples(std::shared_ptr<const ITrack>,
                          std::shared_ptr<const IChannelInfo>) const override {
    return samples_;
  }

 private:
  Samples samples_;
};

TEST_F(DriverChecks, RefuseContainersOfNoneOrManyFrames) {
  Configure(encoder);
  encoder.Define(DescribeRaw(kSmall));
  Configure(decoder);
  decoder.Define(DescribeProRes(kSmall));
  for (ElementDriver* driver : {&encoder, &decoder}) {
    const bool isEncoder = driver == &encoder;
    const Container frame = isEncoder ? MakeRawFrame(kSmall, 1) : MakeProResFrame(kSmall, 1);
    const auto refuses = [&](const Container& container, const std::string& part) {
      EXPECT_THAT(ErrorOf([&] { driver->Push(container); }),
                  IsError(ErrorCode::BadArgument, Parts{driver->GetName(), part}));
    };
    const auto sample = SampleOf(frame);
    refuses(nullptr, "null");
    refuses(CreateSampleContainer(nullptr, nullptr), "0 video samples");
    refuses(std::make_shared<ManySamples>(Samples{sample, sample}), "2 video samples");
    refuses(std::make_shared<ManySamples>(Samples{nullptr}), "null");
    EXPECT_TRUE(Process(*driver, frame));
  }
}

TEST_F(DriverChecks, RefuseRawFramesThatTheirDescriptionDoesNotFit) {
  Configure(encoder);
  encoder.Define(DescribeRaw(kSmall));
  auto bytes = DrawPicture(kSmall, 1);
  const std::string required = std::to_string(bytes.size());
  bytes.pop_back();
  EXPECT_THAT(ErrorOf([&] { encoder.Push(Wrap(bytes, DescribeRaw(kSmall))); }),
              IsError(ErrorCode::Truncated, Parts{std::to_string(bytes.size()), required}));
  EXPECT_THAT(ErrorOf([&] { encoder.Push(Wrap(bytes, DescribeProRes(kSmall))); }),
              IsError(ErrorCode::BadArgument, Parts{"without a description of raw video"}));
  EXPECT_THAT(ErrorOf([&] { encoder.Push(Wrap(bytes, Describe(nullptr))); }),
              IsError(ErrorCode::BadArgument, Parts{"without a description of raw video"}));
  ExpectFrame(Process(encoder, MakeRawFrame(kSmall, 2)), kSmall, 2, ProResCodecVariant::Standard);
}

TEST_F(DriverChecks, EncodeFramesOfEitherPixelFormatInOneStream) {
  Configure(encoder);
  encoder.Define(DescribeRaw(kSmall));
  const Shape other{.fourcc = kFourCC_UYVY};
  ExpectFrame(Process(encoder, MakeRawFrame(kSmall, 1)), kSmall, 1, ProResCodecVariant::Standard);
  ExpectFrame(Process(encoder, MakeRawFrame(other, 2)), other, 2, ProResCodecVariant::Standard);
}

}  // namespace
}  // namespace vix::test
