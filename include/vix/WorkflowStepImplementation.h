// SPDX-License-Identifier: BSD-2-Clause
#ifndef VIX_WORKFLOWSTEPIMPLEMENTATION_H
#define VIX_WORKFLOWSTEPIMPLEMENTATION_H

#include <memory>
#include <stdexcept>
#include <string>

#include "vix/Diagnostics.h"
#include "vix/Export.h"
#include "vix/Registry.h"
#include "vix/Types.h"

namespace vix {

/// Step of a workflow, on whose behalf elements are made.
class VIX_API IStep {
 public:
  virtual ~IStep() = default;
};

/// Line numbers that the records of ImplementElement() carry.
struct ImplementElementLine {
  static constexpr int kMilestone = 240;        ///< the milestone that begins it
  static constexpr int kRegistryEntry = 244;    ///< no factory is registered
  static constexpr int kManifest = 248;         ///< no manifest is registered
  static constexpr int kFactory = 252;          ///< the factory is of another type
  static constexpr int kCanNotImplement = 259;  ///< the failure as a whole
};

/// Makes the element that is registered for factory type T under `implementation` and `type`, from
/// its own manifest. A milestone record is written first, on every call; a milestone object lives
/// while the element is looked up and made.
/// @param step step that the element is made for, possibly null; held during the call
/// @return what the factory's creator returned, null included
/// @throws VIXRuntimeError for every std::runtime_error on the way, which is the second line of its
///         message; errors of other types pass unchanged, with an empty creator's
///         std::bad_function_call among them
template <ElementFactoryType T>
typename ElementFactoryType_traits<T>::InstanceType ImplementElement(
    const std::string& implementation, const std::string& type,
    std::shared_ptr<const IStep> /*step*/) {
  try {
    const std::string name = "ImplementElement " + GetLabel(T) + "." + implementation + "." + type;
    WriteMilestone(name, ImplementElementLine::kMilestone);
    const std::unique_ptr<IMilestone> milestone = CreateMilestone(name);

    const auto registryEntry = GetFactory(T, implementation, type);
    CheckNotNull(registryEntry, "registryEntry", ImplementElementLine::kRegistryEntry);
    const auto manifest = GetManifest(T, implementation, type);
    CheckNotNull(manifest, "manifest", ImplementElementLine::kManifest);
    const auto factory = std::dynamic_pointer_cast<ElementFactory<T>>(registryEntry);
    CheckNotNull(factory, "factory", ImplementElementLine::kFactory);
    return factory->GetCreator()(manifest);
  } catch (const std::runtime_error& error) {
    FailUnbracketed("can not implement " + GetLabel(T) + " with implementation=\"" +
                        implementation + "\" and type=\"" + type + "\"\n" + error.what(),
                    ImplementElementLine::kCanNotImplement);
  }
}

}  // namespace vix

#endif  // VIX_WORKFLOWSTEPIMPLEMENTATION_H
