// SPDX-License-Identifier: BSD-2-Clause
#include "Streams.h"

#include <utility>

#include "vix/Buffers.h"
#include "vix/WorkflowStepImplementation.h"

namespace vix::test4444 {
namespace {

void SetShape(const Shape& shape, IVideoParameters& parameters) {
  parameters.SetScanMode(shape.scanMode);
  parameters.SetWidth(shape.width);
  parameters.SetHeight(shape.height);
  parameters.SetStoredWidth(shape.width);
  parameters.SetStoredHeight(shape.height);
  parameters.SetVideoProperty4(shape.matrix);
  parameters.SetEditRate(shape.rate);
}

}  // namespace

Set SetInt(const std::string& name, int value) {
  return [=](auto& config) { config.SetInt(name, value); };
}

Set SetFourCC(const std::string& name, FourCC value) {
  return [=](auto& config) { config.SetFourCC(name, value); };
}

std::shared_ptr<IVideoParameters_RAW> RawParameters(const Shape& shape) {
  auto parameters = CreateVideoParameters<VCodecFamily::Raw>();
  parameters->SetFourCC(shape.fourcc);
  parameters->SetVideoProperty1(static_cast<std::int32_t>(shape.chroma));
  SetShape(shape, *parameters);
  return parameters;
}

std::shared_ptr<IVideoParameters_ProRes> ProResParameters(const Shape& shape) {
  auto parameters = CreateVideoParameters<VCodecFamily::ProRes>();
  SetShape(shape, *parameters);
  return parameters;
}

Stream Describe(std::shared_ptr<const IVideoParameters> parameters) {
  return CreateInfoContainer(CreateVideoInfo(std::move(parameters), nullptr, {}, {}), nullptr);
}

Stream DescribeRaw(const Shape& shape) {
  return Describe(RawParameters(shape));
}

Stream DescribeProRes(const Shape& shape) {
  return Describe(ProResParameters(shape));
}

std::shared_ptr<const IVideoParameters> ParametersOf(const Stream& stream) {
  return stream->GetInfo().at(0)->GetVideoParameters();
}

Container Wrap(const Bytes& bytes, const Stream& stream, unsigned number,
               std::vector<std::shared_ptr<const IMetadata>> metadata) {
  const auto owned = std::make_shared<Bytes>(bytes);
  const auto block = CreateMemoryBlock(owned->data(), owned->size(), [owned] {});
  const auto info = stream->GetInfo().front();
  return CreateSampleContainer(
      CreateVideoSample(info->GetVideoParameters(), info, CreateBuffer(nullptr, block),
                        {{number, number + 1, {25, 1}}}, std::move(metadata)),
      nullptr);
}

Container MakeRawFrame(const Shape& shape, unsigned number) {
  return Wrap(DrawPicture(shape, number), DescribeRaw(shape), number);
}

std::shared_ptr<const IVideoSample> SampleOf(const Container& container) {
  return container->GetVideoSamples(nullptr, nullptr).at(0);
}

Bytes BytesOf(const Container& container) {
  const auto buffer = SampleOf(container)->GetBuffer();
  return {buffer->GetData(), buffer->GetData() + buffer->GetSize()};
}

void ExpectPicture(const Container& container, const Shape& shape, unsigned number, int alphaBits) {
  ASSERT_TRUE(container);
  const auto sample = SampleOf(container);
  EXPECT_EQ(sample->GetTimeLimits(), (std::vector<TimeLimits>{{number, number + 1, {25, 1}}}));
  const auto raw =
      std::dynamic_pointer_cast<const IVideoParameters_RAW>(sample->GetVideoParameters());
  ASSERT_TRUE(raw);
  EXPECT_EQ(raw->GetFourCC(), shape.fourcc);
  EXPECT_EQ(raw->GetWidth(), shape.width);
  EXPECT_EQ(raw->GetHeight(), shape.height);
  const Difference difference = Compare(shape, number, BytesOf(container), alphaBits);
  EXPECT_EQ(difference.alpha, 0);
  EXPECT_LE(difference.colour, kMostCodingError);
}

std::shared_ptr<IVideoEncoder> Elements::MakeEncoder() {
  return ImplementElement<ElementFactoryType::VideoEncoder>(kImplementation, kType, nullptr);
}

std::shared_ptr<IVideoDecoder> Elements::MakeDecoder() {
  return ImplementElement<ElementFactoryType::VideoDecoder>(kImplementation, kType, nullptr);
}

Container Elements::Encode(const Shape& shape, unsigned number, const Set& set) {
  const auto encoder = MakeEncoder();
  SetConfig(*encoder, set);
  encoder->DefineInput(DescribeRaw(shape), "");
  return Process(*encoder, MakeRawFrame(shape, number));
}

Container Elements::Decode(const Container& frame, const Shape& shape, const Set& set) {
  const auto decoder = MakeDecoder();
  SetConfig(*decoder, set);
  decoder->DefineInput(DescribeProRes(shape), "");
  return Process(*decoder, frame);
}

}  // namespace vix::test4444
