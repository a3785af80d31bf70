// SPDX-License-Identifier: BSD-2-Clause
#include <stdexcept>

#include "PluginTest.h"
#include "VideoDecoderProRes.h"
#include "VideoEncoderProRes.h"
#include "vixVideoCodecProResBuilder.h"

extern "C" void RegisterAll(const char* registrant);

namespace {

using fake::TheHost;
using vix::ElementFactoryType;

CallList DecoderRegistration(const std::string& registrant) {
  return {
      "CreateParametersCollectionPrototype()",
      "schema1.AddParameterBool(SkipField, 0, Performance parameter for decoding only one field "
      "out of two)",
      "schema1.AddParameterFourCC(OutputFourCC, {UYVY V210}, Sets the fourCC format of the output "
      "picture. If not set, value will be V210 (packed YUV4:2:2 10 bits per component) for ProRes "
      "422.)",
      "schema1.AddParameterString(Allocator, \"\", For advanced user: manage how the memory is "
      "allocated. If undefined the classical recycling model is used. If set to "
      "ExtBufferAllocator then the memory is fully managed by the user/caller.)",
      "GetRegistryEntryPrototype()",
      "CreateParametersCollectionInstance(entrySchema)",
      "entry1.SetElementFactoryType(class, 9)",
      "GetLabel(family, 2)",
      "entry1.SetString(type, Family2)",
      "entry1.SetString(implementation, vix)",
      "entry1.SetParametersCollectionPrototype(init_config, schema1)",
      "GetVIXCoreIdInternal(0.7.16.249.80659)",
      "RegisterFactory(" + registrant + ", core 0.7.16.249.80659, 9, entry1)",
  };
}

CallList EncoderRegistration(const std::string& registrant) {
  return {
      "CreateParametersCollectionPrototype()",
      "schema2.AddParameterInt(NumThreads, 0, The number of simultaneous processing threads to "
      "spawn. Set this to 0 to have the encoder determine this automatically based on the number "
      "of processors in the system.)",
      "schema2.AddParameterProResCodecVariant(ProResCodecVariant, 3, Performance parameter for "
      "the encoding quality)",
      "GetRegistryEntryPrototype()",
      "CreateParametersCollectionInstance(entrySchema)",
      "entry2.SetElementFactoryType(class, 11)",
      "GetLabel(family, 2)",
      "entry2.SetString(type, Family2)",
      "entry2.SetString(implementation, vix)",
      "entry2.SetParametersCollectionPrototype(init_config, schema2)",
      "GetVIXCoreIdInternal(0.7.16.249.80659)",
      "RegisterFactory(" + registrant + ", core 0.7.16.249.80659, 11, entry2)",
  };
}

CallList operator+(CallList first, const CallList& second) {
  first.insert(first.end(), second.begin(), second.end());
  return first;
}

using RegistrationTest = PluginTest;

TEST_F(RegistrationTest, RegistersTheDecoderThenTheEncoderCallByCall) {
  RegisterAll("the host");
  EXPECT_EQ(TheHost().TakeCalls(),
            DecoderRegistration("the host") + EncoderRegistration("the host"));
}

TEST_F(RegistrationTest, EntriesDifferOnlyInClassAndSchema) {
  RegisterAll("host");
  ASSERT_EQ(TheHost().registrations.size(), 2U);
  const auto& decoder = dynamic_cast<const fake::Instance&>(*TheHost().registrations[0].entry);
  const auto& encoder = dynamic_cast<const fake::Instance&>(*TheHost().registrations[1].entry);
  EXPECT_EQ(decoder.numbers.at("class"), 9);
  EXPECT_EQ(encoder.numbers.at("class"), 11);
  EXPECT_EQ(decoder.texts, encoder.texts);
  EXPECT_EQ(decoder.texts.at("implementation"), "vix");
  EXPECT_EQ(decoder.texts.at("type"), vix::GetLabel(vix::VCodecFamily::ProRes));
  EXPECT_NE(decoder.prototypes.at("init_config"), encoder.prototypes.at("init_config"));
}

TEST_F(RegistrationTest, FactoriesReturnTheirType) {
  RegisterAll("host");
  EXPECT_EQ(TheHost().registrations.at(0).factory->GetFactoryType(),
            ElementFactoryType::VideoDecoder);
  EXPECT_EQ(TheHost().registrations.at(1).factory->GetFactoryType(),
            ElementFactoryType::VideoEncoder);
}

TEST_F(RegistrationTest, AnyRegistrantTextIsPassedUnchanged) {
  for (const std::string registrant : {"", "two words", "\xC3\xA9\n%s\t\x01"}) {
    TheHost().registrations.clear();
    RegisterAll(registrant.c_str());
    ASSERT_EQ(TheHost().registrations.size(), 2U);
    EXPECT_EQ(TheHost().registrations[0].registrant, registrant);
    EXPECT_EQ(TheHost().registrations[1].registrant, registrant);
  }
}

TEST_F(RegistrationTest, RegisteringTwiceRegistersBothElementsTwice) {
  RegisterAll("host");
  RegisterAll("host");
  EXPECT_EQ(TheHost().registrations.size(), 4U);
}

TEST_F(RegistrationTest, EachElementCanBeRegisteredAlone) {
  vix::RegisterVideoDecoderProres("host");
  EXPECT_EQ(TheHost().TakeCalls(), DecoderRegistration("host"));
  vix::RegisterVideoEncoderProres("host");
  EXPECT_EQ(TheHost().TakeCalls(), EncoderRegistration("host"));
}

TEST_F(RegistrationTest, AFailedDecoderRegistrationSkipsTheEncoder) {
  TheHost().hooks["RegisterFactory"] = [] { throw std::domain_error("rejected"); };
  EXPECT_THROW(RegisterAll("host"), std::domain_error);
  EXPECT_EQ(TheHost().TakeCalls(), DecoderRegistration("host"));
  EXPECT_TRUE(Records().empty());
}

TEST_F(RegistrationTest, TheRegistryAloneOwnsTheFactories) {
  RegisterAll("host");
  for (const auto& registration : TheHost().registrations) {
    EXPECT_EQ(registration.factory.use_count(), 1);
    EXPECT_EQ(registration.entry.use_count(), 1);
  }
}

template <ElementFactoryType T>
auto CreateThrough(const std::shared_ptr<vix::IElementFactory>& factory,
                   std::shared_ptr<const vix::IParametersCollectionInstance> config) {
  return dynamic_cast<vix::ElementFactory<T>&>(*factory).GetCreator()(std::move(config));
}

TEST_F(RegistrationTest, CreatorsPassTheConfigurationToTheElement) {
  RegisterAll("host");
  const auto config = std::make_shared<fake::Instance>("config");
  const auto decoder = CreateThrough<ElementFactoryType::VideoDecoder>(
      TheHost().registrations.at(0).factory, config);
  const auto encoder = CreateThrough<ElementFactoryType::VideoEncoder>(
      TheHost().registrations.at(1).factory, config);
  EXPECT_NE(dynamic_cast<vix::VideoDecoderProRes*>(decoder.get()), nullptr);
  EXPECT_NE(dynamic_cast<vix::VideoEncoderProRes*>(encoder.get()), nullptr);
  EXPECT_EQ(decoder->GetManifest(), config);
  EXPECT_EQ(encoder->GetManifest(), config);
}

TEST_F(RegistrationTest, AFailingConstructionThrowsThroughTheCreator) {
  RegisterAll("host");
  TheHost().hooks["creator"] = [] { throw std::domain_error("no recycler"); };
  EXPECT_THROW(CreateThrough<ElementFactoryType::VideoDecoder>(
                   TheHost().registrations.at(0).factory, nullptr),
               std::domain_error);
  EXPECT_THROW(CreateThrough<ElementFactoryType::VideoEncoder>(
                   TheHost().registrations.at(1).factory, nullptr),
               std::domain_error);
}

}  // namespace
