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

/// Drives one video element for a host program and checks the order of calls: constructor,
/// Configure(), Define(), any number of Push() and Pull(), Release(). A call out of order throws a
/// VIXRuntimeError that names the element and the call that must come first; so does a null
/// argument. Exceptions of the element pass through. During a call the element's name is the
/// logging context of the thread. One thread at a time may use a driver. A moved-from driver may
/// only be destroyed or assigned to.
class VIX_API ElementDriver {
 public:
  /// Creates the element of that key through the registry, with its manifest. Rejects a factory
  /// type other than VideoEncoder and VideoDecoder, an unknown key and a factory that returns null.
  ElementDriver(ElementFactoryType factoryType, const std::string& implementation,
                const std::string& type);
  ~ElementDriver();
  /// Moves the element of another driver to this one.
  /// @{
  ElementDriver(ElementDriver&&) noexcept;
  ElementDriver& operator=(ElementDriver&&) noexcept;
  /// @}

  /// Returns "label.implementation.type", the element's name in error messages.
  const std::string& GetName() const;
  /// Creates an instance of the element's schema for Configure().
  std::shared_ptr<IParametersCollectionInstance> CreateConfig() const;

  /// Configures the element. May be called again at any time before Release().
  void Configure(std::shared_ptr<const IParametersCollectionInstance> config);
  /// Defines the input stream and returns the description of the output stream.
  std::shared_ptr<const IInfoContainer> Define(std::shared_ptr<const IInfoContainer> input);
  /// Pushes one container. Rejects it while an output is waiting, so that no frame is lost. Rejects
  /// a raw frame ("UYVY" or "V210") in a buffer that is smaller than its description requires:
  /// elements do not check the size.
  void Push(std::shared_ptr<const ISampleContainer> container);
  /// Returns the waiting output; null if there is none.
  std::shared_ptr<const ISampleContainer> Pull();
  /// Drops a waiting output and releases the element. Every later call is rejected, except another
  /// Release(), which does nothing.
  void Release();

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace vix

#endif  // VIX_ELEMENTDRIVER_H
