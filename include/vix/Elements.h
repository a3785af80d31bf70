// SPDX-License-Identifier: BSD-2-Clause
#ifndef VIX_ELEMENTS_H
#define VIX_ELEMENTS_H

/// @file
/// The element model. An element is driven by one thread at a time; it takes samples in, gives
/// samples out, and reports every failure by an exception. No element enforces the order of calls;
/// ElementDriver does, for host programs.

#include <memory>
#include <string>

#include "vix/Export.h"
#include "vix/Parameters.h"
#include "vix/Samples.h"
#include "vix/StreamDescription.h"

namespace vix {

/// Links an element's input to its producer.
class VIX_API IInputMediator {
 public:
  virtual ~IInputMediator() = default;
};

/// Links an element's output to its consumer.
class VIX_API IOutputMediator {
 public:
  virtual ~IOutputMediator() = default;
};

/// Samples in, samples out.
class VIX_API IMediaFilter {
 public:
  virtual ~IMediaFilter() = default;

  /// Processes the samples of one container.
  virtual void PushSample(std::shared_ptr<const ISampleContainer> container) = 0;
  /// Hands over the waiting output; null when there is none.
  virtual std::shared_ptr<const ISampleContainer> GetSample() = 0;
  /// A description near `input` that the element would accept; null when it proposes none.
  virtual std::shared_ptr<const IInfoContainer> CheckInputAndAdaptIfNecessary(
      std::shared_ptr<const IInfoContainer> input, std::string inputName) const = 0;
  /// Fixes the input stream; the output stream's description follows from it.
  virtual void DefineInput(std::shared_ptr<const IInfoContainer> input, std::string inputName) = 0;
  /// Links an input to its producer; elements that need no link ignore it.
  virtual void SetInputMediator(std::shared_ptr<IInputMediator> mediator, std::string inputName,
                                std::string outputName) = 0;
  /// Links an output to its consumer; elements that need no link ignore it.
  virtual void SetOutputMediator(std::shared_ptr<IOutputMediator> mediator, std::string outputName,
                                 std::string inputName) = 0;
  /// Drops the waiting output.
  virtual void ClearInternalBuffer() = 0;
  /// What DefineInput() was given last; null before.
  virtual std::shared_ptr<const IInfoContainer> GetDefinedInput(std::string inputName) const = 0;
  /// Description of the samples that come out; null before the input is defined.
  virtual std::shared_ptr<const IInfoContainer> GetDefinedOutput(std::string outputName) const = 0;
  /// Sets the configuration that the element works by.
  virtual void SetInitConfig(std::shared_ptr<const IParametersCollectionInstance> config) = 0;
  /// Makes the element give out what it still holds back; nothing in elements that hold nothing.
  virtual void Flush() = 0;
  /// Asks the element to end a call that runs on another thread; elements may ignore it.
  virtual void Interrupt() = 0;
  /// The configuration that the element was created with.
  virtual std::shared_ptr<const IParametersCollectionInstance> GetManifest() const = 0;
  /// Lets go of what the element opened for the stream.
  virtual void Release() = 0;
};

/// Run-time control of an element.
class VIX_API IBasicControl {
 public:
  virtual ~IBasicControl() = default;
  /// Changes the configuration between two samples; elements that cannot refuse it.
  virtual void UpdateConfig(std::shared_ptr<const IParametersCollectionInstance> config) = 0;
  /// The configuration that the element was created with.
  virtual std::shared_ptr<const IParametersCollectionInstance> GetManifest() const = 0;
};

/// Run-time control of an encoder.
class VIX_API IVideoEncoderControl : public IBasicControl {};
/// Run-time control of a decoder.
class VIX_API IVideoDecoderControl : public IBasicControl {};

/// Takes raw video samples in and gives compressed ones out.
class VIX_API IVideoEncoder : public IMediaFilter, public IVideoEncoderControl {
 public:
  /// The configuration that the element was created with.
  std::shared_ptr<const IParametersCollectionInstance> GetManifest() const override = 0;
};

/// Takes compressed video samples in and gives raw ones out.
class VIX_API IVideoDecoder : public IMediaFilter, public IVideoDecoderControl {
 public:
  /// The configuration that the element was created with.
  std::shared_ptr<const IParametersCollectionInstance> GetManifest() const override = 0;
};

}  // namespace vix

#endif  // VIX_ELEMENTS_H
