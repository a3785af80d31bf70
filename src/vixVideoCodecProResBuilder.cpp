// SPDX-License-Identifier: BSD-2-Clause
#include "vixVideoCodecProResBuilder.h"

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "VideoDecoderProRes.h"
#include "VideoEncoderProRes.h"
#include "vix/Parameters.h"
#include "vix/Registry.h"
#include "vix/Types.h"

namespace vix {
namespace {

constexpr const char* kPluginVersion = "0.7.16.249.80659";

/// Registers the ProRes element of factory type T.
template <ElementFactoryType T>
void RegisterElement(const char* registrant,
                     std::shared_ptr<const IParametersCollectionPrototype> schema,
                     typename ElementFactory<T>::Creator creator) {
  const auto registryEntry = CreateParametersCollectionInstance(GetRegistryEntryPrototype());
  registryEntry->SetElementFactoryType("class", T);
  registryEntry->SetString("type", GetLabel(VCodecFamily::ProRes));
  registryEntry->SetString("implementation", "vix");
  registryEntry->SetParametersCollectionPrototype("init_config", std::move(schema));
  const std::shared_ptr<IElementFactory> factory =
      std::make_shared<ElementFactory<T>>(std::move(creator));
  const std::string coreId = GetVIXCoreIdInternal(kPluginVersion);
  RegisterFactory(registrant, coreId, factory, registryEntry);
}

}  // namespace

void RegisterVideoDecoderProres(const char* registrant) {
  const auto schema = CreateParametersCollectionPrototype();
  schema->AddParameterBool("SkipField", false,
                           "Performance parameter for decoding only one field out of two");
  schema->AddParameterFourCC("OutputFourCC", {kFourCC_UYVY, kFourCC_V210},
                             "Sets the fourCC format of the output picture. If not set, value will "
                             "be V210 (packed YUV4:2:2 10 bits per component) for ProRes 422.");
  schema->AddParameterString(
      "Allocator", "",
      "For advanced user: manage how the memory is allocated. If undefined the classical recycling "
      "model is used. If set to ExtBufferAllocator then the memory is fully managed by the "
      "user/caller.");
  RegisterElement<ElementFactoryType::VideoDecoder>(registrant, schema, CreateVideoDecoderProRes);
}

void RegisterVideoEncoderProres(const char* registrant) {
  const auto schema = CreateParametersCollectionPrototype();
  schema->AddParameterInt("NumThreads", 0,
                          "The number of simultaneous processing threads to spawn. Set this to 0 "
                          "to have the encoder determine this automatically based on the number of "
                          "processors in the system.");
  schema->AddParameterProResCodecVariant("ProResCodecVariant", ProResCodecVariant::Standard,
                                         "Performance parameter for the encoding quality");
  RegisterElement<ElementFactoryType::VideoEncoder>(registrant, schema, CreateVideoEncoderProRes);
}

}  // namespace vix
