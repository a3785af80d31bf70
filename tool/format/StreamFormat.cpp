// SPDX-License-Identifier: BSD-2-Clause
#include "format/StreamFormat.h"

#include <algorithm>
#include <iterator>
#include <numeric>
#include <span>

#include "base/Text.h"
#include "vix/RawVideoUtils.h"

namespace vixprores {
namespace {

using vix::MakeFourCC;
using Variant = vix::ProResCodecVariant;

// The host contract knows no variants of 4444.
constexpr ProResVariant kVariants[] = {
    {"proxy", "ProRes 422 Proxy", MakeFourCC("apco"), Variant::Proxy, 0, false},
    {"lt", "ProRes 422 LT", MakeFourCC("apcs"), Variant::LT, 1, false},
    {"422", "ProRes 422", MakeFourCC("apcn"), Variant::Standard, 2, false},
    {"hq", "ProRes 422 HQ", MakeFourCC("apch"), Variant::HQ, 3, false},
    {"4444", "ProRes 4444", MakeFourCC("ap4h"), Variant::HQ, 4, true},
    {"4444xq", "ProRes 4444 XQ", MakeFourCC("ap4x"), Variant::HQ, 5, true},
};

const ProResVariant* OrNull(const ProResVariant* found) {
  return found == std::end(kVariants) ? nullptr : found;
}

}  // namespace

Rational Reduce(Rational value) {
  const std::int32_t common = std::gcd(value.numerator, value.denominator);
  return {value.numerator / common, value.denominator / common};
}

std::uint32_t StreamFormat::FrameBytes() const {
  return vix::RawVideoUtils::GetFrameBytes(code, vix::VideoChroma::C422, width, height);
}

void ClearRowPadding(const StreamFormat& format, std::uint8_t* frame) {
  vix::RawVideoUtils::ClearRowPadding(format.code, format.width, format.height,
                                      format.FrameBytes() / format.height, frame);
}

const ProResVariant* FindProResVariant(vix::FourCC code) {
  return OrNull(std::ranges::find(kVariants, code, &ProResVariant::code));
}

const ProResVariant* FindProResProfile(int profile) {
  return OrNull(std::ranges::find(kVariants, profile, &ProResVariant::profile));
}

const ProResVariant* FindProResVariant(const std::string& option) {
  return OrNull(std::ranges::find_if(
      kVariants, [&option](const ProResVariant& variant) { return variant.option == option; }));
}

bool IsOf4444(vix::FourCC code) {
  if (const RawFormat* const raw = FindRawFormat(code)) return raw->is4444;
  const ProResVariant* const variant = FindProResVariant(code);
  return variant && variant->is4444;
}

std::string FindSynonym(const Synonyms& synonyms, const std::string& word) {
  const auto found = std::ranges::find(synonyms, word, &Synonyms::value_type::first);
  return found == synonyms.end() ? word : found->second;
}

std::vector<std::string> VariantNames() {
  std::vector<std::string> names;
  for (const ProResVariant& variant : kVariants) names.emplace_back(variant.option);
  return names;
}

const Synonyms& VariantSynonyms() {
  static const Synonyms kSynonyms{{"apco", "proxy"},      {"apcs", "lt"},        {"apcn", "422"},
                                  {"apch", "hq"},         {"ap4h", "4444"},      {"ap4x", "4444xq"},
                                  {"422proxy", "proxy"},  {"422lt", "lt"},       {"422hq", "hq"},
                                  {"422-proxy", "proxy"}, {"422-lt", "lt"},      {"422-hq", "hq"},
                                  {"standard", "422"},    {"4444-xq", "4444xq"}, {"xq", "4444xq"}};
  return kSynonyms;
}

const Synonyms& FieldSynonyms() {
  static const Synonyms kSynonyms{{"tff", "top"}, {"bff", "bottom"}};
  return kSynonyms;
}

std::string DescribeCode(vix::FourCC code) {
  if (const ProResVariant* variant = FindProResVariant(code)) return variant->name;
  if (code == 0) return "ProRes";
  std::string text;
  for (unsigned shift = 0; shift < 32; shift += 8) {
    const char character = static_cast<char>(code >> shift & 0xFF);
    text += character >= ' ' && character <= '~' ? character : '?';
  }
  return text;
}

std::string Describe(FieldOrder order) {
  return WordOf(order,
                {"unknown field order", "progressive", "top field first", "bottom field first"});
}

std::string DescribeSize(std::uint32_t width, std::uint32_t height) {
  return std::to_string(width) + "x" + std::to_string(height);
}

std::string Describe(Rational value) {
  const std::string numerator = std::to_string(value.numerator);
  return value.denominator == 1 ? numerator : numerator + "/" + std::to_string(value.denominator);
}

std::string AlphaName(int bits) {
  return bits > 0 ? std::to_string(bits) + " bits" : "none";
}

namespace {

struct Name {
  const char* name;
  int code;
};

constexpr Name kPrimaries[] = {{"bt709", 1},     {"unspecified", 2}, {"bt470m", 4},
                               {"bt601-625", 5}, {"bt601-525", 6},   {"smpte240m", 7},
                               {"film", 8},      {"bt2020", 9},      {"xyz", 10},
                               {"p3-dci", 11},   {"p3-d65", 12}};
constexpr Name kTransfers[] = {
    {"bt709", 1},      {"unspecified", 2}, {"gamma22", 4},   {"gamma28", 5}, {"bt601", 6},
    {"smpte240m", 7},  {"linear", 8},      {"xvycc", 11},    {"srgb", 13},   {"bt2020-10", 14},
    {"bt2020-12", 15}, {"pq", 16},         {"smpte428", 17}, {"hlg", 18}};
constexpr Name kMatrices[] = {{"rgb", 0},       {"bt709", 1},     {"unspecified", 2}, {"fcc", 4},
                              {"bt601-625", 5}, {"bt601", 6},     {"smpte240m", 7},   {"ycgco", 8},
                              {"bt2020", 9},    {"bt2020-cl", 10}};

struct Preset {
  const char* name;
  Colour colour;
};

// BT.601, BT.709 and BT.2020 have the same transfer curve; frame headers have a code for that of
// BT.709 only (RDD 36, frame header semantics).
constexpr Preset kPresets[] = {{"bt709", {1, 1, 1}},      {"bt601-525", {6, 1, 6}},
                               {"bt601-625", {5, 1, 6}},  {"bt2020", {9, 1, 9}},
                               {"bt2020-pq", {9, 16, 9}}, {"bt2020-hlg", {9, 18, 9}},
                               {"unspecified", {2, 2, 2}}};

std::span<const Name> NamesOf(ColourProperty property) {
  switch (property) {
    case ColourProperty::Primaries:
      return kPrimaries;
    case ColourProperty::Transfer:
      return kTransfers;
    default:
      return kMatrices;
  }
}

std::string NameOf(ColourProperty property, int code) {
  const auto names = NamesOf(property);
  const auto found = std::ranges::find(names, code, &Name::code);
  return found == names.end() ? std::to_string(code) : found->name;
}

}  // namespace

std::vector<std::string> ColourPresets() {
  std::vector<std::string> names;
  for (const Preset& preset : kPresets) names.emplace_back(preset.name);
  return names;
}

const Synonyms& ColourSynonyms() {
  static const Synonyms kSynonyms{{"rec709", "bt709"},         {"rec601-525", "bt601-525"},
                                  {"rec601-625", "bt601-625"}, {"rec2020", "bt2020"},
                                  {"rec2020-pq", "bt2020-pq"}, {"rec2020-hlg", "bt2020-hlg"},
                                  {"rec2100-pq", "bt2020-pq"}, {"rec2100-hlg", "bt2020-hlg"}};
  return kSynonyms;
}

Colour FindColourPreset(const std::string& name) {
  return std::ranges::find_if(kPresets,
                              [&name](const Preset& preset) { return name == preset.name; })
      ->colour;
}

std::vector<std::string> ColourCodeNames(ColourProperty property) {
  std::vector<std::string> names;
  for (const Name& name : NamesOf(property)) names.emplace_back(name.name);
  return names;
}

int FindColourCode(ColourProperty property, const std::string& name) {
  const auto names = NamesOf(property);
  return std::ranges::find_if(names, [&name](const Name& entry) { return name == entry.name; })
      ->code;
}

int UsualMatrix(std::uint32_t height) {
  constexpr std::uint32_t kFirstHdHeight = 720;
  return FindColourCode(ColourProperty::Matrix, height >= kFirstHdHeight ? "bt709" : "bt601");
}

const vix::RgbMatrix& RgbMatrixFor(int stated, std::uint32_t height) {
  constexpr int kRgb = 0;
  const bool isStated = stated != kRgb && stated != kUnspecifiedColour;
  return vix::ChooseRgbMatrix(isStated ? stated : UsualMatrix(height));
}

std::string DescribeColourCode(ColourProperty property, int code) {
  const std::string number = std::to_string(code);
  std::string name = NameOf(property, code);
  if (name == "unspecified" || name == number) return name;
  return number + " (" + name + ")";
}

std::string Describe(const Colour& colour) {
  for (const Preset& preset : kPresets) {
    Colour known = preset.colour;
    known.range = colour.range;
    if (known == colour) return preset.name;
  }
  return NameOf(ColourProperty::Primaries, colour.primaries) + "/" +
         NameOf(ColourProperty::Transfer, colour.transfer) + "/" +
         NameOf(ColourProperty::Matrix, colour.matrix);
}

}  // namespace vixprores
