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
  // Destructors of the old host's objects use the new host.
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

void Writer::Write(vix::LogLevel level, const char* message, const char* context,
                   const char* sourceFile, const char* line, const char* reserved,
                   const char* threadId, const char* time) {
  Call("Write", Join(static_cast<int>(level)));
  TheHost().records.push_back(
      {level, message, context, sourceFile, line, reserved, threadId, time});
}

}  // namespace fake
