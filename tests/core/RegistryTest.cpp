// SPDX-License-Identifier: BSD-2-Clause
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "ErrorText.h"
#include "vix/Logging.h"
#include "vix/Registry.h"

namespace vix {
namespace {

using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

using DecoderFactory = ElementFactory<ElementFactoryType::VideoDecoder>;
using EncoderFactory = ElementFactory<ElementFactoryType::VideoEncoder>;

const std::string kCoreId = GetVIXCoreIdInternal("0.7.16.249.80659");

std::shared_ptr<IElementFactory> MakeDecoderFactory() {
  return std::make_shared<DecoderFactory>(
      [](std::shared_ptr<const IParametersCollectionInstance>) { return nullptr; });
}

std::shared_ptr<IParametersCollectionInstance> MakeEntry(const std::string& type) {
  const auto schema = CreateParametersCollectionPrototype();
  schema->AddParameterInt("Size", 12, "a size");
  const auto entry = CreateParametersCollectionInstance(GetRegistryEntryPrototype());
  entry->SetElementFactoryType("class", ElementFactoryType::VideoDecoder);
  entry->SetString("type", type);
  entry->SetString("implementation", "test");
  entry->SetParametersCollectionPrototype("init_config", schema);
  return entry;
}

std::shared_ptr<IElementFactory> Find(const std::string& type) {
  return GetFactory(ElementFactoryType::VideoDecoder, "test", type);
}

/// Returns the types of the entries that this test registered.
std::vector<std::string> ListTestEntries() {
  std::vector<std::string> types;
  for (const auto& entry : GetRegistryEntries()) {
    if (entry->GetString("implementation") == "test") types.push_back(entry->GetString("type"));
  }
  return types;
}

class Registry : public ::testing::Test {
 protected:
  ~Registry() override {
    for (const char* registrant : {"one", "two", ""}) UnregisterFactories(registrant);
  }
};

TEST_F(Registry, ReturnsTheRegisteredFactory) {
  const auto factory = MakeDecoderFactory();
  RegisterFactory("one", kCoreId, factory, MakeEntry("A"));
  EXPECT_EQ(Find("A"), factory);
}

TEST_F(Registry, FindsByAllThreePartsOfTheKey) {
  RegisterFactory("one", kCoreId, MakeDecoderFactory(), MakeEntry("A"));
  EXPECT_EQ(Find("B"), nullptr);
  EXPECT_EQ(GetFactory(ElementFactoryType::VideoEncoder, "test", "A"), nullptr);
  EXPECT_EQ(GetFactory(ElementFactoryType::VideoDecoder, "other", "A"), nullptr);
}

TEST_F(Registry, ReturnsAManifestWithTheDefaultsOfTheSchema) {
  const auto entry = MakeEntry("A");
  RegisterFactory("one", kCoreId, MakeDecoderFactory(), entry);
  const auto manifest = GetManifest(ElementFactoryType::VideoDecoder, "test", "A");
  ASSERT_NE(manifest, nullptr);
  EXPECT_EQ(manifest->GetInt("Size"), 12);
  EXPECT_EQ(manifest->GetPrototype(), entry->GetParametersCollectionPrototype("init_config"));
  EXPECT_EQ(GetManifest(ElementFactoryType::VideoDecoder, "test", "B"), nullptr);
}

TEST_F(Registry, ListsEntriesInTheOrderOfRegistration) {
  RegisterFactory("one", kCoreId, MakeDecoderFactory(), MakeEntry("B"));
  RegisterFactory("two", kCoreId, MakeDecoderFactory(), MakeEntry("A"));
  RegisterFactory("one", kCoreId, MakeDecoderFactory(), MakeEntry("C"));
  EXPECT_THAT(ListTestEntries(), ElementsAre("B", "A", "C"));
}

TEST_F(Registry, LetsARegistrantReplaceItsOwnFactory) {
  RegisterFactory("one", kCoreId, MakeDecoderFactory(), MakeEntry("A"));
  const auto newer = MakeDecoderFactory();
  RegisterFactory("one", kCoreId, newer, MakeEntry("A"));
  EXPECT_EQ(Find("A"), newer);
  EXPECT_THAT(ListTestEntries(), ElementsAre("A"));
}

TEST_F(Registry, RejectsAKeyOfAnotherRegistrant) {
  const auto factory = MakeDecoderFactory();
  RegisterFactory("one", kCoreId, factory, MakeEntry("A"));
  EXPECT_THAT(
      ErrorTextOf([] { RegisterFactory("two", kCoreId, MakeDecoderFactory(), MakeEntry("A")); }),
      AllOf(HasSubstr("VideoDecoder.test.A"), HasSubstr("\"one\"")));
  EXPECT_EQ(Find("A"), factory);
}

TEST_F(Registry, AcceptsAnEmptyRegistrant) {
  RegisterFactory("", kCoreId, MakeDecoderFactory(), MakeEntry("A"));
  RegisterFactory("", kCoreId, MakeDecoderFactory(), MakeEntry("A"));
  EXPECT_THAT(
      ErrorTextOf([] { RegisterFactory("two", kCoreId, MakeDecoderFactory(), MakeEntry("A")); }),
      HasSubstr("registrant \"\""));
  UnregisterFactories("");
  EXPECT_EQ(Find("A"), nullptr);
  EXPECT_NE(GetFactory(ElementFactoryType::MemoryBlockAllocator, "vix", "Recycler"), nullptr);
}

TEST_F(Registry, RemovesTheRegistrationsOfARegistrant) {
  RegisterFactory("one", kCoreId, MakeDecoderFactory(), MakeEntry("A"));
  RegisterFactory("two", kCoreId, MakeDecoderFactory(), MakeEntry("B"));
  UnregisterFactories("one");
  EXPECT_EQ(Find("A"), nullptr);
  EXPECT_NE(Find("B"), nullptr);
  UnregisterFactories("nobody");
  EXPECT_THAT(ListTestEntries(), ElementsAre("B"));
}

TEST_F(Registry, OffersTheCoresRecycler) {
  constexpr auto kType = ElementFactoryType::MemoryBlockAllocator;
  EXPECT_NE(std::dynamic_pointer_cast<ElementFactory<kType>>(GetFactory(kType, "vix", "Recycler")),
            nullptr);
  EXPECT_NE(GetManifest(kType, "vix", "Recycler"), nullptr);
  EXPECT_EQ(GetRegistryEntries().front()->GetString("type"), "Recycler");
}

TEST_F(Registry, ProtectsTheCoresRecycler) {
  constexpr auto kType = ElementFactoryType::MemoryBlockAllocator;
  const auto entry = MakeEntry("Recycler");
  entry->SetElementFactoryType("class", kType);
  entry->SetString("implementation", "vix");
  const auto factory = std::make_shared<ElementFactory<kType>>(
      [](std::shared_ptr<const IParametersCollectionInstance>) { return nullptr; });
  EXPECT_THAT(ErrorTextOf([&] { RegisterFactory("one", kCoreId, factory, entry); }),
              AllOf(HasSubstr("MemoryBlockAllocator.vix.Recycler"), HasSubstr("the core")));
}

TEST_F(Registry, RejectsNullPointers) {
  EXPECT_THAT(ErrorTextOf([] { RegisterFactory("one", kCoreId, nullptr, MakeEntry("A")); }),
              HasSubstr("factory is null"));
  EXPECT_THAT(ErrorTextOf([] { RegisterFactory("one", kCoreId, MakeDecoderFactory(), nullptr); }),
              HasSubstr("entry is null"));
}

TEST_F(Registry, RejectsIncompleteEntriesAndNamesTheMissingKey) {
  const auto entry = CreateParametersCollectionInstance(GetRegistryEntryPrototype());
  const auto error = [&] {
    return ErrorTextOf([&] { RegisterFactory("one", kCoreId, MakeDecoderFactory(), entry); });
  };
  EXPECT_THAT(error(), HasSubstr("\"class\""));
  entry->SetElementFactoryType("class", ElementFactoryType::VideoDecoder);
  EXPECT_THAT(error(), HasSubstr("\"implementation\""));
  entry->SetString("implementation", "test");
  EXPECT_THAT(error(), HasSubstr("\"type\""));
  entry->SetString("type", "A");
  EXPECT_THAT(error(), HasSubstr("\"init_config\""));
  EXPECT_THAT(ListTestEntries(), ElementsAre());
}

TEST_F(Registry, RejectsAFactoryOfAnotherTypeThanTheEntryNames) {
  const auto factory = std::make_shared<EncoderFactory>(
      [](std::shared_ptr<const IParametersCollectionInstance>) { return nullptr; });
  EXPECT_THAT(ErrorTextOf([&] { RegisterFactory("one", kCoreId, factory, MakeEntry("A")); }),
              AllOf(HasSubstr("VideoDecoder.test.A"), HasSubstr("VideoEncoder factory")));
}

TEST_F(Registry, AcceptsEveryVersionWithItsMajorAndMinor) {
  RegisterFactory("one", GetVIXCoreIdInternal("0.7.0.0.0"), MakeDecoderFactory(), MakeEntry("A"));
  EXPECT_NE(Find("A"), nullptr);
}

TEST_F(Registry, RejectsIncompatibleVersions) {
  for (const char* version : {"0.8.16.249.80659", "1.7.16.249.80659", "0.6.0.0.0"}) {
    EXPECT_THAT(ErrorTextOf([&] {
                  RegisterFactory("one", GetVIXCoreIdInternal(version), MakeDecoderFactory(),
                                  MakeEntry("A"));
                }),
                AllOf(HasSubstr(version), HasSubstr("not compatible"), HasSubstr("0.7")));
  }
  EXPECT_EQ(Find("A"), nullptr);
}

TEST_F(Registry, RejectsMalformedIdentities) {
  for (const char* version :
       {"", "0.7", "0.7.16.249", "0.7.16.249.80659.1", "0.7.16.249.80659 ", "0.7.16.249.x",
        "0..16.249.1", "-0.7.16.249.1", "0.-7.16.249.1", "0.7.16.249.99999999999", "a.b.c.d.e"}) {
    EXPECT_THAT(ErrorTextOf([&] {
                  RegisterFactory("one", GetVIXCoreIdInternal(version), MakeDecoderFactory(),
                                  MakeEntry("A"));
                }),
                HasSubstr("malformed"))
        << version;
  }
  EXPECT_THAT(ErrorTextOf([] {
                RegisterFactory("one", "0.7.16.249.80659", MakeDecoderFactory(), MakeEntry("A"));
              }),
              HasSubstr("malformed"));
}

/// A factory whose destructor looks up a factory.
class LookingFactory : public IElementFactory {
 public:
  explicit LookingFactory(bool* found) : found_(found) {}
  ~LookingFactory() override { *found_ = Find("A") != nullptr; }
  LookingFactory(const LookingFactory&) = delete;
  LookingFactory& operator=(const LookingFactory&) = delete;
  ElementFactoryType GetFactoryType() const override { return ElementFactoryType::VideoDecoder; }

