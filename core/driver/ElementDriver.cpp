// SPDX-License-Identifier: BSD-2-Clause
#include "vix/ElementDriver.h"

#include <utility>

#include "driver/DrivenElement.h"
#include "driver/Settings.h"
#include "vix/Error.h"

namespace vix {

struct __attribute__((visibility("hidden"))) ElementDriver::State {
  /// Progress of a driver, and the call that leads to each stage.
  enum Stage { Created, Configured, Defined };
  static constexpr const char* kCallLeadingTo[] = {"the constructor", "Configure", "Define"};

  DrivenElement element;
  DrivenElement::Container waitingOutput;
  Stage stage = Created;

  /// Rejects `call` if the element was released or has not reached the stage `needed`.
  void CheckOrder(const std::string& call, Stage needed) const {
    if (element.IsReleased())
      element.Reject(ErrorCode::WrongOrder, call + " was called after Release");
    if (stage >= needed) return;

    element.Reject(ErrorCode::WrongOrder,
                   "call " + std::string(kCallLeadingTo[stage + 1]) + " before " + call);
  }

  void CheckArgument(bool isValid, const std::string& reason) const {
    if (!isValid) element.Reject(ErrorCode::BadArgument, reason);
  }
};

ElementDriver::ElementDriver(ElementFactoryType factoryType, const std::string& implementation,
                             const std::string& type)
    : state_(new State{DrivenElement(factoryType, implementation, type), nullptr}) {}

ElementDriver::~ElementDriver() = default;
ElementDriver::ElementDriver(ElementDriver&&) noexcept = default;
ElementDriver& ElementDriver::operator=(ElementDriver&&) noexcept = default;

const std::string& ElementDriver::GetName() const {
  return state_->element.GetName();
}

std::shared_ptr<IParametersCollectionInstance> ElementDriver::CreateConfig() const {
  state_->CheckOrder("CreateConfig", State::Created);
  return CreateParametersCollectionInstance(state_->element.GetSchema());
}

std::vector<ParameterDescription> ElementDriver::DescribeParameters() const {
  return NameEnumerators(state_->element.GetSchema()->GetDescriptions());
}

void ElementDriver::Configure(std::shared_ptr<const IParametersCollectionInstance> config) {
  State& state = *state_;
  state.CheckOrder("Configure", State::Created);
  state.CheckArgument(config != nullptr, "Configure got a null configuration");
  DrivenElement& element = state.element;
  auto settings = element.Do(
      "Configure got ", [&] { return element.ReadSettings(*config); }, ErrorCode::BadArgument);
  element.Do(
      "Configure failed: ", [&] { element.Change(std::move(settings)); }, ErrorCode::BadArgument);
  if (state.stage == State::Created) state.stage = State::Configured;
}

std::shared_ptr<const IInfoContainer> ElementDriver::Define(
    std::shared_ptr<const IInfoContainer> input) {
  State& state = *state_;
  state.CheckOrder("Define", State::Configured);
  state.CheckArgument(input != nullptr, "Define got a null input description");
  DrivenElement& element = state.element;
  element.Do("Define got ", [&] { element.CheckInput(*input); });
  element.Do(
      "Define failed: ", [&] { element.Define(input); }, ErrorCode::BadArgument);
  state.stage = State::Defined;
  return element.GetOutput();
}

std::shared_ptr<const IInfoContainer> ElementDriver::GetOutput() const {
  return state_->element.GetOutput();
}

void ElementDriver::Push(std::shared_ptr<const ISampleContainer> container) {
  State& state = *state_;
  state.CheckOrder("Push", State::Defined);
  state.CheckArgument(container != nullptr, "Push got a null sample container");
  DrivenElement& element = state.element;
  if (state.waitingOutput) {
    element.Reject(ErrorCode::WrongOrder, "call Pull before Push: an output is waiting");
  }
  const auto samples = container->GetVideoSamples(nullptr, nullptr);
  const auto sample = OnlyOne(samples);
  const auto frame =
      element.Do("Push got ", [&] { return element.Inspect(sample, samples.size()); });
  const auto buffer = sample ? sample->GetBuffer() : nullptr;
  const auto produced = element.Process(
      container,
      {element.GetName() + ": Push failed: ", {}, frame, buffer ? buffer->GetSize() : 0});
  state.waitingOutput =
      element.Do("Push failed: ", [&] { return element.Complete(produced, sample, frame); });
}

std::shared_ptr<const ISampleContainer> ElementDriver::Pull() {
  state_->CheckOrder("Pull", State::Defined);
  return std::exchange(state_->waitingOutput, nullptr);
}

void ElementDriver::Release() {
  State& state = *state_;
  if (state.element.IsReleased()) return;
  state.waitingOutput.reset();
  state.element.Do("Release failed: ", [&] { state.element.Release(); });
}

void ElementDriver::SetInputChange(InputChange policy) {
  const bool isKnown = policy == InputChange::Refuse || policy == InputChange::Redefine;
  state_->CheckArgument(
      isKnown, "the unknown InputChange " + std::to_string(static_cast<std::int32_t>(policy)));
  state_->element.inputChange = policy;
}

void ElementDriver::SetCodecHook(std::shared_ptr<ICodecHook> hook, int threads) {
  State& state = *state_;
  state.CheckArgument(threads >= 0 && threads <= kMostThreads,
                      std::to_string(threads) + " threads for a frame; allowed: 0 to " +
                          std::to_string(kMostThreads));
  state.CheckArgument(hook != nullptr || threads < 2,
                      std::to_string(threads) + " threads for a frame need a codec hook");
  state.element.hook = std::move(hook);
  state.element.codecThreads = threads;
}

std::optional<CodecReport> ElementDriver::GetCodecReport() const {
  return state_->element.report;
}

void ElementDriver::SetFrameMemory(const FrameMemoryCallbacks& callbacks) {
  State& state = *state_;
  if (state.stage != State::Created) {
    state.element.Reject(ErrorCode::WrongOrder, "call SetFrameMemory before Configure");
  }
  state.CheckArgument(callbacks.allocate != nullptr && callbacks.release != nullptr,
                      "frame memory needs both callbacks");
  state.element.SetFrameMemory(callbacks);
}

}  // namespace vix
