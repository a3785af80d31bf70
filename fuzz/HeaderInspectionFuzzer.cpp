// SPDX-License-Identifier: BSD-2-Clause
// Pushes several arbitrary frames, in the standard and in the bare layout, through one decoder
// element, so that joins of two fields and growing scratch memory are reached.
#include <vix/vix.h>

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "FuzzInput.h"

extern "C" void RegisterAll(const char* registrant);

namespace {

/// Limit of the allocator, enough for small pictures: the fuzzer chooses the sizes.
constexpr std::size_t kMaxFrameBytes = 1 << 20;

std::shared_ptr<const vix::IInfoContainer> DescribeInput() {
  const auto parameters = vix::CreateVideoParameters<vix::VCodecFamily::ProRes>();
  parameters->SetScanMode(vix::ScanMode::Interlaced);
  return vix::CreateInfoContainer(
      vix::CreateVideoInfo(parameters, vix::CreateChannelInfo(nullptr, 0), {}, {}), nullptr);
}

std::shared_ptr<vix::IVideoDecoder> MakeDecoder(bool skipField, vix::FourCC fourcc) {
  auto decoder = vix::ImplementElement<vix::ElementFactoryType::VideoDecoder>(
      "vix", vix::GetLabel(vix::VCodecFamily::ProRes), nullptr);
  const auto config =
      vix::CreateParametersCollectionInstance(decoder->GetManifest()->GetPrototype());
  config->SetBool("SkipField", skipField);
  config->SetFourCC("OutputFourCC", fourcc);
  config->SetString("Allocator", "ExtBufferAllocator");
  decoder->SetInitConfig(config);
  decoder->DefineInput(DescribeInput(), "");
  return decoder;
}

void Push(vix::IVideoDecoder& decoder, std::vector<std::uint8_t> frame) {
  auto memory = std::make_shared<std::vector<std::uint8_t>>(std::move(frame));
  auto* data = memory->data();
  const auto buffer =
      vix::CreateBuffer(nullptr, vix::CreateMemoryBlock(data, memory->size(), [memory] {}));
  const auto sample = vix::CreateVideoSample(nullptr, nullptr, buffer, {}, {});
  try {
    decoder.PushSample(vix::CreateSampleContainer(sample, nullptr));
  } catch (const vix::VIXRuntimeError&) {
    // A rejected frame. The element must handle the next one.
  }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
  RegisterAll("fuzzer");
  vix::SetCurrentLoggerWriter(
      vix::CreateLineLoggerWriter([](vix::LogLevel, const std::string&) {}));
  vix::SetExtBufferCallbacks(
      {[](std::size_t bytes) { return bytes > kMaxFrameBytes ? nullptr : new std::uint8_t[bytes]; },
       [](std::uint8_t* data, std::size_t) { delete[] data; }});
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzInput input(data, size);
  const std::uint8_t choice = input.Byte();
  const auto decoder = MakeDecoder(choice & 1, choice & 2 ? vix::kFourCC_UYVY : vix::kFourCC_V210);
  while (input.Left() > 0) Push(*decoder, input.Take(input.Word()));
  return 0;
}
