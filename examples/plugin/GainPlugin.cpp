// SPDX-License-Identifier: BSD-2-Clause
// The entry of the plug-in. A host that loads the library calls it once, with a text of its own
// that every registration has to carry.
#include <vix/vix.h>

#include "GainElement.h"

extern "C" VIX_API void RegisterAll(const char* registrant) {
  // The parameters that the element has. Hosts show them to people, so they say what they are for.
  const auto schema = vix::CreateParametersCollectionPrototype();
  schema->AddParameterInt("Percent", 100, "Factor of the luma in percent, 0 to 400.");

  // The element's place in the registry: (factory type, implementation, type). Filters of raw
  // pictures have no factory type of their own; this one takes that of decoders, whose output is
  // raw.
  constexpr auto kType = vix::ElementFactoryType::VideoDecoder;
  const auto entry = vix::CreateParametersCollectionInstance(vix::GetRegistryEntryPrototype());
  entry->SetElementFactoryType("class", kType);
  entry->SetString("implementation", "example");
  entry->SetString("type", "Gain");
  entry->SetParametersCollectionPrototype("init_config", schema);

  const auto create = [](std::shared_ptr<const vix::IParametersCollectionInstance> manifest) {
    return std::make_shared<GainElement>(std::move(manifest));
  };
  // The version of the core that this was built against, which the core compares with its own.
  vix::RegisterFactory(registrant, vix::GetVIXCoreIdInternal("0.7.0.0.0"),
                       std::make_shared<vix::ElementFactory<kType>>(create), entry);
}
