// SPDX-License-Identifier: BSD-2-Clause
// Frames that differ from the defined stream, with both choices of the host.
#include <gtest/gtest.h>

#include "Drivers.h"
#include "Errors.h"
#include "Streams.h"

namespace vix::test {
namespace {

struct Change {
  const char* name;
  Shape other;
  std::string text;
};

const Change kChanges[] = {
    {"Larger", {.width = 160, .height = 96}, "160x96 progressive"},
    {"Smaller", {.width = 30, .height = 18}, "30x18 progressive"},
    {"Wider", {.width = 66}, "66x32 progressive"},
    {"Taller", {.height = 34}, "64x34 progressive"},
    {"Interlaced", {.scanMode = ScanMode::Interlaced}, "64x32 interlaced"},
};

class ChangedInput : public Drivers, public ::testing::WithParamInterface<Change> {
 protected:
  ChangedInput() {
    Configure(encoder);
    encoder.Define(DescribeRaw(kSmall));
    Configure(decoder);
    decoder.Define(DescribeProRes(kSmall));
  }
};

TEST_P(ChangedInput, IsRefusedWithBothShapes) {
  const Shape& other = GetParam().other;
  const auto changed =
      IsError(ErrorCode::FormatChanged, Parts{GetParam().text, "64x32 progressive", "Define"});
  for (int round = 0; round < 2; ++round) {
    EXPECT_THAT(ErrorOf([&] { encoder.Push(MakeRawFrame(other, 1)); }), changed);
    EXPECT_THAT(ErrorOf([&] { decoder.Push(MakeProResFrame(other, 1)); }), changed);
    ExpectEncodes(kSmall);
    ExpectDecodes(kSmall);
  }
}

TEST_P(ChangedInput, IsAcceptedAfterItWasDefined) {
  for (const Shape& shape : {kSmall, GetParam().other, kSmall}) {
    encoder.Define(DescribeRaw(shape));
    ExpectEncodes(shape);
    decoder.Define(DescribeProRes(shape));
    ExpectDecodes(shape);
  }
}

TEST_P(ChangedInput, RedefinesTheElementsInBothDirections) {
  encoder.SetInputChange(InputChange::Redefine);
  decoder.SetInputChange(InputChange::Redefine);
  for (const Shape& shape : {kSmall, GetParam().other, kSmall, GetParam().other}) {
    ExpectEncodes(shape);
    ExpectDecodes(shape);
    const Stream encoderOutput = encoder.GetOutput();
    const Stream decoderOutput = decoder.GetOutput();
    ExpectEncodes(shape);
    ExpectDecodes(shape);
    EXPECT_EQ(encoder.GetOutput(), encoderOutput);
    EXPECT_EQ(decoder.GetOutput(), decoderOutput);
  }
}

TEST_P(ChangedInput, KeepsTheConfiguration) {
  decoder.SetInputChange(InputChange::Redefine);
  Configure(decoder, [](auto& config) {
    config.SetFourCC("OutputFourCC", kFourCC_UYVY);
    config.SetBool("SkipField", true);
  });
  for (const Shape& shape : {kSmall, GetParam().other, kSmall}) {
    ExpectDecodes(shape, {.fourcc = kFourCC_UYVY, .skipField = true});
  }
}

INSTANTIATE_TEST_SUITE_P(Changes, ChangedInput, ::testing::ValuesIn(kChanges), kNameOfParameter);

class ChangedStream : public ChangedInput {};
INSTANTIATE_TEST_SUITE_P(Once, ChangedStream, ::testing::Values(kChanges[0]), kNameOfParameter);

TEST_P(ChangedStream, ReturnsAnotherDescriptionObject) {
  decoder.SetInputChange(InputChange::Redefine);
  const auto infoOf = [&](const Shape& shape) {
    return SampleOf(Process(decoder, MakeProResFrame(shape, 1)))->GetVideoInfo();
  };
  const auto first = infoOf(kSmall);
  EXPECT_EQ(infoOf(kSmall), first);
  EXPECT_NE(infoOf(GetParam().other), first);
}

TEST_P(ChangedStream, HasTheHostsDescriptionAgainAfterAnotherShape) {
  const auto parameters = CreateVideoParameters<VCodecFamily::Raw>();
  parameters->CopyFrom(DescribeRaw(kSmall)->GetInfo().front()->GetVideoParameters());
  parameters->SetStoredWidth(kSmall.width + 16);
  encoder.SetInputChange(InputChange::Redefine);
  encoder.Define(Describe(parameters));
  const auto storedWidth = [&] {
    return ProResOf(Process(encoder, MakeRawFrame(kSmall, 1)))->GetStoredWidth();
  };
  EXPECT_EQ(storedWidth(), kSmall.width + 16);
  Process(encoder, MakeRawFrame(GetParam().other, 2));
  EXPECT_EQ(storedWidth(), kSmall.width + 16);
}

TEST_P(ChangedStream, RefusesShapesThatNoElementProcesses) {
  encoder.SetInputChange(InputChange::Redefine);
  const Shape uneven{.height = 33, .scanMode = ScanMode::Interlaced};
  EXPECT_THAT(ErrorOf([&] { encoder.Push(MakeRawFrame(uneven, 1)); }),
              IsError(ErrorCode::Unsupported, Parts{encoder.GetName(), "33"}));
  EXPECT_THAT(ErrorOf([&] {
                encoder.Push(Wrap(std::vector<std::uint8_t>(64), DescribeRaw({.width = 1})));
              }),
              IsError(ErrorCode::Truncated, Parts{"64 bytes"}));
  ExpectEncodes(kSmall);
}

TEST_P(ChangedStream, ShowsItsChromaInTheError) {
  auto bytes = EncodeDirectly(kSmall, 1, ProResCodecVariant::HQ);
  const auto parameters = CreateVideoParameters<VCodecFamily::ProRes>();
  parameters->CopyFrom(DescribeProRes(kSmall)->GetInfo().front()->GetVideoParameters());
  parameters->SetVideoProperty1(static_cast<std::int32_t>(VideoChroma::C444));
  decoder.Define(Describe(parameters));
  EXPECT_THAT(ErrorOf([&] { decoder.Push(Wrap(bytes, DescribeProRes(kSmall))); }),
              IsError(ErrorCode::FormatChanged, Parts{"4:2:2", "4:4:4"}));
  decoder.SetInputChange(InputChange::Redefine);
  ExpectDecodes(kSmall);

  // The stream is 4:2:2 now.
  decoder.SetInputChange(InputChange::Refuse);
  constexpr std::size_t kFlagsOffset = 20;
  bytes.at(kFlagsOffset) |= 0xc0;
  EXPECT_THAT(ErrorOf([&] { decoder.Push(Wrap(bytes, DescribeProRes(kSmall))); }),
              IsError(ErrorCode::FormatChanged, Parts{"4:4:4 in a stream", "4:2:2;"}));
  ExpectDecodes(kSmall);
}

std::vector<FieldOrder> FieldOrdersOf(const Container& picture) {
  std::vector<FieldOrder> orders;
  for (const auto& metadata : SampleOf(picture)->GetMetadata()) {
    const auto order = std::dynamic_pointer_cast<const IFieldOrder>(metadata);
    if (order) orders.push_back(order->GetFieldOrder());
  }
  return orders;
}

TEST_P(ChangedStream, StatesTheFieldOrderOfInterlacedFrames) {
  auto bytes = EncodeDirectly(kInterlaced, 1, ProResCodecVariant::HQ);
  const auto orders = [&] {
    return FieldOrdersOf(Process(decoder, Wrap(bytes, DescribeProRes(kInterlaced))));
  };
  decoder.Define(DescribeProRes(kInterlaced));
  EXPECT_EQ(orders(), std::vector{FieldOrder::TopFirst});
  constexpr std::size_t kFlagsOffset = 20;
  bytes.at(kFlagsOffset) ^= 0x0c;  // the codes of top and bottom field first
  EXPECT_EQ(orders(), std::vector{FieldOrder::BottomFirst});
  Configure(decoder, SetSkipField(true));
  EXPECT_EQ(orders(), std::vector{FieldOrder::BottomFirst});
  decoder.Define(DescribeProRes(kSmall));
  EXPECT_TRUE(FieldOrdersOf(Process(decoder, MakeProResFrame(kSmall, 1))).empty());
}

class Metadata final : public IMetadata {};

TEST_P(ChangedStream, CarriesMetadataAlong) {
  const std::vector<std::shared_ptr<const IMetadata>> metadata{std::make_shared<Metadata>(),
                                                               std::make_shared<Metadata>()};
  const Container source = Wrap(DrawPicture(kSmall, 5), DescribeRaw(kSmall), 5, metadata);
  const Container frame = Process(encoder, source);
  EXPECT_EQ(SampleOf(frame)->GetMetadata(), metadata);
  const Container picture = Process(decoder, frame);
  EXPECT_EQ(SampleOf(picture)->GetMetadata(), metadata);
  ExpectPicture(picture, kSmall, 5, {});
}

}  // namespace
}  // namespace vix::test
