// SPDX-License-Identifier: BSD-2-Clause
// What the elements state about themselves: templates, properties, documentation.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>

#include "Harness.h"

namespace vix::test {
namespace {

using FactoryPointer = std::shared_ptr<GstElementFactory>;

FactoryPointer FindFactory(const char* name) {
  GstElementFactory* const factory = gst_element_factory_find(name);
  if (!factory) throw std::runtime_error(std::string("no element ") + name);
  return {factory, gst_object_unref};
}

CapsPointer TemplateCaps(const char* element, GstPadDirection direction) {
  const GList* list = gst_element_factory_get_static_pad_templates(FindFactory(element).get());
  for (; list; list = list->next) {
    auto* const pad = static_cast<GstStaticPadTemplate*>(list->data);
    if (pad->direction == direction) return Own(gst_static_pad_template_get_caps(pad));
  }
  throw std::runtime_error("no template");
}

bool Accepts(const char* element, GstPadDirection direction, const std::string& caps) {
  return gst_caps_is_subset(CapsOf(caps).get(), TemplateCaps(element, direction).get());
}

/// The properties of an element itself, without those of its base classes, by name.
std::map<std::string, GParamSpec*> OwnProperties(GstElement* element) {
  guint count = 0;
  GParamSpec** const list = g_object_class_list_properties(G_OBJECT_GET_CLASS(element), &count);
  std::map<std::string, GParamSpec*> own;
  for (GParamSpec* const spec : std::vector(list, list + count)) {
    if (spec->owner_type == G_OBJECT_TYPE(element)) own[spec->name] = spec;
  }
  g_free(list);
  return own;
}

std::vector<std::string> NicksOf(GParamSpec* spec) {
  std::vector<std::string> nicks;
  const GEnumClass* const values = G_PARAM_SPEC_ENUM(spec)->enum_class;
  for (guint i = 0; i < values->n_values; ++i) nicks.emplace_back(values->values[i].value_nick);
  return nicks;
}

std::string DefaultOf(GParamSpec* spec) {
  const GEnumValue* const value =
      g_enum_get_value(G_PARAM_SPEC_ENUM(spec)->enum_class, G_PARAM_SPEC_ENUM(spec)->default_value);
  return value ? value->value_nick : "";
}

TEST(Description, FactoriesStateKindAuthorAndPurpose) {
  for (const auto& [name, kind] :
       {std::pair(kEncoder, "Codec/Encoder/Video"), std::pair(kDecoder, "Codec/Decoder/Video")}) {
    SCOPED_TRACE(name);
    const FactoryPointer factory = FindFactory(name);
    const auto text = [&](const char* key) {
      const gchar* const value = gst_element_factory_get_metadata(factory.get(), key);
      return std::string(value ? value : "");
    };
    EXPECT_EQ(text(GST_ELEMENT_METADATA_KLASS), kind);
    for (const char* const key : {GST_ELEMENT_METADATA_LONGNAME, GST_ELEMENT_METADATA_DESCRIPTION,
                                  GST_ELEMENT_METADATA_AUTHOR}) {
      EXPECT_FALSE(text(key).empty()) << key;
    }
  }
}

TEST(Description, DecoderRanksAboveThePrimaryOnes) {
  EXPECT_GT(gst_plugin_feature_get_rank(GST_PLUGIN_FEATURE(FindFactory(kDecoder).get())),
            static_cast<guint>(GST_RANK_PRIMARY));
}

TEST(Description, BothElementsTakeTheSixVariantsAndNoOther) {
  for (const char* const variant : {"proxy", "lt", "standard", "hq", "4444", "4444xq"}) {
    EXPECT_TRUE(Accepts(kDecoder, GST_PAD_SINK, ProResCaps(kSmall, variant))) << variant;
    EXPECT_TRUE(Accepts(kEncoder, GST_PAD_SRC, ProResCaps(kSmall, variant))) << variant;
  }
  for (const char* const variant : {"422", "xq", "raw"}) {
    EXPECT_FALSE(Accepts(kDecoder, GST_PAD_SINK, ProResCaps(kSmall, variant))) << variant;
    EXPECT_FALSE(Accepts(kEncoder, GST_PAD_SRC, ProResCaps(kSmall, variant))) << variant;
  }
}

TEST(Description, BothElementsTakeTheFourPackedFormatsAndNoOther) {
  const auto caps = [](const std::string& format) {
    return "video/x-raw,format=" + format +
           ",width=64,height=32,framerate=25/1,interlace-mode=progressive";
  };
  for (const char* const format : {"UYVY", "v210", "AYUV64", "ARGB64_BE"}) {
    EXPECT_TRUE(Accepts(kEncoder, GST_PAD_SINK, caps(format))) << format;
    EXPECT_TRUE(Accepts(kDecoder, GST_PAD_SRC, caps(format))) << format;
  }
  for (const char* const format :
       {"YUY2", "I420", "I422_10LE", "Y444_10LE", "BGRA", "AYUV", "ARGB64_LE"}) {
    EXPECT_FALSE(Accepts(kEncoder, GST_PAD_SINK, caps(format))) << format;
    EXPECT_FALSE(Accepts(kDecoder, GST_PAD_SRC, caps(format))) << format;
  }
}

TEST(Description, EveryPropertyHasADescription) {
  for (const auto& [name, count] : {std::pair(kEncoder, 3U), std::pair(kDecoder, 2U)}) {
    const Harness harness(name);
    const auto properties = OwnProperties(harness.Element());
    EXPECT_EQ(properties.size(), count) << name;
    for (const auto& [property, spec] : properties) {
      EXPECT_GT(std::string(g_param_spec_get_blurb(spec)).size(), 10U) << name << " " << property;
    }
  }
}

TEST(Description, EnumerationsHaveTheDocumentedValuesAndDefaults) {
  const Harness encoder(kEncoder);
  GParamSpec* const variant = OwnProperties(encoder.Element()).at("variant");
  EXPECT_EQ(NicksOf(variant),
            (std::vector<std::string>{"auto", "proxy", "lt", "standard", "hq", "4444", "4444xq"}));
  EXPECT_EQ(DefaultOf(variant), "auto");
  GParamSpec* const alphaBits = OwnProperties(encoder.Element()).at("alpha-bits");
  EXPECT_EQ(NicksOf(alphaBits), (std::vector<std::string>{"auto", "0", "8", "16"}));
  EXPECT_EQ(DefaultOf(alphaBits), "auto");
  const Harness decoder(kDecoder);
  GParamSpec* const policy = OwnProperties(decoder.Element()).at("error-policy");
  EXPECT_EQ(NicksOf(policy), (std::vector<std::string>{"conceal", "skip", "stop"}));
  EXPECT_EQ(DefaultOf(policy), "conceal");
}

TEST(Description, ThreadsAreAsManyAsProcessorsUnlessSet) {
  for (const char* const name : {kEncoder, kDecoder}) {
    const Harness harness(name, "threads=3");
    guint threads = 0;
    g_object_get(harness.Element(), "threads", &threads, nullptr);
    EXPECT_EQ(threads, 3U) << name;
    const auto* const range = G_PARAM_SPEC_UINT(OwnProperties(harness.Element()).at("threads"));
    EXPECT_EQ(range->default_value, 0U) << name;
    EXPECT_EQ(range->minimum, 0U) << name;
    EXPECT_GE(range->maximum, 64U) << name;
  }
}

}  // namespace
}  // namespace vix::test
