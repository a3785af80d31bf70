// SPDX-License-Identifier: BSD-2-Clause
#include <memory>
#include <utility>

#include "Decoder.h"
#include "Encoder.h"
#include "vix/Export.h"
#include "vix/Parameters.h"
#include "vix/Registry.h"
#include "vix/Types.h"

namespace vix::prores4444 {
namespace {

/// Version of the contract that this plug-in was built for.
constexpr const char* kContractVersion = "0.7.0.0.0";

/// Registers an element under the key (T, "vix4444", "ProRes").
template <ElementFactoryType T, typename ElementClass>
void RegisterElement(const char* registrant) {
  const auto entry = CreateParametersCollectionInstance(GetRegistryEntryPrototype());
  entry->SetElementFactoryType("class", T);
  entry->SetString("type", GetLabel(VCodecFamily::ProRes));
  entry->SetString("implementation", "vix4444");
  entry->SetParametersCollectionPrototype("init_config", ElementClass::MakeSchema());
  const auto create = [](std::shared_ptr<const IParametersCollectionInstance> manifest) {
    return std::make_shared<ElementClass>(std::move(manifest));
  };
  RegisterFactory(registrant, GetVIXCoreIdInternal(kContractVersion),
                  std::make_shared<ElementFactory<T>>(create), entry);
}

}  // namespace
}  // namespace vix::prores4444

/// Registers both elements. Hosts find this function by name.
/// @param registrant handed to the registry unchanged
extern "C" VIX_API void RegisterAll(const char* registrant) {
  using namespace vix;
  prores4444::RegisterElement<ElementFactoryType::VideoDecoder, prores4444::Decoder>(registrant);
  prores4444::RegisterElement<ElementFactoryType::VideoEncoder, prores4444::Encoder>(registrant);
}
