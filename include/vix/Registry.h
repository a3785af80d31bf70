// SPDX-License-Identifier: BSD-2-Clause
#ifndef VIX_REGISTRY_H
#define VIX_REGISTRY_H

/// @file
/// The registry of element factories, with keys (factory type, implementation, type). Every
/// function may be called from any thread.

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "vix/Buffers.h"
#include "vix/Elements.h"
#include "vix/Export.h"
#include "vix/Parameters.h"
#include "vix/Types.h"

namespace vix {

/// A factory in the registry.
class VIX_API IElementFactory {
 public:
  virtual ~IElementFactory() = default;
  /// Returns the kind of element that the factory makes.
  virtual ElementFactoryType GetFactoryType() const = 0;
};

/// Result type of the creators of a factory type.
template <ElementFactoryType T>
struct ElementFactoryType_traits;
/// Result type of the creators of decoders.
template <>
struct ElementFactoryType_traits<ElementFactoryType::VideoDecoder> {
  /// A decoder.
  using InstanceType = std::shared_ptr<IVideoDecoder>;
};
/// Result type of the creators of encoders.
template <>
struct ElementFactoryType_traits<ElementFactoryType::VideoEncoder> {
  /// An encoder.
  using InstanceType = std::shared_ptr<IVideoEncoder>;
};
/// Result type of the creators of allocators.
template <>
struct ElementFactoryType_traits<ElementFactoryType::MemoryBlockAllocator> {
  /// An allocator.
  using InstanceType = std::shared_ptr<IMemoryBlockAllocator>;
};

/// Factory of type T around a creator, which makes an element from a configuration instance.
template <ElementFactoryType T>
class VIX_API ElementFactory : public IElementFactory {
 public:
  /// Result type of the creator.
  using InstanceType = typename ElementFactoryType_traits<T>::InstanceType;
  /// Makes an element whose GetManifest() returns the creator's argument.
  using Creator = std::function<InstanceType(std::shared_ptr<const IParametersCollectionInstance>)>;

  /// Makes a factory that calls `creator`, which may be empty if it is never called.
  explicit ElementFactory(Creator creator) : creator_(std::move(creator)) {}

  /// Returns T.
  ElementFactoryType GetFactoryType() const override { return T; }
  /// Returns the constructor's argument.
  const Creator& GetCreator() const { return creator_; }

 private:
  Creator creator_;
};

/// Returns the schema of registry entries: "class" (ElementFactoryType), "type" (text),
/// "implementation" (text), "init_config" (the element's own schema).
VIX_API std::shared_ptr<const IParametersCollectionPrototype> GetRegistryEntryPrototype();

/// Returns the core identity that a plug-in built for `version`
/// ("major.minor.patch.build.revision") passes to RegisterFactory(): "vixCore " and the version.
/// RegisterFactory() rejects the identity of a version of another form. This core is 0.7 and
/// compatible with every 0.7 version.
VIX_API std::string GetVIXCoreIdInternal(std::string version);

/// Adds a factory under the key of its entry. Replaces an earlier registration of the same
/// registrant under that key. Rejects a key of another registrant, and of another plug-in of the
/// same registrant (a VIXError with ErrorCode::AlreadyExists that names both). Rejects an
/// incompatible core identity, null pointers, an incomplete entry, and a factory whose type is not
/// the entry's "class". The core's own "Recycler" cannot be replaced.
///
/// While LoadPlugin() runs the plug-in's entry on this thread, the registration takes effect when
/// the entry returns.
VIX_API void RegisterFactory(std::string registrant, std::string coreId,
                             std::shared_ptr<IElementFactory> factory,
                             std::shared_ptr<const IParametersCollectionInstance> registryEntry);

/// Removes every registration of a registrant, but never those of the core. Existing elements stay
/// usable.
VIX_API void UnregisterFactories(const std::string& registrant);

/// Returns the factory of that key, or null.
VIX_API std::shared_ptr<IElementFactory> GetFactory(ElementFactoryType factoryType,
                                                    const std::string& implementation,
                                                    const std::string& type);
/// Returns the default configuration of elements of that key: an instance of the "init_config"
/// schema in which no value is set; null for an unknown key.
VIX_API std::shared_ptr<const IParametersCollectionInstance> GetManifest(
    ElementFactoryType factoryType, const std::string& implementation, const std::string& type);

/// Returns the entries of the registry in the order of registration.
VIX_API std::vector<std::shared_ptr<const IParametersCollectionInstance>> GetRegistryEntries();

/// Returns the label of a codec family ("Raw", "ProRes"), which is the "type" of its codec
/// elements; "VCodecFamily 7" for the unknown family 7.
VIX_API std::string GetLabel(VCodecFamily family);
/// Returns the label of a factory type ("VideoDecoder", "VideoEncoder", "MemoryBlockAllocator");
/// "ElementFactoryType 7" for the unknown type 7.
VIX_API std::string GetLabel(ElementFactoryType factoryType);
/// Returns the name of a variant ("Proxy", "LT", "Standard", "HQ"); "ProResCodecVariant 7" for the
/// unknown variant 7.
VIX_API std::string GetLabel(ProResCodecVariant variant);

/// Traces an operation: it begins with the constructor and ends with the destructor.
class VIX_API IMilestone {
 public:
  virtual ~IMilestone() = default;
};

/// Creates a milestone. While it exists, `name` is appended to the calling thread's context. It
/// must be destroyed on the same thread.
VIX_API std::unique_ptr<IMilestone> CreateMilestone(std::string name);

}  // namespace vix

#endif  // VIX_REGISTRY_H
