// SPDX-License-Identifier: BSD-2-Clause
#include "Streams.h"

#include <gtest/gtest.h>

#include <utility>

#include "ProRes/ProRes.h"
#include "vix/ProResRates.h"
#include "vix/RawVideoUtils.h"

namespace vix::test {
namespace {

void SetShape(const Shape& shape, IVideoParameters& parameters) {
  parameters.SetScanMode(shape.scanMode);
  parameters.SetWidth(shape.width);
  parameters.SetHeight(shape.height);
  parameters.SetStoredWidth(shape.width);
  parameters.SetStoredHeight(shape.height);
  parameters.SetEditRate(shape.rate);
}

EncodeParamsRecord ParametersOf(const Shape& shape, ProResCodecVariant variant) {
  static const std::map<ProResCodecVariant, std::uint32_t> kTypes{
      {ProResCodecVariant::Proxy, kWPRCodecProxy},
      {ProResCodecVariant::LT, kWPRCodecLT},
      {ProResCodecVariant::Standard, kWPRCodec422},
      {ProResCodecVariant::HQ, kWPRCodecHQ}};
  const bool isInterlaced = shape.scanMode == ScanMode::Interlaced;
  return {kTypes.at(variant), std::uint32_t(isInterlaced ? kWPRTopFieldFirst : kWPRProgressive)};
}

/// The rate of the smallest published size, in proportion to the area.
double BitRateOf(ProResCodecVariant variant, const Shape& shape) {
  const double share = double(shape.width) * shape.height / (720 * 486);
  EXPECT_LE(share, 1) << "the tests have small pictures";
  return share * GetProResVideoRateMbps(variant, shape.rate, VideoResolution::Lines480);
}

void ExpectTimeAndInfo(const IVideoSample& sample, const Shape& shape, unsigned number) {
  EXPECT_EQ(sample.GetTimeLimits(), (std::vector<TimeLimits>{{number, number + 1, {25, 1}}}));
  ASSERT_TRUE(sample.GetVideoInfo());
  EXPECT_EQ(sample.GetVideoInfo()->GetVideoParameters(), sample.GetVideoParameters());
  EXPECT_EQ(sample.GetVideoParameters()->GetEditRate(), shape.rate);
}

}  // namespace

std::shared_ptr<IPlugin> LoadProRes() {
  return LoadPlugin(VIX_PLUGIN, "host tests");
}

std::string ProResType() {
  return GetLabel(VCodecFamily::ProRes);
}

ElementDriver MakeEncoder() {
  return {ElementFactoryType::VideoEncoder, "vix", ProResType()};
}

ElementDriver MakeDecoder() {
  return {ElementFactoryType::VideoDecoder, "vix", ProResType()};
}

std::function<void(IParametersCollectionInstance&)> SetVariant(ProResCodecVariant variant) {
  return [=](auto& config) { config.SetProResCodecVariant("ProResCodecVariant", variant); };
}

std::function<void(IParametersCollectionInstance&)> SetFormat(FourCC fourcc) {
  return [=](auto& config) { config.SetFourCC("OutputFourCC", fourcc); };
}

std::function<void(IParametersCollectionInstance&)> SetSkipField(bool skipField) {
  return [=](auto& config) { config.SetBool("SkipField", skipField); };
}

Stream Describe(std::shared_ptr<const IVideoParameters> parameters) {
  return CreateInfoContainer(CreateVideoInfo(std::move(parameters), nullptr, {}, {}), nullptr);
}

Stream DescribeRaw(const Shape& shape) {
  const auto parameters = CreateVideoParameters<VCodecFamily::Raw>();
  parameters->SetFourCC(shape.fourcc);
  SetShape(shape, *parameters);
  return Describe(parameters);
}

Stream DescribeProRes(const Shape& shape) {
  const auto parameters = CreateVideoParameters<VCodecFamily::ProRes>();
  parameters->SetProResCodecVariant(ProResCodecVariant::Standard);
  SetShape(shape, *parameters);
  return Describe(parameters);
}

Container Wrap(const std::vector<std::uint8_t>& bytes, const Stream& stream, unsigned number,
               std::vector<std::shared_ptr<const IMetadata>> metadata) {
  const auto owned = std::make_shared<std::vector<std::uint8_t>>(bytes);
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

std::vector<std::uint8_t> EncodeDirectly(const Shape& shape, unsigned number,
                                         ProResCodecVariant variant) {
  const EncodeParamsRecord params = ParametersOf(shape, variant);
  std::uint32_t bytes = 0;
  EXPECT_EQ(WPRGetCompressedFrameSize(params.codecType, shape.width, shape.height, &bytes, nullptr),
            kWPRSuccess);
  std::vector<std::uint8_t> frame(bytes);
  std::vector<std::uint8_t> source = DrawPicture(shape, number);
  const bool isV210 = shape.fourcc == kFourCC_V210;
  const PixelBufferRecord picture{
      source.data(), static_cast<std::uint32_t>(source.size() / shape.height),
      std::uint32_t(isV210 ? kWPRPixelFormatV210 : kWPRPixelFormat2vuy), shape.width, shape.height};
  const std::unique_ptr<void, decltype(&WPRCloseEncoder)> encoder(WPROpenEncoder(1, nullptr),
                                                                  WPRCloseEncoder);
  EXPECT_EQ(WPREncodeFrame(encoder.get(), &params, &picture, frame.data(), bytes, &bytes),
            kWPRSuccess);
  frame.resize(bytes);
  return frame;
}

Container MakeProResFrame(const Shape& shape, unsigned number, ProResCodecVariant variant) {
  return Wrap(EncodeDirectly(shape, number, variant), DescribeProRes(shape), number);
}

Container Process(ElementDriver& driver, const Container& frame) {
  driver.Push(frame);
  return driver.Pull();
}

std::shared_ptr<const IVideoSample> SampleOf(const Container& container) {
  return container ? container->GetVideoSamples(nullptr, nullptr).at(0) : nullptr;
}

std::vector<std::uint8_t> BytesOf(const Container& container) {
  const auto buffer = SampleOf(container)->GetBuffer();
  return {buffer->GetData(), buffer->GetData() + buffer->GetSize()};
}

std::shared_ptr<const IVideoParameters_RAW> RawOf(const Container& container) {
  return std::dynamic_pointer_cast<const IVideoParameters_RAW>(
      SampleOf(container)->GetVideoParameters());
}

std::shared_ptr<const IVideoParameters_ProRes> ProResOf(const Container& container) {
  return std::dynamic_pointer_cast<const IVideoParameters_ProRes>(
      SampleOf(container)->GetVideoParameters());
}

void ExpectPicture(const Container& container, const Shape& shape, unsigned number,
                   const Decoding& decoding) {
  ASSERT_TRUE(container);
  const auto sample = SampleOf(container);
  const auto raw = RawOf(container);
  ASSERT_TRUE(raw);
  const bool isField = decoding.skipField && shape.scanMode == ScanMode::Interlaced;
  const std::uint32_t rows = isField ? shape.height / 2 : shape.height;
  EXPECT_EQ(raw->GetFourCC(), decoding.fourcc);
  EXPECT_EQ(raw->GetWidth(), shape.width);
  EXPECT_EQ(raw->GetHeight(), rows);
  EXPECT_EQ(raw->GetStoredWidth(), shape.width);
  EXPECT_EQ(raw->GetStoredHeight(), rows);
  EXPECT_EQ(raw->GetScanMode(), isField ? ScanMode::Progressive : shape.scanMode);
  ExpectTimeAndInfo(*sample, shape, number);

  const std::uint32_t packed = RawVideoUtils::GetStrides(raw).front();
  const double framesPerSecond = double(shape.rate.numerator) / shape.rate.denominator;
  EXPECT_DOUBLE_EQ(raw->GetBitRate(), 8e-6 * packed * rows * framesPerSecond);
  const std::uint32_t stride = decoding.stride != 0 ? decoding.stride : packed;
  ASSERT_EQ(sample->GetBuffer()->GetSize(), stride * rows);
  const PictureMemory picture{decoding.fourcc, sample->GetBuffer()->GetData(), stride, isField};
  EXPECT_LE(MostDifference(shape, number, picture), kMostCodingError);
}

void ExpectFrame(const Container& container, const Shape& shape, unsigned number,
                 ProResCodecVariant variant) {
  ASSERT_TRUE(container);
  const auto parameters = ProResOf(container);
  ASSERT_TRUE(parameters);
  EXPECT_EQ(parameters->GetProResCodecVariant(), variant);
  EXPECT_EQ(parameters->GetWidth(), shape.width);
  EXPECT_EQ(parameters->GetHeight(), shape.height);
  EXPECT_EQ(parameters->GetScanMode(), shape.scanMode);
  EXPECT_NEAR(parameters->GetBitRate(), BitRateOf(variant, shape), 1e-6);
  ExpectTimeAndInfo(*SampleOf(container), shape, number);
  EXPECT_EQ(BytesOf(container), EncodeDirectly(shape, number, variant));
}

}  // namespace vix::test
