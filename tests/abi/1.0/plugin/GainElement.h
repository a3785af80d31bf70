// SPDX-License-Identifier: BSD-2-Clause
#ifndef EXAMPLES_PLUGIN_GAINELEMENT_H
#define EXAMPLES_PLUGIN_GAINELEMENT_H

#include <vix/vix.h>

#include <memory>
#include <string>
#include <utility>

/// Multiplies the luma of raw UYVY pictures. The parameter "Percent" is the factor, 0 to 400; black
/// (16) does not change.
///
/// Like every element, it is used by one thread at a time and reports failures as exceptions.
class GainElement final : public vix::IVideoDecoder {
 public:
  explicit GainElement(std::shared_ptr<const vix::IParametersCollectionInstance> manifest);

  void SetInitConfig(std::shared_ptr<const vix::IParametersCollectionInstance> config) override;
  void DefineInput(std::shared_ptr<const vix::IInfoContainer> input, std::string name) override;
  void PushSample(std::shared_ptr<const vix::ISampleContainer> container) override;
  std::shared_ptr<const vix::ISampleContainer> GetSample() override {
    return std::exchange(output_, nullptr);
  }

  std::shared_ptr<const vix::IInfoContainer> GetDefinedInput(std::string) const override {
    return stream_;
  }
  // The output has the description of the input.
  std::shared_ptr<const vix::IInfoContainer> GetDefinedOutput(std::string) const override {
    return stream_;
  }
  std::shared_ptr<const vix::IParametersCollectionInstance> GetManifest() const override {
    return manifest_;
  }
  void ClearInternalBuffer() override { output_ = nullptr; }
  void Release() override { output_ = nullptr; }

  // This element has no other input to propose, no neighbours to talk to, and nothing to flush.
  std::shared_ptr<const vix::IInfoContainer> CheckInputAndAdaptIfNecessary(
      std::shared_ptr<const vix::IInfoContainer>, std::string) const override {
    return nullptr;
  }
  void SetInputMediator(std::shared_ptr<vix::IInputMediator>, std::string, std::string) override {}
  void SetOutputMediator(std::shared_ptr<vix::IOutputMediator>, std::string, std::string) override {
  }
  void Flush() override {}
  void Interrupt() override {}
  void UpdateConfig(std::shared_ptr<const vix::IParametersCollectionInstance>) override {}

 private:
  std::shared_ptr<const vix::IParametersCollectionInstance> manifest_;
  std::shared_ptr<vix::IMemoryBlockAllocator> allocator_;  // memory of all output pictures
  std::shared_ptr<const vix::IInfoContainer> stream_;
  std::shared_ptr<const vix::ISampleContainer> output_;  // the waiting output
  int percent_ = 100;
};

#endif  // EXAMPLES_PLUGIN_GAINELEMENT_H
