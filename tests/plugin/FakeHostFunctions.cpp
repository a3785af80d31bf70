// SPDX-License-Identifier: BSD-2-Clause
// The free functions of the scripted host. They replace those of the host core.
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "FakeHost.h"
#include "FakeStreams.h"

namespace vix {

using fake::Join;
using fake::NameOf;
using fake::TheHost;

std::shared_ptr<IParametersCollectionPrototype> CreateParametersCollectionPrototype() {
  TheHost().Call("CreateParametersCollectionPrototype");
  return std::make_shared<fake::Prototype>(TheHost().NextName("schema"));
}

std::shared_ptr<IParametersCollectionInstance> CreateParametersCollectionInstance(
    std::shared_ptr<const IParametersCollectionPrototype> prototype) {
  TheHost().Call("CreateParametersCollectionInstance", NameOf(prototype));
  return std::make_shared<fake::Instance>(TheHost().NextName("entry"));
}

std::shared_ptr<const IParametersCollectionPrototype> GetRegistryEntryPrototype() {
  TheHost().Call("GetRegistryEntryPrototype");
  return std::make_shared<fake::Prototype>("entrySchema");
}

void RegisterFactory(std::string registrant, std::string coreId,
                     std::shared_ptr<IElementFactory> factory,
                     std::shared_ptr<const IParametersCollectionInstance> registryEntry) {
  TheHost().Call(
      "RegisterFactory",
      Join(registrant, coreId, static_cast<int>(factory->GetFactoryType()), NameOf(registryEntry)));
  TheHost().registrations.push_back(
      {std::move(registrant), std::move(coreId), std::move(factory), std::move(registryEntry)});
}

std::string GetVIXCoreIdInternal(std::string version) {
  TheHost().Call("GetVIXCoreIdInternal", version);
  return "core " + version;
}

std::string GetLabel(VCodecFamily family) {
  TheHost().Call("GetLabel", Join("family", static_cast<int>(family)));
  return "Family" + std::to_string(static_cast<int>(family));
}

std::string GetLabel(ElementFactoryType factoryType) {
  TheHost().Call("GetLabel", Join("factory type", static_cast<int>(factoryType)));
  return "Type" + std::to_string(static_cast<int>(factoryType));
}

std::shared_ptr<IElementFactory> GetFactory(ElementFactoryType factoryType,
                                            const std::string& implementation,
                                            const std::string& type) {
  TheHost().Call("GetFactory", Join(static_cast<int>(factoryType), implementation, type));
  return TheHost().factory;
}

std::shared_ptr<const IParametersCollectionInstance> GetManifest(ElementFactoryType factoryType,
                                                                 const std::string& implementation,
                                                                 const std::string& type) {
  TheHost().Call("GetManifest", Join(static_cast<int>(factoryType), implementation, type));
  return TheHost().manifest;
}

std::unique_ptr<IMilestone> CreateMilestone(std::string name) {
  TheHost().Call("CreateMilestone", name);
  return std::make_unique<fake::Marker<IMilestone>>("milestone");
}

std::shared_ptr<IMemoryBlockAllocator> GetAllocator(const std::string& name) {
  TheHost().Call("GetAllocator", name);
  const auto found = TheHost().allocators.find(name);
  return found == TheHost().allocators.end() ? nullptr : found->second;
}

std::shared_ptr<IBuffer> CreateBuffer(std::shared_ptr<IMemoryBlockAllocator> allocator,
                                      std::shared_ptr<IMemoryBlock> block) {
  TheHost().Call("CreateBuffer", Join(NameOf(allocator), NameOf(block)));
  const auto buffer = std::make_shared<fake::Buffer>(TheHost().NextName("buffer"));
  TheHost().buffers.push_back(buffer);
  return buffer;
}

std::shared_ptr<IVideoParameters> CreateVideoParameters(VCodecFamily family) {
  TheHost().Call("CreateVideoParameters", Join(static_cast<int>(family)));
  if (TheHost().createParameters) return TheHost().createParameters(family);
  if (family == VCodecFamily::Raw) return std::make_shared<fake::RawParameters>("output");
  return std::make_shared<fake::ProResParameters>("output");
}

std::shared_ptr<IVideoInfo> CreateVideoInfo(
    std::shared_ptr<const IVideoParameters> parameters,
    std::shared_ptr<const IChannelInfo> channelInfo,
    std::vector<std::shared_ptr<const IMetadata>> metadata,
    std::vector<std::shared_ptr<const IClockInfo>> clockInfos) {
  TheHost().Call("CreateVideoInfo",
                 Join(NameOf(parameters), NameOf(channelInfo), metadata.size(), clockInfos.size()));
  return std::make_shared<fake::VideoInfo>("outputInfo", std::move(parameters),
                                           std::move(channelInfo));
}

std::shared_ptr<IChannelInfo> CreateChannelInfo(std::shared_ptr<const ITrack> track, int index) {
  TheHost().Call("CreateChannelInfo", Join(NameOf(track), index));
  return std::make_shared<fake::ChannelInfo>("newChannel", std::move(track), index);
}

std::shared_ptr<IInfoContainer> CreateInfoContainer(
    std::shared_ptr<const IInfo> info, std::shared_ptr<const IPackagingInfo> packagingInfo) {
  TheHost().Call("CreateInfoContainer", Join(NameOf(info), NameOf(packagingInfo)));
  return std::make_shared<fake::InfoContainer>(
      TheHost().NextName("outputInfos"),
      std::vector{std::dynamic_pointer_cast<const IVideoInfo>(info)});
}

std::shared_ptr<IVideoSample> CreateVideoSample(
    std::shared_ptr<const IVideoParameters> parameters, std::shared_ptr<const IVideoInfo> info,
    std::shared_ptr<const IBuffer> buffer, const std::vector<TimeLimits>& timeLimits,
    std::vector<std::shared_ptr<const IMetadata>> metadata) {
  TheHost().Call("CreateVideoSample", Join(NameOf(parameters), NameOf(info), NameOf(buffer),
                                           timeLimits.size(), metadata.size()));
  const auto sample = std::make_shared<fake::VideoSample>(TheHost().NextName("newSample"));
  sample->parameters = std::move(parameters);
  sample->info = std::move(info);
  sample->buffer = std::move(buffer);
  sample->timeLimits = timeLimits;
  sample->metadata = std::move(metadata);
  return sample;
}

std::shared_ptr<ISampleContainer> CreateSampleContainer(
    std::shared_ptr<const ISample> sample, std::shared_ptr<const IPackagingInfo> packagingInfo) {
  TheHost().Call("CreateSampleContainer", Join(NameOf(sample), NameOf(packagingInfo)));
  return std::make_shared<fake::SampleContainer>(
      TheHost().NextName("newContainer"),
      std::vector{std::dynamic_pointer_cast<const IVideoSample>(sample)});
}

namespace RawVideoUtils {

namespace {
std::vector<std::uint32_t> Strides(FourCC fourcc, unsigned width) {
  if (!TheHost().strides.empty()) return TheHost().strides;
  return {fourcc == kFourCC_V210 ? (width + 47) / 48 * 128 : (width + 1) / 2 * 4};
}
}  // namespace

std::vector<std::uint32_t> GetStrides(std::shared_ptr<const IVideoParameters> parameters) {
  TheHost().Call("GetStrides", NameOf(parameters));
  const auto& values = dynamic_cast<const fake::RawParameters&>(*parameters).values;
  return Strides(values.fourcc, values.width);
}

std::vector<std::uint32_t> GetStrides(FourCC fourcc, VideoChroma chroma, unsigned int width,
                                      unsigned int height) {
  TheHost().Call("GetStrides", Join(fourcc, static_cast<int>(chroma), width, height));
  return Strides(fourcc, width);
}

std::uint32_t GetFrameBytes(FourCC fourcc, VideoChroma chroma, unsigned int width,
                            unsigned int height) {
  TheHost().Call("GetFrameBytes", Join(fourcc, static_cast<int>(chroma), width, height));
  return TheHost().frameBytes != 0 ? TheHost().frameBytes : Strides(fourcc, width).at(0) * height;
}

}  // namespace RawVideoUtils

std::uint32_t GetProResVideoRateMbps(ProResCodecVariant variant, EditRate editRate,
                                     VideoResolution resolution) {
  TheHost().Call("GetProResVideoRateMbps",
                 Join(static_cast<int>(variant), editRate.numerator, editRate.denominator,
                      static_cast<int>(resolution)));
  return TheHost().rate;
}

std::shared_ptr<ILoggerWriter> GetCurrentLoggerWriter() {
  TheHost().Call("GetCurrentLoggerWriter");
  return TheHost().writer;
}
std::string GetCurrentTimeString() {
  TheHost().Call("GetCurrentTimeString");
  return "the time";
}
std::string GetThreadId() {
  TheHost().Call("GetThreadId");
  return "the thread";
}
std::string GetCurrentContextString() {
  TheHost().Call("GetCurrentContextString");
  return "the context";
}
std::string ToString(int value) {
  TheHost().Call("ToString", Join(value));
  return std::to_string(value);
}
std::string ToString(LogLevel level) {
  TheHost().Call("ToString", Join("level", static_cast<int>(level)));
  return "LEVEL" + std::to_string(static_cast<int>(level));
}

}  // namespace vix