 private:
  bool* found_;
};

TEST_F(Registry, DestroysFactoriesOutsideItsLock) {
  bool found = true;
  RegisterFactory("one", kCoreId, std::make_shared<LookingFactory>(&found), MakeEntry("A"));
  UnregisterFactories("one");
  EXPECT_FALSE(found);
  RegisterFactory("one", kCoreId, std::make_shared<LookingFactory>(&found), MakeEntry("A"));
  RegisterFactory("one", kCoreId, MakeDecoderFactory(), MakeEntry("A"));
  EXPECT_TRUE(found) << "the replacement is registered by then";
}

TEST(Labels, NameFamiliesAndFactoryTypes) {
  EXPECT_EQ(GetLabel(VCodecFamily::Raw), "Raw");
  EXPECT_EQ(GetLabel(VCodecFamily::ProRes), "ProRes");
  EXPECT_EQ(GetLabel(static_cast<VCodecFamily>(7)), "VCodecFamily 7");
  EXPECT_EQ(GetLabel(ElementFactoryType::VideoDecoder), "VideoDecoder");
  EXPECT_EQ(GetLabel(ElementFactoryType::VideoEncoder), "VideoEncoder");
  EXPECT_EQ(GetLabel(ElementFactoryType::MemoryBlockAllocator), "MemoryBlockAllocator");
  EXPECT_EQ(GetLabel(static_cast<ElementFactoryType>(-1)), "ElementFactoryType -1");
}

TEST(Milestone, IsPartOfTheContextWhileItLives) {
  {
    const auto milestone = CreateMilestone("opening");
    EXPECT_EQ(GetCurrentContextString(), "opening");
  }
  const ContextScope scope("clip 7");
  {
    const auto outer = CreateMilestone("opening");
    const auto inner = CreateMilestone("reading");
    EXPECT_EQ(GetCurrentContextString(), "clip 7 / opening / reading");
  }
  EXPECT_EQ(GetCurrentContextString(), "clip 7");
}

}  // namespace
}  // namespace vix
