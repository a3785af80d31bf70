// SPDX-License-Identifier: BSD-2-Clause
#ifndef SRC4444_ELEMENT_H
#define SRC4444_ELEMENT_H

#include <memory>
#include <string>
#include <utility>

#include "vix/Diagnostics.h"
#include "vix/Elements.h"

namespace vix::prores4444 {

/// What the encoder and the decoder share: the defined streams, the waiting sample, and the
/// operations for which they have no use.
///
/// The host calls SetInitConfig(), DefineInput(), then PushSample() and GetSample() any number of
/// times. One thread at a time may use an element. Failures are reported as Diagnostics.h
/// describes; after one, the element has the settings, streams and waiting sample that it had
/// before.
template <typename Interface>
class Element : public Interface {
 public:
  /// @param manifest returned by GetManifest(); may be null
  explicit Element(std::shared_ptr<const IParametersCollectionInstance> manifest)
      : manifest_(std::move(manifest)) {}

  std::shared_ptr<const ISampleContainer> GetSample() override {
    return std::exchange(sample_, nullptr);
  }
  void ClearInternalBuffer() override { sample_ = nullptr; }
  std::shared_ptr<const IInfoContainer> GetDefinedInput(std::string /*name*/) const override {
    return input_;
  }
  std::shared_ptr<const IInfoContainer> GetDefinedOutput(std::string /*name*/) const override {
    return output_;
  }
  std::shared_ptr<const IParametersCollectionInstance> GetManifest() const override {
    return manifest_;
  }

  /// Returns null: the element proposes no other input.
  std::shared_ptr<const IInfoContainer> CheckInputAndAdaptIfNecessary(
      std::shared_ptr<const IInfoContainer> /*input*/, std::string /*name*/) const override {
    return nullptr;
  }
  void SetInputMediator(std::shared_ptr<IInputMediator> /*mediator*/, std::string /*inputName*/,
                        std::string /*outputName*/) override {}
  void SetOutputMediator(std::shared_ptr<IOutputMediator> /*mediator*/, std::string /*outputName*/,
                         std::string /*inputName*/) override {}
  /// Does nothing: every frame is complete when PushSample() returns.
  void Flush() override {}
  void Interrupt() override {}
  /// Reports a failure: SetInitConfig() and DefineInput() change the settings.
  void UpdateConfig(std::shared_ptr<const IParametersCollectionInstance> /*config*/) override {
    Fail("UpdateConfig is not supported; call SetInitConfig and DefineInput");
  }

 protected:
  /// Sets the streams.
  /// @param parameters describe the output
  void Define(std::shared_ptr<const IInfoContainer> input,
              std::shared_ptr<const IVideoParameters> parameters) {
    const auto channel = input->GetInfo().front()->GetChannelInfo();
    output_ = CreateInfoContainer(CreateVideoInfo(std::move(parameters), channel, {}, {}), nullptr);
    input_ = std::move(input);
  }
  /// Makes `buffer` the waiting sample, with the time and the metadata of the pushed one.
  void Emit(std::shared_ptr<const IBuffer> buffer, const IVideoSample& pushed) {
    const auto info = output_->GetInfo().front();
    sample_ =
        CreateSampleContainer(CreateVideoSample(info->GetVideoParameters(), info, std::move(buffer),
                                                pushed.GetTimeLimits(), pushed.GetMetadata()),
                              nullptr);
  }

 private:
  std::shared_ptr<const IParametersCollectionInstance> manifest_;
  std::shared_ptr<const IInfoContainer> input_;
  std::shared_ptr<const IInfoContainer> output_;
  std::shared_ptr<const ISampleContainer> sample_;  ///< waits for GetSample()
};

}  // namespace vix::prores4444

#endif  // SRC4444_ELEMENT_H
