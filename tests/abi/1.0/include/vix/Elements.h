// SPDX-License-Identifier: BSD-2-Clause
#ifndef VIX_ELEMENTS_H
#define VIX_ELEMENTS_H

/// @file
/// The element model. An element converts input samples to output samples and reports every failure
/// as an exception. One thread at a time may drive it. Elements do not check the order of calls;
/// ElementDriver checks it for host programs.

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

/// An element that converts samples.
class VIX_API IMediaFilter {
 public:
  virtual ~IMediaFilter() = default;

  /// Processes the samples of one container.
  virtual void PushSample(std::shared_ptr<const ISampleContainer> container) = 0;
  /// Returns the waiting output and keeps no reference; null if there is none.
  virtual std::shared_ptr<const ISampleContainer> GetSample() = 0;
  /// Returns a description similar to `input` that the element accepts; null if it proposes none.
  virtual std::shared_ptr<const IInfoContainer> CheckInputAndAdaptIfNecessary(
      std::shared_ptr<const IInfoContainer> input, std::string inputName) const = 0;
  /// Sets the input stream, from which the description of the output stream follows.
  virtual void DefineInput(std::shared_ptr<const IInfoContainer> input, std::string inputName) = 0;
  /// Links an input to its producer. Elements without links ignore it.
  virtual void SetInputMediator(std::shared_ptr<IInputMediator> mediator, std::string inputName,
                                std::string outputName) = 0;
  /// Links an output to its consumer. Elements without links ignore it.
  virtual void SetOutputMediator(std::shared_ptr<IOutputMediator> mediator, std::string outputName,
                                 std::string inputName) = 0;
  /// Drops the waiting output.
  virtual void ClearInternalBuffer() = 0;
  /// Returns the argument of the last DefineInput(); null before.
  virtual std::shared_ptr<const IInfoContainer> GetDefinedInput(std::string inputName) const = 0;
  /// Returns the description of the output samples; null before the input is defined.
  virtual std::shared_ptr<const IInfoContainer> GetDefinedOutput(std::string outputName) const = 0;
  /// Sets the configuration.
  virtual void SetInitConfig(std::shared_ptr<const IParametersCollectionInstance> config) = 0;
  /// Makes delayed output available. Elements without delay do nothing.
  virtual void Flush() = 0;
  /// Requests the end of a call that runs on another thread. Elements may ignore it.
  virtual void Interrupt() = 0;
  /// Returns the configuration that the element was created with.
  virtual std::shared_ptr<const IParametersCollectionInstance> GetManifest() const = 0;
  /// Releases the resources that the element opened for the stream.
  virtual void Release() = 0;
};

/// Run-time control of an element.
class VIX_API IBasicControl {
 public:
  virtual ~IBasicControl() = default;
  /// Changes the configuration between two samples. Elements that cannot do this throw.
  virtual void UpdateConfig(std::shared_ptr<const IParametersCollectionInstance> config) = 0;
  /// Returns the configuration that the element was created with.
  virtual std::shared_ptr<const IParametersCollectionInstance> GetManifest() const = 0;
};

/// Run-time control of an encoder.
class VIX_API IVideoEncoderControl : public IBasicControl {};
/// Run-time control of a decoder.
class VIX_API IVideoDecoderControl : public IBasicControl {};

/// Converts raw video samples to compressed ones.
class VIX_API IVideoEncoder : public IMediaFilter, public IVideoEncoderControl {
 public:
  /// Returns the configuration that the element was created with.
  std::shared_ptr<const IParametersCollectionInstance> GetManifest() const override = 0;
};

/// Converts compressed video samples to raw ones.
class VIX_API IVideoDecoder : public IMediaFilter, public IVideoDecoderControl {
 public:
  /// Returns the configuration that the element was created with.
  std::shared_ptr<const IParametersCollectionInstance> GetManifest() const override = 0;
};

}  // namespace vix

#endif  // VIX_ELEMENTS_H
