// SPDX-License-Identifier: BSD-2-Clause
#include "VideoEncoderProRes.h"

#include <algorithm>
#include <array>
#include <cstdint>

#include "VideoCodecProResCommon.h"
#include "vix/ProResRates.h"
#include "vix/RawVideoUtils.h"

namespace vix {
namespace {

/// Line numbers in the records of DefineInput(). Readers of the log rely on them.
constexpr int kNoConfigLine = 79;
constexpr int kTrackCountLine = 84;
constexpr int kNotRawLine = 87;
constexpr int kFourCCLine = 91;

constexpr const char* kVariantKey = "ProResCodecVariant";

/// Returns the resolution class of a picture height; heights that are not listed have none.
VideoResolution GetResolution(std::uint32_t height) {
  struct Class {
    std::uint32_t height;
    VideoResolution resolution;
  };
  constexpr std::array<Class, 7> kClasses{{{480, VideoResolution::Lines480},
                                           {576, VideoResolution::Lines576},
                                           {720, VideoResolution::Lines720},
                                           {1080, VideoResolution::Lines1080},
                                           {2160, VideoResolution::Lines2160},
                                           {240, VideoResolution::Lines240},
                                           {288, VideoResolution::Lines288}}};
  const auto* const found = std::find_if(kClasses.begin(), kClasses.end(),
                                         [=](const Class& c) { return c.height == height; });
  return found == kClasses.end() ? VideoResolution::Unrecognised : found->resolution;
}

/// Returns the nominal data rate of the stream in megabits per second.
std::uint32_t GetNominalRate(const IVideoParameters_ProRes& parameters) {
  const VideoResolution resolution = GetResolution(parameters.GetHeight());
  const EditRate editRate = parameters.GetEditRate();
  return GetProResVideoRateMbps(parameters.GetProResCodecVariant(), editRate, resolution);
}

/// Describes the sample's raw picture for the codec library, which reads the sample's own memory.
PixelBufferRecord DescribePicture(const std::shared_ptr<const IVideoParameters_RAW>& parameters,
                                  std::uint32_t width, std::uint32_t height,
                                  const ISample& sample) {
  PixelBufferRecord picture{};
  picture.pixelFormat = GetPixelFormat(parameters->GetFourCC());
  picture.height = height;
  picture.rowBytes = RawVideoUtils::GetStrides(parameters).at(0);
  picture.width = width;
  // Without a buffer the address stays null, which the library rejects.
  if (const auto buffer = sample.GetBuffer()) picture.baseAddress = buffer->GetData();
  return picture;
}

/// Wraps the encoded frame in a sample of the defined output stream.
std::shared_ptr<ISampleContainer> WrapFrame(std::shared_ptr<const IBuffer> frame,
                                            const IInfoContainer& output, const ISample& source) {
  const std::shared_ptr<const IVideoInfo> info = output.GetInfo().at(0);
  const std::shared_ptr<const IVideoParameters> parameters = info->GetVideoParameters();
  return CreateSampleContainer(
      CreateVideoSample(parameters, info, std::move(frame), source.GetTimeLimits(), {}), nullptr);
}

}  // namespace

VideoEncoderProRes::VideoEncoderProRes(
    std::shared_ptr<const IParametersCollectionInstance> factoryConfig)
    : config(std::move(factoryConfig)), allocator(CreateRecycler()), encoderHandle(nullptr) {}

VideoEncoderProRes::~VideoEncoderProRes() {
  if (encoderHandle != nullptr) WPRCloseEncoder(encoderHandle);
}

void VideoEncoderProRes::DefineInput(std::shared_ptr<const IInfoContainer> input,
                                     std::string /*name*/) {
  CheckNotNull(initConfig, "Need config prior to define input for encoder", kNoConfigLine);
  const auto infos = input->GetInfo();
  CheckEqual<std::uint64_t>("Only one input video track allowed", 1, infos.size(), kTrackCountLine);
  const auto inputParameters = infos.front()->GetVideoParameters();
  CheckEqual("Need raw input", static_cast<int>(VCodecFamily::Raw),
             static_cast<int>(inputParameters->GetCodecFamily()), kNotRawLine);
  const auto& raw = dynamic_cast<const IVideoParameters_RAW&>(*inputParameters);
  if (raw.GetFourCC() != kFourCC_UYVY && raw.GetFourCC() != kFourCC_V210)
    FailUnbracketed("UYVY and V210 inputs only", kFourCCLine);

  definedInput = std::move(input);
  const auto output = CreateVideoParameters<VCodecFamily::ProRes>();
  CopyCommonProperties(inputParameters, *output);
  output->SetProResCodecVariant(initConfig->GetProResCodecVariant(kVariantKey));
  output->SetBitRate(GetNominalRate(*output));
  definedOutput = CreateInfoContainer(
      CreateVideoInfo(output, infos.front()->GetChannelInfo(), {}, {}), nullptr);
}

void VideoEncoderProRes::InitProResEncoder() {
  if (encoderHandle != nullptr) return;
  encoderHandle = WPROpenEncoder(initConfig->GetInt("NumThreads"), nullptr);
  CheckNotNull(encoderHandle, "WPROpenEncoder failed");
}

void VideoEncoderProRes::PushSample(std::shared_ptr<const ISampleContainer> container) {
  const auto samples = container->GetVideoSamples(nullptr, nullptr);
  CheckEqual<std::uint64_t>("only one input allowed", 1, samples.size());
  const IVideoSample& sample = *samples.front();
  const auto raw =
      std::dynamic_pointer_cast<const IVideoParameters_RAW>(sample.GetVideoParameters());
  CheckNotNull(raw, "Invalid video codec family");
  const std::uint32_t width = raw->GetWidth();
  const std::uint32_t height = raw->GetHeight();

  InitProResEncoder();
  EncodeParamsRecord params{};
  params.codecType = GetProResCodecType(initConfig->GetProResCodecVariant(kVariantKey));
  params.interlaceMode = GetInterlaceMode(raw->GetScanMode());
  std::uint32_t maxBytes = 0;
  std::uint32_t targetBytes = 0;
  WPRGetCompressedFrameSize(params.codecType, width, height, &maxBytes, &targetBytes);

  const PixelBufferRecord picture = DescribePicture(raw, width, height, sample);
  const auto frame = CreateBuffer(allocator, nullptr);
  frame->Allocate(maxBytes);
  std::uint8_t* const destination = frame->GetData();
  std::uint32_t compressedBytes = 0;
  const std::int32_t result = WPREncodeFrame(encoderHandle, &params, &picture, destination,
                                             frame->GetSize(), &compressedBytes);
  CheckEqual<std::int32_t>("Failed to encode prores frame", 0, result);
  frame->SetSize(compressedBytes);
  outputSample = WrapFrame(frame, *definedOutput, sample);
}

std::shared_ptr<IVideoEncoder> CreateVideoEncoderProRes(
    std::shared_ptr<const IParametersCollectionInstance> config) {
  return std::make_shared<VideoEncoderProRes>(std::move(config));
}

}  // namespace vix
