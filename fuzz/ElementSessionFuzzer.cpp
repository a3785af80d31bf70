// SPDX-License-Identifier: BSD-2-Clause
// Drives the elements of both plug-ins with configurations, descriptions and samples of all kinds.
// The first byte selects the element and how it is driven:
// - by an ElementDriver, in any order of calls: every failure is a VIXError that names the element;
// - directly, in the order that elements require: several frames in both layouts for the decoder
//   "vix", any calls for the elements of "vix4444", which check the order themselves.
#include <ProRes/ProResHost.h>
#include <vix/ProResCodecHook.h>
#include <vix/vix.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <numeric>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "Elements.h"
#include "FuzzInput.h"
#include "Require.h"

namespace {

/// Larger pictures only make the fuzzer slow.
constexpr std::uint32_t kMaxPixels = 1 << 12;
/// Limit of the host's memory.
constexpr std::size_t kMaxFrameBytes = 1 << 20;
constexpr int kMostCalls = 16;

using Sample = std::shared_ptr<const vix::ISampleContainer>;
using Infos = std::shared_ptr<const vix::IInfoContainer>;
using Config = std::shared_ptr<vix::IParametersCollectionInstance>;

/// What the target does to an element, driven or not.
class Calls {
 public:
  virtual ~Calls() = default;
  virtual Config CreateConfig() const = 0;
  virtual void Configure(Config config) = 0;
  virtual void Define(Infos infos) = 0;
  virtual void Push(Sample sample) = 0;
  virtual Sample Pull() = 0;
  virtual void Release() = 0;
  /// Makes another call that `choice` selects.
  virtual void MakeOther(std::uint8_t choice) = 0;
  /// Requires what holds for each failure.
  virtual void Check(const vix::VIXRuntimeError& error) const = 0;
};

/// Returns memory of the host for one picture or frame, with slack between rows if `user` is set.
vix::FrameMemory AllocateFrame(void* user, const vix::FrameMemoryRequest& request) {
  constexpr std::uint32_t kSlack = 16;
  const std::uint32_t stride = request.stride + (user && request.stride != 0 ? kSlack : 0);
  const std::size_t bytes = stride == 0 ? request.bytes : std::size_t{stride} * request.height;
  if (bytes > kMaxFrameBytes) return {};
  return {new std::uint8_t[bytes], stride};
}

void ReleaseFrame(void* /*user*/, std::uint8_t* data) {
  delete[] data;
}

class DriverCalls : public Calls {
 public:
  DriverCalls(vix::ElementFactoryType type, const char* implementation)
      : driver_(type, implementation, vix::GetLabel(vix::VCodecFamily::ProRes)) {
    driver_.SetCodecHook(std::make_shared<vix::ProResCodecHook>(), 1);
  }
  Config CreateConfig() const override { return driver_.CreateConfig(); }
  void Configure(Config config) override { driver_.Configure(std::move(config)); }
  void Define(Infos infos) override { Require(driver_.Define(std::move(infos)) != nullptr); }
  void Push(Sample sample) override { driver_.Push(std::move(sample)); }
  Sample Pull() override { return driver_.Pull(); }
  void Release() override { driver_.Release(); }
  void MakeOther(std::uint8_t choice) override {
    static bool withSlack = true;  // only its address is used
    if (choice & 2) {
      driver_.SetFrameMemory({choice & 4 ? &withSlack : nullptr, AllocateFrame, ReleaseFrame});
    }
    driver_.SetInputChange(choice & 1 ? vix::InputChange::Redefine : vix::InputChange::Refuse);
    driver_.GetCodecReport();
    driver_.GetOutput();
  }
  void Check(const vix::VIXRuntimeError& error) const override {
    Require(dynamic_cast<const vix::VIXError*>(&error) != nullptr);
    Require(std::string(error.what()).starts_with(driver_.GetName()));
  }

 private:
  vix::ElementDriver driver_;
};

template <vix::ElementFactoryType T>
class ElementCalls : public Calls {
 public:
  explicit ElementCalls(const char* implementation)
      : element_(vix::ImplementElement<T>(implementation, vix::GetLabel(vix::VCodecFamily::ProRes),
                                          nullptr)) {}
  Config CreateConfig() const override {
    return vix::CreateParametersCollectionInstance(element_->GetManifest()->GetPrototype());
  }
  void Configure(Config config) override { element_->SetInitConfig(std::move(config)); }
  void Define(Infos infos) override { element_->DefineInput(std::move(infos), ""); }
  void Push(Sample sample) override { element_->PushSample(std::move(sample)); }
  Sample Pull() override { return element_->GetSample(); }
  void Release() override { element_->Release(); }
  void MakeOther(std::uint8_t choice) override {
    if (choice & 1) element_->ClearInternalBuffer();
    if (choice & 2) element_->Flush();
    if (choice & 4) element_->Interrupt();
    if (choice & 8) element_->UpdateConfig(nullptr);
    element_->GetDefinedInput("");
    element_->GetDefinedOutput("");
  }
  void Check(const vix::VIXRuntimeError& error) const override { Require(*error.what() != 0); }

