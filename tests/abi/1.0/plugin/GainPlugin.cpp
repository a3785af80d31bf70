// SPDX-License-Identifier: BSD-2-Clause
// The entry of the plug-in. The host calls it once after loading the library, with a text that
// every registration must pass on.
#include <vix/vix.h>

#include "GainElement.h"

extern "C" VIX_API void RegisterAll(const char* registrant) {
  // The parameters of the element. Hosts display the descriptions to users.
  const auto schema = vix::CreateParametersCollectionPrototype();
  schema->AddParameterInt("Percent", 100, "Factor of the luma in percent, 0 to 400.");

  // The element's key in the registry: (factory type, implementation, type). There is no factory
  // type for filters, so this one uses that of decoders, whose output is raw, too.
  constexpr auto kType = vix::ElementFactoryType::VideoDecoder;
  const auto entry = vix::CreateParametersCollectionInstance(vix::GetRegistryEntryPrototype());
  entry->SetElementFactoryType("class", kType);
  entry->SetString("implementation", "example");
  entry->SetString("type", "Gain");
  entry->SetParametersCollectionPrototype("init_config", schema);

  const auto create = [](std::shared_ptr<const vix::IParametersCollectionInstance> manifest) {
    return std::make_shared<GainElement>(std::move(manifest));
  };
  // The core rejects plug-ins that were built for an incompatible version.
  vix::RegisterFactory(registrant, vix::GetVIXCoreIdInternal("0.7.0.0.0"),
                       std::make_shared<vix::ElementFactory<kType>>(create), entry);
}
