// SPDX-License-Identifier: BSD-2-Clause
#ifndef SRC_VIDEOENCODERPRORES_H
#define SRC_VIDEOENCODERPRORES_H

#include <memory>
#include <string>
#include <utility>

#include "ProRes/ProRes.h"
#include "vix/Diagnostics.h"
#include "vix/Elements.h"
#include "vix/Export.h"

namespace vix {

/// Encodes raw video ("UYVY" or "V210") to ProRes, one frame per pushed sample.
///
/// Calls are expected in the order SetInitConfig(), DefineInput(), any number of PushSample() and
/// GetSample(); nothing enforces it. Used by one thread at a time. Failures are reported as
/// Diagnostics.h describes; exceptions of the host pass through unchanged.
///
/// Configuration: "NumThreads" is read when the first frame opens the codec library's encoder,
/// "ProResCodecVariant" by DefineInput() and again for every frame.
class VIX_API VideoEncoderProRes : public IVideoEncoder {
 public:
  /// Makes the element with a recycling allocator of its own.
  /// @param factoryConfig what GetManifest() returns; possibly null
  explicit VideoEncoderProRes(std::shared_ptr<const IParametersCollectionInstance> factoryConfig);
  /// Closes the codec library's encoder, then lets go of everything else.
  ~VideoEncoderProRes() override;
  VideoEncoderProRes(const VideoEncoderProRes&) = delete;
  VideoEncoderProRes& operator=(const VideoEncoderProRes&) = delete;

  /// Encodes the container's single video sample, described by its own raw parameters. The encoded
  /// sample carries the defined output's description and the pushed sample's time limits, and
  /// replaces one that still waits. After a failure the waiting sample stays.
  void PushSample(std::shared_ptr<const ISampleContainer> container) override;
  /// Hands over the waiting encoded sample; null when there is none.
  std::shared_ptr<const ISampleContainer> GetSample() override {
    return std::exchange(outputSample, nullptr);
  }
  /// Proposes nothing.
  std::shared_ptr<const IInfoContainer> CheckInputAndAdaptIfNecessary(
      std::shared_ptr<const IInfoContainer> /*input*/, std::string /*name*/) const override {
    return nullptr;
  }
  /// Accepts one raw "UYVY" or "V210" stream and describes the ProRes stream that comes of it.
  /// A refused input leaves both definitions as they were.
  void DefineInput(std::shared_ptr<const IInfoContainer> input, std::string name) override;
  void SetInputMediator(std::shared_ptr<IInputMediator> /*mediator*/, std::string /*inputName*/,
                        std::string /*outputName*/) override {}
  void SetOutputMediator(std::shared_ptr<IOutputMediator> /*mediator*/, std::string /*outputName*/,
                         std::string /*inputName*/) override {}
  void ClearInternalBuffer() override { outputSample = nullptr; }
  std::shared_ptr<const IInfoContainer> GetDefinedInput(std::string /*name*/) const override {
    return definedInput;
  }
  std::shared_ptr<const IInfoContainer> GetDefinedOutput(std::string /*name*/) const override {
    return definedOutput;
  }
  /// Keeps `newConfig`; nothing of it is read yet.
  void SetInitConfig(std::shared_ptr<const IParametersCollectionInstance> newConfig) override {
    initConfig = std::move(newConfig);
  }
  /// Nothing to drain: every frame is complete when PushSample() returns.
  void Flush() override {}
  void Interrupt() override {}
  std::shared_ptr<const IParametersCollectionInstance> GetManifest() const override {
    return config;
  }
  /// Leaves the codec library's encoder open; only the destructor closes it.
  void Release() override {}
  /// Always refused.
  void UpdateConfig(std::shared_ptr<const IParametersCollectionInstance> /*newConfig*/) override {
    Fail("UpdateConfig not supported");
  }

  /// Opens the codec library's encoder unless it is open. A failed opening leaves it closed, so
  /// that the next frame tries again.
  void InitProResEncoder();

 private:
  std::shared_ptr<const IParametersCollectionInstance> config;
  std::shared_ptr<const IInfoContainer> definedInput;
  std::shared_ptr<const IInfoContainer> definedOutput;
  std::shared_ptr<const ISampleContainer> outputSample;  ///< the one sample that waits
  std::shared_ptr<IMemoryBlockAllocator> allocator;      ///< memory of every encoded frame
  WPREncoderHandle encoderHandle;                        ///< null = not open
  std::shared_ptr<const IParametersCollectionInstance> initConfig;
};

/// A new encoder element; what the encoder's factory creates.
VIX_API std::shared_ptr<IVideoEncoder> CreateVideoEncoderProRes(
    std::shared_ptr<const IParametersCollectionInstance> config);

}  // namespace vix

#endif  // SRC_VIDEOENCODERPRORES_H
