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
/// The host calls SetInitConfig(), DefineInput(), then PushSample() and GetSample() any number of
/// times; the element does not check this order. One thread at a time may use it. Failures are
/// reported as Diagnostics.h describes; exceptions of the host pass through unchanged.
///
/// "NumThreads" is read when the first frame opens the codec library's encoder,
/// "ProResCodecVariant" by DefineInput() and again for every frame.
class VIX_API VideoEncoderProRes : public IVideoEncoder {
 public:
  /// Creates the element with a recycling allocator of its own.
  /// @param factoryConfig returned by GetManifest(); may be null
  explicit VideoEncoderProRes(std::shared_ptr<const IParametersCollectionInstance> factoryConfig);
  /// Closes the codec library's encoder before it releases anything else.
  ~VideoEncoderProRes() override;
  VideoEncoderProRes(const VideoEncoderProRes&) = delete;
  VideoEncoderProRes& operator=(const VideoEncoderProRes&) = delete;

  /// Encodes the container's single video sample as its own raw parameters describe it. The encoded
  /// sample has the description of the defined output and the time limits of the pushed sample, and
  /// replaces a waiting sample. After a failure the waiting sample stays.
  void PushSample(std::shared_ptr<const ISampleContainer> container) override;
  /// Returns the waiting encoded sample and keeps no reference; null if there is none.
  std::shared_ptr<const ISampleContainer> GetSample() override {
    return std::exchange(outputSample, nullptr);
  }
  /// Returns null: the element proposes no other input.
  std::shared_ptr<const IInfoContainer> CheckInputAndAdaptIfNecessary(
      std::shared_ptr<const IInfoContainer> /*input*/, std::string /*name*/) const override {
    return nullptr;
  }
  /// Accepts one raw "UYVY" or "V210" stream and describes the ProRes stream that results from it.
  /// A rejected input changes neither definition.
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
  /// Stores `newConfig` without reading it.
  void SetInitConfig(std::shared_ptr<const IParametersCollectionInstance> newConfig) override {
    initConfig = std::move(newConfig);
  }
  /// Does nothing: every frame is complete when PushSample() returns.
  void Flush() override {}
  void Interrupt() override {}
  std::shared_ptr<const IParametersCollectionInstance> GetManifest() const override {
    return config;
  }
  /// Does nothing: only the destructor closes the codec library's encoder.
  void Release() override {}
  /// Reports a failure: the configuration cannot change this way.
  void UpdateConfig(std::shared_ptr<const IParametersCollectionInstance> /*newConfig*/) override {
    Fail("UpdateConfig not supported");
  }

  /// Opens the codec library's encoder unless it is open. If that fails, the next frame tries
  /// again.
  void InitProResEncoder();

 private:
  std::shared_ptr<const IParametersCollectionInstance> config;
  std::shared_ptr<const IInfoContainer> definedInput;
  std::shared_ptr<const IInfoContainer> definedOutput;
  std::shared_ptr<const ISampleContainer> outputSample;  ///< the waiting sample
  std::shared_ptr<IMemoryBlockAllocator> allocator;      ///< memory of every encoded frame
  WPREncoderHandle encoderHandle;                        ///< null = not open
  std::shared_ptr<const IParametersCollectionInstance> initConfig;
};

/// Creates an encoder element.
VIX_API std::shared_ptr<IVideoEncoder> CreateVideoEncoderProRes(
    std::shared_ptr<const IParametersCollectionInstance> config);

}  // namespace vix

#endif  // SRC_VIDEOENCODERPRORES_H
