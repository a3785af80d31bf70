// SPDX-License-Identifier: BSD-2-Clause
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "ErrorText.h"
#include "vix/Parameters.h"
#include "vix/Registry.h"

namespace vix {
namespace {

using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

std::shared_ptr<IParametersCollectionPrototype> MakeSchema() {
  const auto schema = CreateParametersCollectionPrototype();
  schema->AddParameterBool("Skip", true, "skips");
  schema->AddParameterInt("Threads", 3, "threads");
  schema->AddParameterString("Name", "none", "a name");
  schema->AddParameterFourCC("Format", {kFourCC_UYVY, kFourCC_V210}, "a format");
  schema->AddParameterProResCodecVariant("Variant", ProResCodecVariant::Standard, "a variant");
  schema->AddParameterFourCC("AnyFormat", {}, "any format");
  return schema;
}

TEST(Parameters, ReportDeclaredDefaultsUntilSet) {
  const auto values = CreateParametersCollectionInstance(MakeSchema());
  EXPECT_TRUE(values->GetBool("Skip"));
  EXPECT_EQ(values->GetInt("Threads"), 3);
  EXPECT_EQ(values->GetString("Name"), "none");
  EXPECT_EQ(values->GetProResCodecVariant("Variant"), ProResCodecVariant::Standard);
}

TEST(Parameters, ReportTheValuesThatWereSet) {
  const auto values = CreateParametersCollectionInstance(MakeSchema());
  values->SetBool("Skip", false);
  values->SetInt("Threads", -7);
  values->SetString("Name", "");
  values->SetFourCC("Format", kFourCC_V210);
  values->SetFourCC("AnyFormat", 0);
  values->SetProResCodecVariant("Variant", ProResCodecVariant::HQ);
  EXPECT_FALSE(values->GetBool("Skip"));
  EXPECT_EQ(values->GetInt("Threads"), -7);
  EXPECT_EQ(values->GetString("Name"), "");
  EXPECT_EQ(values->GetFourCC("Format"), kFourCC_V210);
  EXPECT_EQ(values->GetFourCC("AnyFormat"), 0u);
  EXPECT_EQ(values->GetProResCodecVariant("Variant"), ProResCodecVariant::HQ);
}

TEST(Parameters, HaveAValueOnlyIfItWasSet) {
  const auto values = CreateParametersCollectionInstance(MakeSchema());
  EXPECT_FALSE(values->HasString("Name"));
  EXPECT_FALSE(values->HasFourCC("Format"));
  values->SetString("Name", "none");
  values->SetFourCC("Format", kFourCC_UYVY);
  EXPECT_TRUE(values->HasString("Name"));
  EXPECT_TRUE(values->HasFourCC("Format"));
}

TEST(Parameters, InstancesDoNotShareValues) {
  const auto schema = MakeSchema();
  const auto first = CreateParametersCollectionInstance(schema);
  const auto second = CreateParametersCollectionInstance(schema);
  first->SetString("Name", "first");
  EXPECT_FALSE(second->HasString("Name"));
  EXPECT_EQ(second->GetString("Name"), "none");
}

TEST(Parameters, RejectReadingAnUnsetValueWithoutDefault) {
  const auto values = CreateParametersCollectionInstance(MakeSchema());
  EXPECT_THAT(ErrorTextOf([&] { values->GetFourCC("Format"); }),
              AllOf(HasSubstr("\"Format\""), HasSubstr("no default")));
}

TEST(Parameters, RejectUnknownNamesAndListKnownNames) {
  const auto values = CreateParametersCollectionInstance(MakeSchema());
  const auto namesAll =
      AllOf(HasSubstr("\"thread\""), HasSubstr("\"Skip\", \"Threads\", \"Name\", \"Format\""));
  EXPECT_THAT(ErrorTextOf([&] { values->GetInt("thread"); }), namesAll);
  EXPECT_THAT(ErrorTextOf([&] { values->SetInt("thread", 1); }), namesAll);
  EXPECT_THAT(ErrorTextOf([&] { values->HasString("thread"); }), namesAll);
  const auto none = CreateParametersCollectionInstance(CreateParametersCollectionPrototype());
  EXPECT_THAT(ErrorTextOf([&] { none->GetInt("thread"); }), HasSubstr("known: none"));
}

TEST(Parameters, RejectReadingAValueAsAnotherType) {
  const auto values = CreateParametersCollectionInstance(MakeSchema());
  const auto error = ErrorTextOf([&] { values->GetString("Threads"); });
  EXPECT_THAT(error, AllOf(HasSubstr("\"Threads\""), HasSubstr("int"), HasSubstr("string")));
  EXPECT_THAT(ErrorTextOf([&] { values->HasFourCC("Name"); }), HasSubstr("FourCC"));
  EXPECT_THAT(ErrorTextOf([&] { values->GetElementFactoryType("Name"); }),
              HasSubstr("ElementFactoryType"));
}

TEST(Parameters, RejectValuesOfAnotherTypeAndNameThem) {
  const auto values = CreateParametersCollectionInstance(MakeSchema());
  const auto setTo = [](const std::string& shown) {
    return AllOf(HasSubstr("\"Threads\""), HasSubstr("set to " + shown + ", of type"),
                 HasSubstr("its type is int"));
  };
  EXPECT_THAT(ErrorTextOf([&] { values->SetBool("Threads", true); }), setTo("true"));
  EXPECT_THAT(ErrorTextOf([&] { values->SetBool("Threads", false); }), setTo("false"));
  EXPECT_THAT(ErrorTextOf([&] { values->SetString("Threads", "4"); }), setTo("\"4\""));
  EXPECT_THAT(ErrorTextOf([&] { values->SetFourCC("Threads", kFourCC_UYVY); }),
              setTo("\"UYVY\" (0x59565955)"));
  EXPECT_THAT(
      ErrorTextOf([&] { values->SetProResCodecVariant("Threads", ProResCodecVariant::LT); }),
      setTo("2"));
  EXPECT_THAT(ErrorTextOf([&] {
                values->SetElementFactoryType("Threads", ElementFactoryType::VideoEncoder);
              }),
              setTo("11"));
  EXPECT_THAT(
      ErrorTextOf([&] { values->SetParametersCollectionPrototype("Threads", MakeSchema()); }),
      setTo("a schema"));
  EXPECT_THAT(ErrorTextOf([&] { values->SetInt("Name", 12); }), HasSubstr("12"));
  EXPECT_EQ(values->GetInt("Threads"), 3);
}

TEST(Parameters, RejectOtherValuesAndListAllowedValues) {
  const auto values = CreateParametersCollectionInstance(MakeSchema());
  values->SetFourCC("Format", kFourCC_UYVY);
  EXPECT_THAT(ErrorTextOf([&] { values->SetFourCC("Format", MakeFourCC("YUY2")); }),
              AllOf(HasSubstr("\"Format\""), HasSubstr("\"YUY2\" (0x32595559)"),
                    HasSubstr("allowed: \"UYVY\" (0x59565955), \"V210\" (0x30313256)")));
  EXPECT_EQ(values->GetFourCC("Format"), kFourCC_UYVY);
}

TEST(Parameters, ShowUnprintableFourCCsAsDots) {
  const auto values = CreateParametersCollectionInstance(MakeSchema());
  EXPECT_THAT(ErrorTextOf([&] { values->SetFourCC("Format", 0x7F410A00); }),
              HasSubstr("\"..A.\" (0x7F410A00)"));
}

TEST(Parameters, AcceptAnyVariantBecauseElementsCheckIt) {
  const auto values = CreateParametersCollectionInstance(MakeSchema());
  const auto unknown = static_cast<ProResCodecVariant>(77);
  values->SetProResCodecVariant("Variant", unknown);
  EXPECT_EQ(values->GetProResCodecVariant("Variant"), unknown);
}

TEST(Parameters, HoldFactoryTypesAndSchemas) {
  const auto values = CreateParametersCollectionInstance(GetRegistryEntryPrototype());
  const auto schema = MakeSchema();
  values->SetElementFactoryType("class", ElementFactoryType::VideoEncoder);
  values->SetParametersCollectionPrototype("init_config", schema);
  EXPECT_EQ(values->GetElementFactoryType("class"), ElementFactoryType::VideoEncoder);
  EXPECT_EQ(values->GetParametersCollectionPrototype("init_config"), schema);
  EXPECT_EQ(values->GetPrototype(), GetRegistryEntryPrototype());
  EXPECT_THAT(
      ErrorTextOf([&] { values->SetParametersCollectionPrototype("init_config", nullptr); }),
      AllOf(HasSubstr("\"init_config\""), HasSubstr("null")));
}

TEST(Parameters, RejectANameThatIsAlreadyDeclared) {
  const auto schema = MakeSchema();
  EXPECT_THAT(ErrorTextOf([&] { schema->AddParameterInt("Skip", 0, ""); }),
              AllOf(HasSubstr("\"Skip\""), HasSubstr("already declared as bool")));
  EXPECT_EQ(schema->GetDescriptions().size(), 6u);
}

TEST(Parameters, DescribeThemselvesInTheOrderOfDeclaration) {
  const auto descriptions = MakeSchema()->GetDescriptions();
  ASSERT_EQ(descriptions.size(), 6u);
  EXPECT_EQ(descriptions[0].name, "Skip");
  EXPECT_EQ(descriptions[0].type, "bool");
  EXPECT_EQ(descriptions[0].defaultValue, "true");
  EXPECT_EQ(descriptions[0].description, "skips");
  EXPECT_THAT(descriptions[0].allowedValues, IsEmpty());
  EXPECT_EQ(descriptions[1].type, "int");
  EXPECT_EQ(descriptions[1].defaultValue, "3");
  EXPECT_EQ(descriptions[2].type, "string");
  EXPECT_EQ(descriptions[2].defaultValue, "none");
  EXPECT_EQ(descriptions[3].type, "FourCC");
  EXPECT_EQ(descriptions[3].defaultValue, std::nullopt);
  EXPECT_THAT(descriptions[3].allowedValues, ElementsAre("UYVY", "V210"));
  EXPECT_EQ(descriptions[4].type, "ProResCodecVariant");
  EXPECT_EQ(descriptions[4].defaultValue, "3");
  EXPECT_THAT(descriptions[5].allowedValues, IsEmpty());
}

TEST(Parameters, DescribeTheRegistryEntry) {
  std::vector<std::string> keys;
  for (const auto& parameter : GetRegistryEntryPrototype()->GetDescriptions()) {
    keys.push_back(parameter.name + ' ' + parameter.type);
  }
  EXPECT_THAT(keys, ElementsAre("class ElementFactoryType", "type string", "implementation string",
                                "init_config schema"));
}

TEST(Parameters, LaterDeclarationsDoNotChangeInstances) {
  const auto schema = CreateParametersCollectionPrototype();
  const auto earlier = CreateParametersCollectionInstance(schema);
  schema->AddParameterInt("Late", 5, "");
  EXPECT_THAT(ErrorTextOf([&] { earlier->GetInt("Late"); }), HasSubstr("\"Late\""));
  EXPECT_EQ(CreateParametersCollectionInstance(schema)->GetInt("Late"), 5);
}

/// A schema of another program with the pure virtual operations only.
class ForeignSchema : public IParametersCollectionPrototype {
 public:
  void AddParameterBool(const std::string&, bool, const std::string&) override {}
  void AddParameterInt(const std::string&, int, const std::string&) override {}
  void AddParameterString(const std::string&, const std::string&, const std::string&) override {}
  void AddParameterFourCC(const std::string&, const std::vector<FourCC>&,
                          const std::string&) override {}
  void AddParameterProResCodecVariant(const std::string&, ProResCodecVariant,
                                      const std::string&) override {}
};

/// Values of another program with the pure virtual operations only.
class ForeignValues : public IParametersCollectionInstance {
 public:
  bool GetBool(const std::string&) const override { return false; }
  std::int32_t GetInt(const std::string&) const override { return 0; }
  std::string GetString(const std::string&) const override { return {}; }
  void SetString(const std::string&, const std::string&) override {}
  bool HasString(const std::string&) const override { return false; }
  FourCC GetFourCC(const std::string&) const override { return 0; }
  bool HasFourCC(const std::string&) const override { return false; }
  ProResCodecVariant GetProResCodecVariant(const std::string&) const override { return {}; }
  void SetParametersCollectionPrototype(
      const std::string&, std::shared_ptr<const IParametersCollectionPrototype>) override {}
  void SetElementFactoryType(const std::string&, ElementFactoryType) override {}
};

TEST(Parameters, RejectANullSchemaAndOneOfAnotherCore) {
  EXPECT_THAT(ErrorTextOf([] { CreateParametersCollectionInstance(nullptr); }), HasSubstr("null"));
  EXPECT_THAT(
      ErrorTextOf([] { CreateParametersCollectionInstance(std::make_shared<ForeignSchema>()); }),
      HasSubstr("another core"));
}

TEST(Parameters, OtherImplementationsThrowFromMissingOperations) {
  EXPECT_THAT(ErrorTextOf([] { ForeignSchema().GetDescriptions(); }), HasSubstr("GetDescriptions"));
  ForeignValues values;
  EXPECT_THAT(ErrorTextOf([&] { values.SetBool("a", true); }), HasSubstr("SetBool"));
  EXPECT_THAT(ErrorTextOf([&] { values.SetInt("a", 1); }), HasSubstr("SetInt"));
  EXPECT_THAT(ErrorTextOf([&] { values.SetFourCC("a", 1); }), HasSubstr("SetFourCC"));
  EXPECT_THAT(ErrorTextOf([&] { values.SetProResCodecVariant("a", ProResCodecVariant::LT); }),
              HasSubstr("SetProResCodecVariant"));
  EXPECT_THAT(ErrorTextOf([&] { values.GetParametersCollectionPrototype("a"); }),
              HasSubstr("GetParametersCollectionPrototype"));
  EXPECT_THAT(ErrorTextOf([&] { values.GetElementFactoryType("a"); }),
              HasSubstr("GetElementFactoryType"));
  EXPECT_THAT(ErrorTextOf([&] { values.GetPrototype(); }), HasSubstr("GetPrototype"));
}

}  // namespace
}  // namespace vix
