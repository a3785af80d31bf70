// SPDX-License-Identifier: BSD-2-Clause
#include "vix/ElementDriver.h"

#include <cstdint>
#include <memory>
#include <string>
#include <utility>

#include "vix/Error.h"
#include "vix/Logging.h"
#include "vix/RawVideoUtils.h"
#include "vix/WorkflowStepImplementation.h"

namespace vix {
namespace {

std::shared_ptr<IMediaFilter> MakeElement(ElementFactoryType factoryType,
                                          const std::string& implementation,
                                          const std::string& type) {
  switch (factoryType) {
    case ElementFactoryType::VideoDecoder:
      return ImplementElement<ElementFactoryType::VideoDecoder>(implementation, type, nullptr);
    case ElementFactoryType::VideoEncoder:
      return ImplementElement<ElementFactoryType::VideoEncoder>(implementation, type, nullptr);
    default:
      return nullptr;
  }
}

/// The call that leads to each stage of a driver.
constexpr const char* kCallLeadingTo[] = {"the constructor", "Configure", "Define"};

}  // namespace

struct ElementDriver::State {
  /// Progress of a driver.
  enum class Stage { Created, Configured, Defined };

  std::string name;
  std::shared_ptr<IMediaFilter> element;  ///< null after Release()
  std::shared_ptr<const IParametersCollectionInstance> manifest;
  std::shared_ptr<const ISampleContainer> waitingOutput;
  Stage stage = Stage::Created;

  [[noreturn]] void Reject(const std::string& reason) const {
    throw VIXRuntimeError(name + ": " + reason);
  }

  /// Rejects `call` if the element was released or has not reached the stage `needed`.
  void CheckOrder(const std::string& call, Stage needed) const {
    if (!element) Reject(call + " was called after Release");
    if (stage < needed) {
      const Stage next = static_cast<Stage>(static_cast<int>(stage) + 1);
      Reject("call " + std::string(kCallLeadingTo[static_cast<int>(next)]) + " before " + call);
    }
  }

  /// Rejects a raw frame that is shorter than its description: elements do not check the size.
  void CheckRawFrame(const IVideoSample& sample) const {
    const auto raw =
        std::dynamic_pointer_cast<const IVideoParameters_RAW>(sample.GetVideoParameters());
    if (!raw || (raw->GetFourCC() != kFourCC_UYVY && raw->GetFourCC() != kFourCC_V210)) return;
    const std::uint32_t described = RawVideoUtils::GetFrameBytes(
        raw->GetFourCC(), VideoChroma::C422, raw->GetWidth(), raw->GetHeight());
    const auto buffer = sample.GetBuffer();
    const std::uint32_t held = buffer ? buffer->GetSize() : 0;
    if (held < described) {
      Reject("Push got a frame of " + std::to_string(held) + " bytes; its description requires " +
             std::to_string(described));
    }
  }
};

ElementDriver::ElementDriver(ElementFactoryType factoryType, const std::string& implementation,
                             const std::string& type)
    : state_(std::make_unique<State>()) {
  State& state = *state_;
  state.name = GetLabel(factoryType) + '.' + implementation + '.' + type;
  const ContextScope context(state.name);
  state.element = MakeElement(factoryType, implementation, type);
  state.manifest = GetManifest(factoryType, implementation, type);
  if (!state.element || !state.manifest) state.Reject("the factory made no video element");
}

ElementDriver::~ElementDriver() = default;
ElementDriver::ElementDriver(ElementDriver&&) noexcept = default;
ElementDriver& ElementDriver::operator=(ElementDriver&&) noexcept = default;

const std::string& ElementDriver::GetName() const {
  return state_->name;
}

std::shared_ptr<IParametersCollectionInstance> ElementDriver::CreateConfig() const {
  state_->CheckOrder("CreateConfig", State::Stage::Created);
  return CreateParametersCollectionInstance(state_->manifest->GetPrototype());
}

void ElementDriver::Configure(std::shared_ptr<const IParametersCollectionInstance> config) {
  State& state = *state_;
  state.CheckOrder("Configure", State::Stage::Created);
  if (!config) state.Reject("Configure got a null configuration");
  const ContextScope context(state.name);
  state.element->SetInitConfig(std::move(config));
  if (state.stage == State::Stage::Created) state.stage = State::Stage::Configured;
}

std::shared_ptr<const IInfoContainer> ElementDriver::Define(
    std::shared_ptr<const IInfoContainer> input) {
  State& state = *state_;
  state.CheckOrder("Define", State::Stage::Configured);
  if (!input) state.Reject("Define got a null input description");
  const ContextScope context(state.name);
  state.element->DefineInput(std::move(input), "");
  state.stage = State::Stage::Defined;
  return state.element->GetDefinedOutput("");
}

void ElementDriver::Push(std::shared_ptr<const ISampleContainer> container) {
  State& state = *state_;
  state.CheckOrder("Push", State::Stage::Defined);
  if (!container) state.Reject("Push got a null sample container");
  if (state.waitingOutput) state.Reject("call Pull before Push: an output is waiting");
  for (const auto& sample : container->GetVideoSamples(nullptr, nullptr)) {
    if (sample) state.CheckRawFrame(*sample);
  }
  const ContextScope context(state.name);
  state.element->PushSample(std::move(container));
  // Taken at once: an element has no operation that reports whether an output is waiting.
  state.waitingOutput = state.element->GetSample();
}

std::shared_ptr<const ISampleContainer> ElementDriver::Pull() {
  state_->CheckOrder("Pull", State::Stage::Defined);
  return std::exchange(state_->waitingOutput, nullptr);
}

void ElementDriver::Release() {
  State& state = *state_;
  if (!state.element) return;
  const ContextScope context(state.name);
  state.waitingOutput.reset();
  // The driver releases its reference even if the element's Release() throws.
  const std::shared_ptr<IMediaFilter> element = std::move(state.element);
  element->ClearInternalBuffer();
  element->Release();
}

}  // namespace vix
