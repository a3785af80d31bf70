// SPDX-License-Identifier: BSD-2-Clause
// A plug-in whose elements return the pushed samples.
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "vix/Elements.h"
#include "vix/Error.h"
#include "vix/Logging.h"
#include "vix/Registry.h"

namespace {

using Config = std::shared_ptr<const vix::IParametersCollectionInstance>;

/// An encoder or decoder that passes samples through and rejects empty containers.
template <typename Interface>
class FakeElement final : public Interface {
 public:
  explicit FakeElement(Config manifest) : manifest_(std::move(manifest)) {}
  ~FakeElement() override { waiting_ = nullptr; }
  FakeElement(const FakeElement&) = delete;
  FakeElement& operator=(const FakeElement&) = delete;

  void PushSample(std::shared_ptr<const vix::ISampleContainer> container) override {
    if (container->GetVideoSamples(nullptr, nullptr).empty()) {
      throw vix::VIXRuntimeError("no sample in " + vix::GetCurrentContextString());
    }
    waiting_ = std::move(container);
  }
  std::shared_ptr<const vix::ISampleContainer> GetSample() override {
    return std::exchange(waiting_, nullptr);
  }
  std::shared_ptr<const vix::IInfoContainer> CheckInputAndAdaptIfNecessary(
      std::shared_ptr<const vix::IInfoContainer>, std::string) const override {
    return nullptr;
  }
  void DefineInput(std::shared_ptr<const vix::IInfoContainer> input, std::string) override {
    if (input->GetInfo().empty()) throw vix::VIXRuntimeError("no stream");
    input_ = std::move(input);
  }
  void SetInputMediator(std::shared_ptr<vix::IInputMediator>, std::string, std::string) override {}
  void SetOutputMediator(std::shared_ptr<vix::IOutputMediator>, std::string, std::string) override {
  }
  void ClearInternalBuffer() override { waiting_ = nullptr; }
  std::shared_ptr<const vix::IInfoContainer> GetDefinedInput(std::string) const override {
    return input_;
  }
  std::shared_ptr<const vix::IInfoContainer> GetDefinedOutput(std::string) const override {
    return input_;
  }
  void SetInitConfig(Config config) override { config_ = std::move(config); }
  void Flush() override {}
  void Interrupt() override {}
  Config GetManifest() const override { return manifest_; }
  void Release() override {
    if (config_->GetBool("FailRelease")) throw vix::VIXRuntimeError("release failed");
  }
  void UpdateConfig(Config) override {}

 private:
  Config manifest_;
  Config config_;
  std::shared_ptr<const vix::IInfoContainer> input_;
  std::shared_ptr<const vix::ISampleContainer> waiting_;
};

class FakeBlock final : public vix::IMemoryBlock {
 public:
  explicit FakeBlock(std::size_t bytes) : memory_(bytes) {}
  std::uint8_t* GetData() const override { return memory_.data(); }
  std::size_t GetSize() const override { return memory_.size(); }

 private:
  mutable std::vector<std::uint8_t> memory_;
};

class FakeAllocator final : public vix::IMemoryBlockAllocator {
 public:
  std::shared_ptr<vix::IMemoryBlock> AllocateBlock(std::size_t bytes) override {
    return std::make_shared<FakeBlock>(bytes);
  }
};

/// A decoder factory that is not an ElementFactory.
class OddFactory final : public vix::IElementFactory {
 public:
  vix::ElementFactoryType GetFactoryType() const override {
    return vix::ElementFactoryType::VideoDecoder;
  }
};

void Register(const char* registrant, const std::string& type,
              std::shared_ptr<vix::IElementFactory> factory) {
  const auto schema = vix::CreateParametersCollectionPrototype();
  schema->AddParameterBool("FailRelease", false, "Whether Release fails");
  const auto entry = vix::CreateParametersCollectionInstance(vix::GetRegistryEntryPrototype());
  entry->SetElementFactoryType("class", factory->GetFactoryType());
  entry->SetString("type", type);
  entry->SetString("implementation", "fake");
  entry->SetParametersCollectionPrototype("init_config", schema);
  vix::RegisterFactory(registrant, vix::GetVIXCoreIdInternal("0.7.0.0.0"), std::move(factory),
                       entry);
}

template <vix::ElementFactoryType T, typename Creator>
std::shared_ptr<vix::IElementFactory> MakeFactory(Creator creator) {
  return std::make_shared<vix::ElementFactory<T>>(creator);
}

}  // namespace

extern "C" VIX_API void RegisterAll(const char* registrant) {
  using Type = vix::ElementFactoryType;
  Register(registrant, "Pass", MakeFactory<Type::VideoDecoder>([](Config manifest) {
             return std::make_shared<FakeElement<vix::IVideoDecoder>>(manifest);
           }));
  Register(registrant, "Pass", MakeFactory<Type::VideoEncoder>([](Config manifest) {
             return std::make_shared<FakeElement<vix::IVideoEncoder>>(manifest);
           }));
  Register(registrant, "Vector", MakeFactory<Type::MemoryBlockAllocator>([](Config) {
             return std::make_shared<FakeAllocator>();
           }));
  Register(registrant, "Nothing", MakeFactory<Type::VideoDecoder>([](Config) { return nullptr; }));
  Register(registrant, "Nothing",
           MakeFactory<Type::MemoryBlockAllocator>([](Config) { return nullptr; }));
  Register(registrant, "Odd", std::make_shared<OddFactory>());
}
