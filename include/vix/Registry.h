// SPDX-License-Identifier: BSD-2-Clause
#ifndef VIX_REGISTRY_H
#define VIX_REGISTRY_H

/// @file
/// The registry of element factories, keyed by (factory type, implementation, type). Everything
/// here may be called from any thread.

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
  /// Kind of element that the factory makes.
  virtual ElementFactoryType GetFactoryType() const = 0;
};

/// Names what the creator of a factory type returns.
template <ElementFactoryType T>
struct ElementFactoryType_traits;
/// What the creator of a VideoDecoder factory returns.
template <>
struct ElementFactoryType_traits<ElementFactoryType::VideoDecoder> {
  /// A decoder.
  using InstanceType = std::shared_ptr<IVideoDecoder>;
};
/// What the creator of a VideoEncoder factory returns.
template <>
struct ElementFactoryType_traits<ElementFactoryType::VideoEncoder> {
  /// An encoder.
  using InstanceType = std::shared_ptr<IVideoEncoder>;
};
/// What the creator of a MemoryBlockAllocator factory returns.
template <>
struct ElementFactoryType_traits<ElementFactoryType::MemoryBlockAllocator> {
  /// An allocator.
  using InstanceType = std::shared_ptr<IMemoryBlockAllocator>;
};

/// Factory of type T around a creator, which makes an element from a configuration instance.
template <ElementFactoryType T>
class VIX_API ElementFactory : public IElementFactory {
 public:
  /// What the creator returns.
  using InstanceType = typename ElementFactoryType_traits<T>::InstanceType;
  /// Makes an element; its argument is what the element's GetManifest() is to return.
  using Creator = std::function<InstanceType(std::shared_ptr<const IParametersCollectionInstance>)>;

  /// A factory around `creator`, which may be empty until it is called.
  explicit ElementFactory(Creator creator) : creator_(std::move(creator)) {}

  /// T.
  ElementFactoryType GetFactoryType() const override { return T; }
  /// The creator that the factory was made with.
  const Creator& GetCreator() const { return creator_; }

 private:
  Creator creator_;
};

/// Schema of registry entries: "class" (ElementFactoryType), "type" (text), "implementation"
/// (text), "init_config" (the element's own schema).
VIX_API std::shared_ptr<const IParametersCollectionPrototype> GetRegistryEntryPrototype();

/// Core identity that a plug-in built against `version` ("major.minor.patch.build.revision")
/// presents to RegisterFactory(): "vixCore " and the version. A version of another form gives an
/// identity that RegisterFactory() refuses. This core is 0.7 and compatible with every 0.7 version.
VIX_API std::string GetVIXCoreIdInternal(std::string version);

/// Adds a factory under the key of its entry. A key that is taken is refused unless the same
/// registrant took it: then the newer registration replaces the older one. Refuses a core
/// identity that this core is not compatible with, null pointers, an incomplete entry, and a
/// factory whose type is not the entry's "class". The core's own "Recycler" cannot be replaced.
///
/// Called while LoadPlugin() runs the plug-in's entry on this thread, the registration takes effect
/// when the entry has returned.
VIX_API void RegisterFactory(std::string registrant, std::string coreId,
                             std::shared_ptr<IElementFactory> factory,
                             std::shared_ptr<const IParametersCollectionInstance> registryEntry);

/// Removes every registration of a registrant; the core's own have none. Elements already made stay
/// usable.
VIX_API void UnregisterFactories(const std::string& registrant);

/// The factory under that key, or null.
VIX_API std::shared_ptr<IElementFactory> GetFactory(ElementFactoryType factoryType,
                                                    const std::string& implementation,
                                                    const std::string& type);
/// The configuration with which an element under that key is created when nothing else is asked
/// for: an instance of its "init_config" schema with every default; null for an unknown key.
VIX_API std::shared_ptr<const IParametersCollectionInstance> GetManifest(
    ElementFactoryType factoryType, const std::string& implementation, const std::string& type);

/// The entries of the registry, in the order of their registration.
VIX_API std::vector<std::shared_ptr<const IParametersCollectionInstance>> GetRegistryEntries();

/// Label of a codec family ("Raw", "ProRes"); the "type" of elements that code it. The label of an
/// unknown family 7 is "VCodecFamily 7".
VIX_API std::string GetLabel(VCodecFamily family);
/// Label of a factory type ("VideoDecoder", "VideoEncoder", "MemoryBlockAllocator"); that of an
/// unknown type 7 is "ElementFactoryType 7".
VIX_API std::string GetLabel(ElementFactoryType factoryType);

/// Marks the span of a traced operation by its lifetime.
class VIX_API IMilestone {
 public:
  virtual ~IMilestone() = default;
};

/// A new milestone: while it lives, `name` is part of the calling thread's context, behind the
/// context that it was made in. It has to be destroyed on the thread that made it.
VIX_API std::unique_ptr<IMilestone> CreateMilestone(std::string name);

}  // namespace vix

#endif  // VIX_REGISTRY_H
