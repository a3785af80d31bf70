// SPDX-License-Identifier: BSD-2-Clause
#include "FakeHost.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace fake {
namespace {

template <typename Map>
typename Map::mapped_type Lookup(const Map& values, const std::string& name) {
  const auto found = values.find(name);
  if (found == values.end()) throw vix::VIXRuntimeError("no parameter " + name);
  return found->second;
}

}  // namespace

Host& TheHost() {
  static Host host;
  return host;
}

void ResetHost() {
  // What the old host holds notes its end in the new one.
  const Host old = std::exchange(TheHost(), Host());
}

void Host::Call(const std::string& function, const std::string& arguments) {
  calls.push_back(function + "(" + arguments + ")");
  if (const auto hook = hooks.find(function); hook != hooks.end()) hook->second();
}

std::string Host::NextName(const std::string& kind) {
  return kind + std::to_string(++created[kind]);
}

std::size_t Host::CountCalls(const std::string& text) const {
  return static_cast<std::size_t>(std::count_if(
      calls.begin(), calls.end(), [&](const std::string& call) { return call.starts_with(text); }));
}

void Prototype::AddParameterBool(const std::string& name, bool value, const std::string& text) {
  Call("AddParameterBool", Join(name, value, text));
}
void Prototype::AddParameterInt(const std::string& name, int value, const std::string& text) {
  Call("AddParameterInt", Join(name, value, text));
}
void Prototype::AddParameterString(const std::string& name, const std::string& value,
                                   const std::string& text) {
  Call("AddParameterString", Join(name, "\"" + value + "\"", text));
}
void Prototype::AddParameterFourCC(const std::string& name, const std::vector<vix::FourCC>& allowed,
                                   const std::string& text) {
  std::string list;
  for (const vix::FourCC fourcc : allowed) {
    char characters[5] = {};
    std::memcpy(characters, &fourcc, 4);
    list += std::string(list.empty() ? "" : " ") + characters;
  }
  Call("AddParameterFourCC", Join(name, "{" + list + "}", text));
}
void Prototype::AddParameterProResCodecVariant(const std::string& name,
                                               vix::ProResCodecVariant value,
                                               const std::string& text) {
  Call("AddParameterProResCodecVariant", Join(name, static_cast<int>(value), text));
}

bool Instance::GetBool(const std::string& name) const {
  Call("GetBool", name);
  return Lookup(numbers, name) != 0;
}
std::int32_t Instance::GetInt(const std::string& name) const {
  Call("GetInt", name);
  return Lookup(numbers, name);
}
std::string Instance::GetString(const std::string& name) const {
  Call("GetString", name);
  return Lookup(texts, name);
}
void Instance::SetString(const std::string& name, const std::string& value) {
  Call("SetString", Join(name, value));
  texts[name] = value;
}
bool Instance::HasString(const std::string& name) const {
  Call("HasString", name);
  return texts.contains(name);
}
vix::FourCC Instance::GetFourCC(const std::string& name) const {
  Call("GetFourCC", name);
  return Lookup(fourccs, name);
}
bool Instance::HasFourCC(const std::string& name) const {
  Call("HasFourCC", name);
  return fourccs.contains(name);
}
vix::ProResCodecVariant Instance::GetProResCodecVariant(const std::string& name) const {
  Call("GetProResCodecVariant", name);
  return static_cast<vix::ProResCodecVariant>(Lookup(numbers, name));
}
void Instance::SetParametersCollectionPrototype(
    const std::string& name, std::shared_ptr<const vix::IParametersCollectionPrototype> value) {
  Call("SetParametersCollectionPrototype", Join(name, NameOf(value)));
  prototypes[name] = std::move(value);
}
void Instance::SetElementFactoryType(const std::string& name, vix::ElementFactoryType value) {
  Call("SetElementFactoryType", Join(name, static_cast<int>(value)));
  numbers[name] = static_cast<std::int32_t>(value);
}

Buffer::Buffer(std::string name, const std::vector<std::uint8_t>& contents)
    : Named(std::move(name)) {
  Provide(static_cast<std::uint32_t>(contents.size()));
  std::copy(contents.begin(), contents.end(), memory.get());
}
void Buffer::Provide(std::uint32_t bytes) {
  auto provided = std::make_unique<std::uint8_t[]>(bytes);
  std::copy_n(memory.get(), std::min(size, bytes), provided.get());
  memory = std::move(provided);
  size = bytes;
}
std::uint8_t* Buffer::GetData() const {
  Call("GetData");
  return memory.get();
}
std::uint32_t Buffer::GetSize() const {
  Call("GetSize");
  return size;
}
void Buffer::SetSize(std::uint32_t bytes) {
  Call("SetSize", Join(bytes));
  size = bytes;
}
void Buffer::Allocate(std::uint32_t bytes) {
  Call("Allocate", Join(bytes));
  Provide(bytes + TheHost().spareBytes);
}
void Buffer::Resize(std::uint32_t bytes) {
  Call("Resize", Join(bytes));
  Provide(bytes);
}

std::shared_ptr<const vix::IBuffer> VideoSample::GetBuffer() const {
  Call("GetBuffer");
  return buffer;
}
const std::vector<vix::TimeLimits>& VideoSample::GetTimeLimits() const {
  Call("GetTimeLimits");
  return timeLimits;
}
std::shared_ptr<const vix::IVideoParameters> VideoSample::GetVideoParameters() const {
  Call("GetVideoParameters");
  return parameters;
}
std::vector<std::shared_ptr<const vix::IMetadata>> VideoSample::GetMetadata() const {
  Call("GetMetadata");
  return metadata;
}

std::vector<std::shared_ptr<const vix::IVideoSample>> SampleContainer::GetVideoSamples(
    std::shared_ptr<const vix::ITrack> track,
    std::shared_ptr<const vix::IChannelInfo> channel) const {
  Call("GetVideoSamples", Join(NameOf(track), NameOf(channel)));
  return samples;
}

void Writer::Write(vix::LogLevel level, const char* message, const char* context,
                   const char* sourceFile, const char* line, const char* reserved,
                   const char* threadId, const char* time) {
  Call("Write", Join(static_cast<int>(level)));
  TheHost().records.push_back(
      {level, message, context, sourceFile, line, reserved, threadId, time});
}

}  // namespace fake

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