 private:
  typename vix::ElementFactoryType_traits<T>::InstanceType element_;
};

/// Requires that a sample of the output is complete, and reads it.
void ReadOutput(const Sample& container) {
  if (!container) return;
  const auto samples = container->GetVideoSamples(nullptr, nullptr);
  Require(samples.size() == 1 && samples[0]->GetBuffer() && samples[0]->GetVideoParameters());
  const std::span bytes(samples[0]->GetBuffer()->GetData(), samples[0]->GetBuffer()->GetSize());
  volatile std::uint32_t sink = std::accumulate(bytes.begin(), bytes.end(), 0U);
  static_cast<void>(sink);
}

/// Returns a container with a compressed frame, or a raw picture of any size, of a description.
Sample MakeSample(FuzzInput& input) {
  const std::uint8_t choice = input.Byte();
  if (choice == 255) return nullptr;
  if (choice == 254) return vix::CreateSampleContainer(nullptr, nullptr);
  const auto parameters = choice & 1 ? MakeParameters(input) : nullptr;
  std::vector<std::uint8_t> bytes;
  if (choice & 2) {
    bytes.resize(input.Word());
    std::ranges::fill(bytes, input.Byte());
  } else {
    bytes = input.Take(input.Word());
    if (IsLargerThan(bytes, kMaxPixels)) bytes.clear();
  }
  const auto buffer = choice & 4 ? nullptr : MakeBuffer(std::move(bytes));
  return vix::CreateSampleContainer(
      vix::CreateVideoSample(parameters, nullptr, buffer, {{1, 2, {25, 1}}}, {}), nullptr);
}

void MakeCall(Calls& calls, FuzzInput& input) {
  switch (input.Byte() % 8) {
    case 0: {
      const Config config = calls.CreateConfig();
      try {
        SetParameters(*config, input);
      } catch (const vix::VIXRuntimeError&) {
        // The schema refused a value. Those before it are set.
      }
      calls.Configure(config);
      break;
    }
    case 1:
      calls.Define(MakeInfos(input));
      break;
    case 2:
      ReadOutput(calls.Pull());
      break;
    case 3:
      calls.MakeOther(input.Byte());
      break;
    case 4:
      // Rare, as the driver refuses everything after it.
      if (input.Byte() == 1) calls.Release();
      break;
    default:
      calls.Push(MakeSample(input));
      ReadOutput(calls.Pull());
  }
}

/// Makes calls in any order.
void MakeCalls(Calls& calls, FuzzInput& input) {
  for (int i = 0; i < kMostCalls && input.Left() > 0; ++i) {
    try {
      MakeCall(calls, input);
    } catch (const vix::VIXRuntimeError& error) {
      calls.Check(error);
    }
  }
}

/// Pushes frames into the decoder "vix" in the order that it requires.
void DecodeFrames(FuzzInput& input) {
  ElementCalls<vix::ElementFactoryType::VideoDecoder> decoder("vix");
  const std::uint8_t choice = input.Byte();
  const Config config = decoder.CreateConfig();
  config->SetBool("SkipField", choice & 1);
  config->SetFourCC("OutputFourCC", choice & 2 ? vix::kFourCC_UYVY : vix::kFourCC_V210);
  config->SetString("Allocator", "ExtBufferAllocator");
  decoder.Configure(config);
  const auto parameters = vix::CreateVideoParameters(vix::VCodecFamily::ProRes);
  parameters->SetScanMode(vix::ScanMode::Interlaced);
  decoder.Define(vix::CreateInfoContainer(
      vix::CreateVideoInfo(parameters, vix::CreateChannelInfo(nullptr, 0), {}, {}), nullptr));
  while (input.Left() > 0) {
    const auto buffer = MakeBuffer(input.Take(input.Word()));
    try {
      decoder.Push(vix::CreateSampleContainer(
          vix::CreateVideoSample(nullptr, nullptr, buffer, {}, {}), nullptr));
      ReadOutput(decoder.Pull());
    } catch (const vix::VIXRuntimeError&) {
      // A rejected frame. The element must handle the next one.
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
  WPRSetDefaultThreads(1);  // waiting for other threads takes most of the time
  static const vix::LoadedPlugins loaded = vix::LoadPlugins("fuzzer");
  Require(loaded.plugins.size() == 2 && loaded.failures.empty());
  vix::SetCurrentLoggerWriter(
      vix::CreateLineLoggerWriter([](vix::LogLevel, const std::string&) {}));
  vix::SetExtBufferCallbacks(
      {[](std::size_t bytes) { return bytes > kMaxFrameBytes ? nullptr : new std::uint8_t[bytes]; },
       [](std::uint8_t* data, std::size_t) { delete[] data; }});
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using vix::ElementFactoryType;
  FuzzInput input(data, size);
  const std::uint8_t choice = input.Byte() % 7;
  if (choice == 0) {
    DecodeFrames(input);
    return 0;
  }
  const auto type =
      choice % 2 == 0 ? ElementFactoryType::VideoDecoder : ElementFactoryType::VideoEncoder;
  std::unique_ptr<Calls> calls;
  if (choice <= 4) {
    calls = std::make_unique<DriverCalls>(type, choice <= 2 ? "vix" : "vix4444");
  } else if (type == ElementFactoryType::VideoDecoder) {
    calls = std::make_unique<ElementCalls<ElementFactoryType::VideoDecoder>>("vix4444");
  } else {
    calls = std::make_unique<ElementCalls<ElementFactoryType::VideoEncoder>>("vix4444");
  }
  MakeCalls(*calls, input);
  return 0;
}
