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

/// Step of a workflow that elements are made for.
class VIX_API IStep {
 public:
  virtual ~IStep() = default;
};

/// Line numbers in the records of ImplementElement(). Readers of the log rely on them.
struct ImplementElementLine {
  static constexpr int kMilestone = 240;        ///< the milestone
  static constexpr int kRegistryEntry = 244;    ///< no factory is registered
  static constexpr int kManifest = 248;         ///< no manifest is registered
  static constexpr int kFactory = 252;          ///< the factory has another type
  static constexpr int kCanNotImplement = 259;  ///< any failure
};

/// Creates the element that is registered for factory type T, `implementation` and `type`, with its
/// registered manifest. Writes a milestone record first; a milestone object exists until the
/// function returns.
/// @param step step that the element is made for; may be null; held during the call
/// @return the result of the factory's creator, even if it is null
/// @throws VIXRuntimeError with the text of a caught std::runtime_error as the second line of its
///         message; exceptions of other types, such as the std::bad_function_call of an empty
///         creator, pass through
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
