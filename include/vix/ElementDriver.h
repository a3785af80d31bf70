// SPDX-License-Identifier: BSD-2-Clause
#ifndef VIX_ELEMENTDRIVER_H
#define VIX_ELEMENTDRIVER_H

#include <memory>
#include <string>

#include "vix/Elements.h"
#include "vix/Export.h"
#include "vix/Parameters.h"
#include "vix/Registry.h"
#include "vix/Samples.h"
#include "vix/StreamDescription.h"

namespace vix {

/// Drives one video element for a host program: created from the registry, then configured, then
/// defined, then any number of pushes and pulls, then released. A call out of this order is refused
/// with a VIXRuntimeError that names the element and the call that has to come first. While a call
/// runs, the element's name is the thread's logging context. Null arguments are refused as well;
/// what the element throws passes through. Used by one thread at a time. A driver that was moved
/// from may only be destroyed or assigned to.
class VIX_API ElementDriver {
 public:
  /// Makes the element of that key through the registry, with its manifest. Refuses a factory type
  /// other than VideoEncoder and VideoDecoder, an unknown key and a factory that makes nothing.
  ElementDriver(ElementFactoryType factoryType, const std::string& implementation,
                const std::string& type);
  ~ElementDriver();
  /// Takes over the element of another driver.
  /// @{
  ElementDriver(ElementDriver&&) noexcept;
  ElementDriver& operator=(ElementDriver&&) noexcept;
  /// @}

  /// "label.implementation.type", as failures name the element.
  const std::string& GetName() const;
  /// A new instance of the element's schema, to be filled and given to Configure().
  std::shared_ptr<IParametersCollectionInstance> CreateConfig() const;

  /// Configures the element; allowed again at any time before Release().
  void Configure(std::shared_ptr<const IParametersCollectionInstance> config);
  /// Defines the input stream and returns the output stream's description. Needs Configure().
  std::shared_ptr<const IInfoContainer> Define(std::shared_ptr<const IInfoContainer> input);
  /// Pushes one container. Needs Define(). Refused while an output waits to be pulled, so that no
  /// frame is lost, and for a raw frame ("UYVY" or "V210") in a buffer shorter than its own
  /// description says, which the element would read past its end.
  void Push(std::shared_ptr<const ISampleContainer> container);
  /// Takes the waiting output; null when there is none. Needs Define().
  std::shared_ptr<const ISampleContainer> Pull();
  /// Ends the work: drops a waiting output and lets go of the element. Any call after it is
  /// refused, except a second Release(), which does nothing.
  void Release();

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace vix

#endif  // VIX_ELEMENTDRIVER_H
