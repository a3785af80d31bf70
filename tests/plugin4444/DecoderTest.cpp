// SPDX-License-Identifier: BSD-2-Clause
// The decoder element without a driver: parameters, descriptions and refusals.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "ErrorText.h"
#include "Streams.h"
#include "vix/Buffers.h"

namespace vix::test4444 {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;

constexpr std::size_t kPrefixBytes = 8;

class Decoders : public Elements {
 protected:
  void Define(const Set& set = kDefaults) {
    SetConfig(*decoder, set);
    decoder->DefineInput(DescribeProRes({}), "");
  }
  std::string RefusalOf(const Stream& stream) {
    SetConfig(*decoder);
    return ErrorTextOf([&] { decoder->DefineInput(stream, ""); });
  }
  std::string RefusalOf(const Bytes& bytes) {
    return ErrorTextOf([&] { decoder->PushSample(Wrap(bytes, DescribeProRes({}))); });
  }

  std::shared_ptr<IVideoDecoder> decoder = MakeDecoder();
};

TEST_F(Decoders, DeclareTheirParameters) {
  const auto parameters = decoder->GetManifest()->GetPrototype()->GetDescriptions();
  ASSERT_EQ(parameters.size(), 4u);
  EXPECT_EQ(parameters[0].name, "OutputFourCC");
  EXPECT_EQ(parameters[0].allowedValues, (std::vector<std::string>{"Y416", "b64A"}));
  EXPECT_EQ(parameters[1].name, "AlphaBits");
  EXPECT_EQ(parameters[1].defaultValue, "-1");
  EXPECT_EQ(parameters[2].name, "NumThreads");
  EXPECT_EQ(parameters[2].defaultValue, "0");
  EXPECT_EQ(parameters[3].name, "Allocator");
  EXPECT_EQ(parameters[3].defaultValue, "");
}

TEST_F(Decoders, DescribeTheirOutput) {
  const auto parameters = ProResParameters({.scanMode = ScanMode::Interlaced, .matrix = 9});
  parameters->SetVideoProperty1(static_cast<std::int32_t>(VideoChroma::C422));
  parameters->SetVideoProperty2(2000);
  parameters->SetVideoProperty3(3000);
  parameters->SetVideoProperty6(6000);
  parameters->SetVideoProperty11(11000);
  parameters->SetStoredHeight(48);
  parameters->SetBitRate(330);
  const Stream input = Describe(parameters);
  for (const auto& [bits, chroma] : {std::pair(0, VideoChroma::C444),
                                     {8, VideoChroma::C4444},
                                     {16, VideoChroma::C4444},
                                     {-1, VideoChroma::C4444}}) {
    SCOPED_TRACE(bits);
    SetConfig(*decoder, SetInt("AlphaBits", bits));
    decoder->DefineInput(input, "");
    EXPECT_EQ(decoder->GetDefinedInput(""), input);
    const auto output = std::dynamic_pointer_cast<const IVideoParameters_RAW>(
        ParametersOf(decoder->GetDefinedOutput("")));
    ASSERT_TRUE(output);
    EXPECT_EQ(output->GetFourCC(), kFourCC_Y416);
    EXPECT_EQ(output->GetVideoProperty1(), static_cast<std::int32_t>(chroma));
    EXPECT_EQ(output->GetVideoProperty2(), 2000);
    EXPECT_EQ(output->GetVideoProperty3(), 3000);
    EXPECT_EQ(output->GetVideoProperty4(), 9);
    EXPECT_EQ(output->GetVideoProperty6(), 4) << "packed 4:4:4:4";
    EXPECT_EQ(output->GetVideoProperty11(), 11000);
    EXPECT_EQ(output->GetScanMode(), ScanMode::Interlaced);
    EXPECT_EQ(output->GetWidth(), 64u);
    EXPECT_EQ(output->GetHeight(), 32u);
    EXPECT_EQ(output->GetStoredHeight(), 48u);
    EXPECT_EQ(output->GetBitRate(), 330);
    EXPECT_EQ(output->GetEditRate(), (EditRate{25, 1}));
  }
  Define(SetFourCC("OutputFourCC", kFourCC_b64A));
  EXPECT_EQ(dynamic_cast<const IVideoParameters_RAW&>(*ParametersOf(decoder->GetDefinedOutput("")))
                .GetFourCC(),
            kFourCC_b64A);
}

TEST_F(Decoders, CarryTimeDescriptionAndMetadata) {
  struct Mark final : IMetadata {};
  Define();
  const auto mark = std::make_shared<Mark>();
  const Container frame = Wrap(BytesOf(Encode({}, 1)), DescribeProRes({}), 7, {mark});
  const auto sample = SampleOf(Process(*decoder, frame));
  EXPECT_EQ(sample->GetTimeLimits(), (std::vector<TimeLimits>{{7, 8, {25, 1}}}));
  EXPECT_EQ(sample->GetMetadata(), (std::vector<std::shared_ptr<const IMetadata>>{mark}));
  EXPECT_EQ(sample->GetVideoInfo(), decoder->GetDefinedOutput("")->GetInfo().front());
  EXPECT_FALSE(decoder->GetSample());
}

TEST_F(Decoders, RefuseParameters) {
  for (const int bits : {-2, 1, 12, 17}) {
    EXPECT_THAT(ErrorTextOf([&] { SetConfig(*decoder, SetInt("AlphaBits", bits)); }),
                AllOf(HasSubstr("AlphaBits is " + std::to_string(bits)), HasSubstr("0, 8, 16")));
  }
  EXPECT_THAT(ErrorTextOf([&] { SetConfig(*decoder, SetInt("NumThreads", -3)); }),
              HasSubstr("NumThreads is -3"));
  EXPECT_THAT(ErrorTextOf([&] { SetConfig(*decoder, SetFourCC("OutputFourCC", kFourCC_V210)); }),
              AllOf(HasSubstr("V210"), HasSubstr("Y416"), HasSubstr("b64A")));
  const Set setAllocator = [](auto& config) { config.SetString("Allocator", "Nothing"); };
  EXPECT_THAT(ErrorTextOf([&] { SetConfig(*decoder, setAllocator); }),
              HasSubstr("no allocator \"Nothing\""));
  EXPECT_THAT(ErrorTextOf([&] { decoder->SetInitConfig(nullptr); }), HasSubstr("configuration"));
  EXPECT_THAT(ErrorTextOf([&] { decoder->UpdateConfig(nullptr); }), HasSubstr("SetInitConfig"));
}

TEST_F(Decoders, RefuseStreams) {
  EXPECT_THAT(RefusalOf(Stream()), HasSubstr("DefineInput needs a description"));
  EXPECT_THAT(RefusalOf(CreateInfoContainer(nullptr, nullptr)), HasSubstr("0 video streams"));
  EXPECT_THAT(RefusalOf(Describe(nullptr)), HasSubstr("with video parameters"));
  EXPECT_THAT(RefusalOf(DescribeRaw({})),
              AllOf(HasSubstr("Raw video"), HasSubstr("allowed: ProRes")));
}

TEST_F(Decoders, RefuseCallsOutOfOrder) {
  EXPECT_THAT(ErrorTextOf([&] { decoder->DefineInput(DescribeProRes({}), ""); }),
              HasSubstr("before SetInitConfig"));
  EXPECT_THAT(RefusalOf(Bytes(100)), HasSubstr("before DefineInput"));
}

TEST_F(Decoders, RefuseFramesOfAnotherSize) {
  Define();
  EXPECT_THAT(RefusalOf(BytesOf(Encode({.width = 70, .height = 50}, 1))),
              AllOf(HasSubstr("size is 70x50"), HasSubstr("stream 64x32")));
  ExpectPicture(Process(*decoder, Encode({}, 2)), {}, 2);
}

TEST_F(Decoders, RefuseFramesWithoutPrefix) {
  Define();
  const Bytes frame = BytesOf(Encode({}, 1));
  EXPECT_THAT(RefusalOf(Bytes(frame.begin() + kPrefixBytes, frame.end())),
              AllOf(HasSubstr("8-byte prefix"), HasSubstr("bare layout")));
  for (const std::size_t bytes : {1u, 4u, 7u}) {
    EXPECT_THAT(RefusalOf(Bytes(frame.begin(), frame.begin() + std::ptrdiff_t(bytes))),
                HasSubstr("8-byte prefix"));
  }
}

TEST_F(Decoders, RefuseDamagedAndMissingFrames) {
  Define();
  Bytes frame = BytesOf(Encode({}, 1));
  EXPECT_THAT(RefusalOf(Bytes(frame.begin(), frame.end() - 1)), HasSubstr("returned -3"));
  frame.at(11) = 9;  // the version of the bitstream
  EXPECT_THAT(RefusalOf(frame), HasSubstr("returned -4"));
  const auto info = DescribeProRes({})->GetInfo().front();
  for (const auto& buffer : {std::shared_ptr<IBuffer>(), CreateBuffer(nullptr, nullptr)}) {
    const auto sample = CreateVideoSample(info->GetVideoParameters(), info, buffer, {}, {});
    EXPECT_THAT(ErrorTextOf([&] { decoder->PushSample(CreateSampleContainer(sample, nullptr)); }),
                HasSubstr("needs a sample with a buffer"));
  }
  ExpectPicture(Process(*decoder, Encode({}, 2)), {}, 2);
}

TEST_F(Decoders, ConcealDamagedSlices) {
  Define();
  Bytes frame = BytesOf(Encode({}, 1, SetInt("AlphaBits", 0)));
  const Container intact = Process(*decoder, Wrap(frame, DescribeProRes({})));
  std::fill(frame.end() - 60, frame.end(), 0xff);
  const Container picture = Process(*decoder, Wrap(frame, DescribeProRes({})));
  ASSERT_TRUE(picture);
  EXPECT_NE(BytesOf(picture), BytesOf(intact));
}

TEST_F(Decoders, TakeTheAllocatorThatTheHostNames) {
  std::size_t allocated = 0;
  SetExtBufferCallbacks({[&](std::size_t bytes) {
                           allocated += bytes;
                           return new std::uint8_t[bytes];
                         },
                         [](std::uint8_t* data, std::size_t) { delete[] data; }});
  Define([](auto& config) { config.SetString("Allocator", "ExtBufferAllocator"); });
  SetExtBufferCallbacks({});
  ExpectPicture(Process(*decoder, Encode({}, 1)), {}, 1);
  EXPECT_EQ(allocated, 64u * 32 * 8);
  Define();
  ExpectPicture(Process(*decoder, Encode({}, 2)), {}, 2);
  EXPECT_EQ(allocated, 64u * 32 * 8) << "a configuration without allocator goes back to its own";
}

TEST_F(Decoders, DecodeAgainAfterRelease) {
  Define();
  const Container frame = Encode({}, 1);
  ExpectPicture(Process(*decoder, frame), {}, 1);
  decoder->PushSample(frame);
  decoder->ClearInternalBuffer();
  EXPECT_FALSE(decoder->GetSample());
  decoder->Release();
  decoder->Release();
  ExpectPicture(Process(*decoder, frame), {}, 1);
}

}  // namespace
}  // namespace vix::test4444
