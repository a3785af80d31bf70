// SPDX-License-Identifier: BSD-2-Clause
#include "Streams.h"

#include "ProRes/ProResHost.h"
#include "vix/Diagnostics.h"
#include "vix/Registry.h"
#include "vix/WorkflowStepImplementation.h"

namespace vix::prores4444 {

void AddThreads(IParametersCollectionPrototype& schema) {
  schema.AddParameterInt(kNumThreads, 0,
                         "Threads that share a frame; 0 = one per processor, or what the host has "
                         "set for this thread.");
}

std::int32_t ReadAlphaBits(const IParametersCollectionInstance& config) {
  const std::int32_t bits = config.GetInt(kAlphaBits);
  switch (bits) {
    case kAutomaticAlpha:
    case kWPRAlphaNone:
    case kWPRAlpha8:
    case kWPRAlpha16:
      return bits;
    default:
      Fail("AlphaBits is " + std::to_string(bits) + "; allowed: -1 (automatic), 0, 8, 16");
  }
}

std::int32_t ReadThreads(const IParametersCollectionInstance& config) {
  const std::int32_t threads = config.GetInt(kNumThreads);
  if (threads < 0) {
    Fail("NumThreads is " + std::to_string(threads) + "; allowed: 0 (automatic) and more");
  }
  return threads;
}

std::shared_ptr<const IVideoParameters> ReadOnlyStream(const IInfoContainer* container,
                                                       VCodecFamily family) {
  CheckNotNull(container, "DefineInput needs a description");
  const auto infos = container->GetInfo();
  if (infos.size() != 1 || !infos.front() || !infos.front()->GetVideoParameters()) {
    Fail("DefineInput got " + std::to_string(infos.size()) +
         " video streams; allowed: 1, with video parameters");
  }
  auto parameters = infos.front()->GetVideoParameters();
  if (parameters->GetCodecFamily() != family) {
    Fail("DefineInput got a description of " + GetLabel(parameters->GetCodecFamily()) +
         " video; allowed: " + GetLabel(family));
  }
  return parameters;
}

std::shared_ptr<const IVideoSample> ReadOnlySample(const ISampleContainer* container) {
  CheckNotNull(container, "PushSample needs a container");
  const auto samples = container->GetVideoSamples(nullptr, nullptr);
  if (samples.size() != 1 || !samples.front()) {
    Fail("PushSample got " + std::to_string(samples.size()) +
         " video samples; allowed: 1 that is not null");
  }
  return samples.front();
}

void CopyProperties(const IVideoParameters& source, IVideoParameters& target) {
  target.SetVideoProperty1(source.GetVideoProperty1());
  target.SetVideoProperty2(source.GetVideoProperty2());
  target.SetVideoProperty3(source.GetVideoProperty3());
  target.SetVideoProperty4(source.GetVideoProperty4());
  target.SetScanMode(source.GetScanMode());
  target.SetVideoProperty6(source.GetVideoProperty6());
  target.SetStoredWidth(source.GetStoredWidth());
  target.SetStoredHeight(source.GetStoredHeight());
  target.SetWidth(source.GetWidth());
  target.SetHeight(source.GetHeight());
  target.SetVideoProperty11(source.GetVideoProperty11());
  target.SetBitRate(source.GetBitRate());
  target.SetEditRate(source.GetEditRate());
}

std::shared_ptr<IMemoryBlockAllocator> CreateRecycler() {
  return ImplementElement<ElementFactoryType::MemoryBlockAllocator>("vix", "Recycler", nullptr);
}

std::string ResultText(std::int32_t result) {
  return "the codec library returned " + std::to_string(result) + " (a WPRResult)";
}

}  // namespace vix::prores4444
