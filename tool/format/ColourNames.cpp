// SPDX-License-Identifier: BSD-2-Clause
#include "format/ColourNames.h"

#include <algorithm>
#include <span>

namespace vixprores {
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
