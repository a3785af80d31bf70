// SPDX-License-Identifier: BSD-2-Clause
#include "run/ElementStream.h"

#include <utility>
#include <vector>

#include "run/CodecEnvironment.h"
#include "vix/Error.h"
#include "vix/Registry.h"

namespace vixprores {
namespace {

// Values of the host's numbered stream properties.
constexpr std::int32_t kPacked422 = 2;       // sample structure
constexpr std::int32_t kStoredAsFrames = 1;  // picture structure

std::shared_ptr<vix::IVideoParameters> MakeParameters(const StreamFormat& format) {
  if (format.IsRaw()) {
    auto raw = vix::CreateVideoParameters<vix::VCodecFamily::Raw>();
    raw->SetFourCC(format.code);
    return raw;
  }
  auto compressed = vix::CreateVideoParameters<vix::VCodecFamily::ProRes>();
  const ProResVariant* const variant = FindProResVariant(format.code);
  compressed->SetProResCodecVariant(variant ? variant->variant : vix::ProResCodecVariant::Standard);
  return compressed;
}

vix::ElementDriver MakeProResElement(vix::ElementFactoryType factoryType) {
  return {factoryType, "vix", vix::GetLabel(vix::VCodecFamily::ProRes)};
}

}  // namespace

std::shared_ptr<const vix::IVideoInfo> DescribeStream(const StreamFormat& format) {
  const auto parameters = MakeParameters(format);
  parameters->SetVideoProperty1(static_cast<std::int32_t>(vix::VideoChroma::C422));
  parameters->SetVideoProperty2(format.colour.primaries);
  parameters->SetVideoProperty3(format.colour.transfer);
  parameters->SetVideoProperty4(format.colour.matrix);
  parameters->SetVideoProperty6(kPacked422);
  parameters->SetVideoProperty11(kStoredAsFrames);
  parameters->SetScanMode(format.IsInterlaced() ? vix::ScanMode::Interlaced
                                                : vix::ScanMode::Progressive);
  parameters->SetStoredWidth(format.width);
  parameters->SetStoredHeight(format.height);
  parameters->SetWidth(format.width);
  parameters->SetHeight(format.height);
  parameters->SetEditRate(format.rate);
  return vix::CreateVideoInfo(parameters, vix::CreateChannelInfo(nullptr, 0), {}, {});
}

ElementStream::ElementStream(vix::ElementDriver element, const StreamFormat& input)
    : element_(std::move(element)), input_(input), info_(DescribeStream(input)) {
  element_.Define(vix::CreateInfoContainer(info_, nullptr));
}

std::shared_ptr<const vix::IVideoSample> ElementStream::Process(
    std::shared_ptr<const vix::IBuffer> frame, std::int64_t number) {
  const std::int64_t begin = input_.start + number;
  const auto sample = vix::CreateVideoSample(info_->GetVideoParameters(), info_, std::move(frame),
                                             {{begin, begin + 1, input_.rate}}, {});
  element_.Push(vix::CreateSampleContainer(sample, nullptr));
  const auto output = element_.Pull();
  const auto samples = output ? output->GetVideoSamples(nullptr, nullptr)
                              : std::vector<std::shared_ptr<const vix::IVideoSample>>{};
  if (samples.size() != 1) throw vix::VIXRuntimeError(element_.GetName() + " gave no frame");
  return samples.front();
}

vix::ElementDriver MakeProResEncoder(const ProResVariant& variant, int threads) {
  auto encoder = MakeProResElement(vix::ElementFactoryType::VideoEncoder);
  const auto config = encoder.CreateConfig();
  config->SetInt("NumThreads", threads);
  config->SetProResCodecVariant("ProResCodecVariant", variant.variant);
  encoder.Configure(config);
  return encoder;
}

vix::ElementDriver MakeProResDecoder(vix::FourCC fourcc, bool skipField, int threads) {
  SetAutomaticThreads(threads);
  auto decoder = MakeProResElement(vix::ElementFactoryType::VideoDecoder);
  const auto config = decoder.CreateConfig();
  config->SetBool("SkipField", skipField);
  config->SetFourCC("OutputFourCC", fourcc);
  decoder.Configure(config);
  return decoder;
}

}  // namespace vixprores
