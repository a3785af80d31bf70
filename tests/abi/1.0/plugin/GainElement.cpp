// SPDX-License-Identifier: BSD-2-Clause
#include "GainElement.h"

#include <algorithm>
#include <cstdint>

namespace {

constexpr int kBlack = 16;
constexpr int kLargestPercent = 400;

// UYVY has the byte order U Y V Y.
void Multiply(const vix::IBuffer& source, vix::IBuffer& destination, int percent) {
  const std::uint8_t* const in = source.GetData();
  std::uint8_t* const out = destination.GetData();
  for (std::uint32_t i = 0; i < source.GetSize(); ++i) {
    const bool isLuma = i % 2 == 1;
    const int luma = kBlack + (in[i] - kBlack) * percent / 100;
    out[i] = isLuma ? static_cast<std::uint8_t>(std::clamp(luma, 0, 255)) : in[i];
  }
}

}  // namespace

GainElement::GainElement(std::shared_ptr<const vix::IParametersCollectionInstance> manifest)
    : manifest_(std::move(manifest)),
      // The core's allocator that reuses memory, so a stream of pictures needs no new blocks.
      allocator_(vix::ImplementElement<vix::ElementFactoryType::MemoryBlockAllocator>(
          "vix", "Recycler", nullptr)) {}

void GainElement::SetInitConfig(std::shared_ptr<const vix::IParametersCollectionInstance> config) {
  const int percent = config->GetInt("Percent");
  if (percent < 0 || percent > kLargestPercent) {
    vix::Fail("Percent " + std::to_string(percent) + " is outside 0 to " +
              std::to_string(kLargestPercent));
  }
  percent_ = percent;
}

void GainElement::DefineInput(std::shared_ptr<const vix::IInfoContainer> input,
                              std::string /*name*/) {
  const auto infos = input->GetInfo();
  vix::CheckEqual<std::size_t>("Only one input stream allowed", 1, infos.size());
  const auto raw = std::dynamic_pointer_cast<const vix::IVideoParameters_RAW>(
      infos.front()->GetVideoParameters());
  vix::CheckNotNull(raw, "Need raw input");
  if (raw->GetFourCC() != vix::kFourCC_UYVY) vix::Fail("UYVY input only");
  stream_ = std::move(input);
}

void GainElement::PushSample(std::shared_ptr<const vix::ISampleContainer> container) {
  const auto samples = container->GetVideoSamples(nullptr, nullptr);
  vix::CheckEqual<std::size_t>("Only one sample allowed", 1, samples.size());
  const vix::IVideoSample& sample = *samples.front();
  const auto source = sample.GetBuffer();
  vix::CheckNotNull(source, "Need a sample with a buffer");

  const auto destination = vix::CreateBuffer(allocator_, nullptr);
  destination->Allocate(source->GetSize());
  Multiply(*source, *destination, percent_);
  const auto info = stream_->GetInfo().front();
  output_ = vix::CreateSampleContainer(
      vix::CreateVideoSample(info->GetVideoParameters(), info, destination, sample.GetTimeLimits(),
                             sample.GetMetadata()),
      nullptr);
}
