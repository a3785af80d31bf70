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

}  // namespace

struct ElementDriver::State {
  /// How far a driver has come; the calls that lead from one stage to the next.
  enum class Stage { Created, Configured, Defined };
  static constexpr const char* kCallLeadingTo[] = {"the constructor", "Configure", "Define"};

  std::string name;
  std::shared_ptr<IMediaFilter> element;  ///< null after Release()
  std::shared_ptr<const IParametersCollectionInstance> manifest;
  std::shared_ptr<const ISampleContainer> waitingOutput;
  Stage stage = Stage::Created;

  [[noreturn]] void Refuse(const std::string& reason) const {
    throw VIXRuntimeError(name + ": " + reason);
  }

  /// Refuses `call` when the element was released or has not come as far as `needed`.
  void CheckOrder(const std::string& call, Stage needed) const {
    if (!element) Refuse(call + " came after Release");
    if (stage < needed) {
      const Stage next = static_cast<Stage>(static_cast<int>(stage) + 1);
      Refuse(call + " needs " + kCallLeadingTo[static_cast<int>(next)] + " first");
    }
  }

  /// Refuses a raw frame that is shorter than its description says: elements read it as described.
  void CheckRawFrame(const IVideoSample& sample) const {
    const auto raw =
        std::dynamic_pointer_cast<const IVideoParameters_RAW>(sample.GetVideoParameters());
    if (!raw || (raw->GetFourCC() != kFourCC_UYVY && raw->GetFourCC() != kFourCC_V210)) return;
    const std::uint32_t described = RawVideoUtils::GetFrameBytes(
        raw->GetFourCC(), VideoChroma::C422, raw->GetWidth(), raw->GetHeight());
    const auto buffer = sample.GetBuffer();
    const std::uint32_t held = buffer ? buffer->GetSize() : 0;
    if (held < described) {
      Refuse("Push was given a frame of " + std::to_string(held) + " bytes that is described as " +
             std::to_string(described) + " bytes");
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
  if (!state.element || !state.manifest) state.Refuse("there is no element that can be driven");
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
  if (!config) state.Refuse("Configure needs a configuration, not null");
  const ContextScope context(state.name);
  state.element->SetInitConfig(std::move(config));
  if (state.stage == State::Stage::Created) state.stage = State::Stage::Configured;
}

std::shared_ptr<const IInfoContainer> ElementDriver::Define(
    std::shared_ptr<const IInfoContainer> input) {
  State& state = *state_;
  state.CheckOrder("Define", State::Stage::Configured);
  if (!input) state.Refuse("Define needs an input description, not null");
  const ContextScope context(state.name);
  state.element->DefineInput(std::move(input), "");
  state.stage = State::Stage::Defined;
  return state.element->GetDefinedOutput("");
}

void ElementDriver::Push(std::shared_ptr<const ISampleContainer> container) {
  State& state = *state_;
  state.CheckOrder("Push", State::Stage::Defined);
  if (!container) state.Refuse("Push needs a sample container, not null");
  if (state.waitingOutput) state.Refuse("Push needs Pull first: an output waits");
  for (const auto& sample : container->GetVideoSamples(nullptr, nullptr)) {
    if (sample) state.CheckRawFrame(*sample);
  }
  const ContextScope context(state.name);
  state.element->PushSample(std::move(container));
  // Taken at once, because an element does not tell whether an output waits.
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
  // The driver has let go of the element even if its Release() throws.
  const std::shared_ptr<IMediaFilter> element = std::move(state.element);
  element->ClearInternalBuffer();
  element->Release();
}

}  // namespace vix
