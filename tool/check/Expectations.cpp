// SPDX-License-Identifier: BSD-2-Clause
#include "check/Expectations.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <optional>
#include <set>
#include <string_view>
#include <utility>

#include "base/Errors.h"
#include "base/Text.h"
#include "format/Values.h"
#include "media/sound/SideTracks.h"

extern "C" {
#include <libavcodec/avcodec.h>
}

namespace vixprores {
namespace {

struct Facts {
  const InputDescription& input;
  const std::vector<SoundTrack>& sound;
  std::int64_t frames;
};

struct NumberRange {
  double first;
  double last;
};

std::optional<double> ToNumber(std::string_view text) {
  double value = 0;
  const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  const bool isNumber = error == std::errc() && stop == text.data() + text.size() && value >= 0;
  return isNumber ? std::optional(value) : std::nullopt;
}

// Parses "A" or "A-B".
std::optional<NumberRange> ToRange(std::string_view text) {
  const std::size_t dash = text.find('-');
  const auto first = ToNumber(text.substr(0, dash));
  const auto last = dash == std::string_view::npos ? first : ToNumber(text.substr(dash + 1));
  if (!first || !last || *first > *last) return std::nullopt;
  return NumberRange{*first, *last};
}

std::string CheckRange(const std::string& text) {
  if (!ToRange(text)) throw UsageError("write a number or a range such as 58-62");
  return text;
}

std::string AnyText(const std::string& text) {
  return text;
}

// Returns a choice in lower case, or the choice that the text is a synonym of.
std::string Choose(const std::string& text, const Synonyms& synonyms,
                   const std::vector<std::string>& choices) {
  std::string choice = FindSynonym(synonyms, ToLower(text));
  if (std::ranges::find(choices, choice) != choices.end()) return choice;
  throw UsageError("choose one of " + JoinWords(choices));
}

std::string ToVariant(const std::string& text) {
  return Choose(text, VariantSynonyms(), VariantNames());
}

std::string ToColour(const std::string& text) {
  return Choose(text, ColourSynonyms(), ColourPresets());
}

std::string ToAlpha(const std::string& text) {
  return Choose(text, {}, {"none", "8", "16"});
}

std::string ToFields(const std::string& text) {
  return Choose(text, FieldSynonyms(), {"progressive", "top", "bottom"});
}

std::string ToSize(const std::string& text) {
  const PictureSize size = ParsePictureSize(text);
  return DescribeSize(size.width, size.height);
}

std::string DescribeAspect(Rational aspect) {
  return std::to_string(aspect.numerator) + ":" + std::to_string(aspect.denominator);
}

std::string ToTimecode(const std::string& text) {
  if (text == "none" || Timecode::IsNotation(text)) return text;
  throw UsageError("write HH:MM:SS:FF, or none");
}

std::string FindVariant(const Facts& facts) {
  const ProResVariant* const variant = FindProResVariant(facts.input.format.code);
  return variant ? variant->option : "unknown";
}

std::string FindAlpha(const Facts& facts) {
  const int bits = facts.input.format.alphaBits;
  return bits > 0 ? std::to_string(bits) : "none";
}

std::string FindFields(const Facts& facts) {
  return WordOf(facts.input.format.fieldOrder, {"unknown", "progressive", "top", "bottom"});
}

std::string FindAspect(const Facts& facts) {
  const Rational aspect = facts.input.format.sampleAspect;
  return aspect.numerator > 0 ? DescribeAspect(aspect) : "unknown";
}

// Returns the number without zeros at its end.
std::string FindDuration(const Facts& facts) {
  const Rational rate = facts.input.format.rate;
  if (rate.numerator <= 0) return "unknown";
  std::string text =
      Fixed(static_cast<double>(facts.frames) * rate.denominator / rate.numerator, 3);
  text.erase(text.find_last_not_of('0') + 1);
  if (text.ends_with('.')) text.pop_back();
  return text;
}

template <typename Label>
std::string DescribeOrNone(const std::optional<Label>& label) {
  return label ? Describe(*label) : "none";
}

std::string FindText(const Facts& facts, const std::string& name) {
  const auto found = facts.input.metadata.find(name);
  return found == facts.input.metadata.end() ? "none" : found->second;
}

// Returns the value that all sound tracks have, or all values.
template <typename Find>
std::string FindInSound(const Facts& facts, const Find& find) {
  std::set<std::string> values;
  for (const SoundTrack& track : facts.sound) values.insert(find(*track.parameters));
  return values.empty() ? "none" : Join({values.begin(), values.end()}, " and ");
}

struct Property {
  const char* name;
  /// Returns the value in the notation of `find`. Throws a UsageError with what to write.
  std::string (*parse)(const std::string& text);
  std::string (*find)(const Facts& facts);
  bool isNumber = false;
};

const std::array kProperties{
    Property{"variant", ToVariant, FindVariant},
    Property{"alpha", ToAlpha, FindAlpha},
    Property{"size", ToSize,
             [](const Facts& facts) {
               return DescribeSize(facts.input.format.width, facts.input.format.height);
             }},
    Property{"rate", [](const std::string& text) { return Describe(ParseRate(text)); },
             [](const Facts& facts) { return Describe(facts.input.format.rate); }},
    Property{"fields", ToFields, FindFields},
    Property{"par", [](const std::string& text) { return DescribeAspect(ParseAspect(text)); },
             FindAspect},
    Property{"color", ToColour,
             [](const Facts& facts) { return Describe(facts.input.format.colour); }},
    Property{
        "mastering-display",
        [](const std::string& text) { return Describe(ParseMasteringDisplay(text)); },
        [](const Facts& facts) { return DescribeOrNone(facts.input.format.masteringDisplay); }},
    Property{"content-light",
             [](const std::string& text) { return Describe(ParseContentLight(text)); },
             [](const Facts& facts) { return DescribeOrNone(facts.input.format.contentLight); }},
    Property{"timecode", ToTimecode,
             [](const Facts& facts) {
               return facts.input.timecode ? facts.input.timecode->ToText() : "none";
             }},
    Property{"duration", CheckRange, FindDuration, true},
    Property{"frames", CheckRange, [](const Facts& facts) { return std::to_string(facts.frames); },
             true},
    Property{"title", AnyText, [](const Facts& facts) { return FindText(facts, "title"); }},
    Property{"reel", AnyText, [](const Facts& facts) { return FindText(facts, "reel_name"); }},
    Property{"audio-tracks", CheckRange,
             [](const Facts& facts) { return std::to_string(facts.sound.size()); }, true},
    Property{"audio-channels", CheckRange,
             [](const Facts& facts) {
               return FindInSound(facts, [](const AVCodecParameters& sound) {
                 return std::to_string(sound.ch_layout.nb_channels);
               });
             },
             true},
    Property{"audio-rate", CheckRange,
             [](const Facts& facts) {
               return FindInSound(facts, [](const AVCodecParameters& sound) {
                 return std::to_string(sound.sample_rate);
               });
             },
             true},
    Property{"audio-codec", AnyText, [](const Facts& facts) {
               return FindInSound(facts, [](const AVCodecParameters& sound) {
                 return std::string(avcodec_get_name(sound.codec_id));
               });
             }}};

const Property& RequireProperty(const std::string& name) {
  const auto* const found = std::ranges::find(kProperties, name, &Property::name);
  if (found != kProperties.end()) return *found;
  throw UsageError("--expect: unknown property '" + name + "'" +
                   Suggest(name, ExpectedProperties()) + "; the properties are " +
                   JoinWords(ExpectedProperties()));
}

Expectation ParseExpectation(const std::string& item) {
  const std::size_t sign = item.find('=');
  if (sign == std::string::npos) {
    throw UsageError("--expect: '" + item + "' is not PROPERTY=VALUE");
  }
  const std::string name = item.substr(0, sign);
  const std::string value = item.substr(sign + 1);
  const Property& property = RequireProperty(name == "colour" ? "color" : name);
  try {
    return {property.name, property.parse(value)};
  } catch (const UsageError& error) {
    throw UsageError("--expect: '" + value + "' is no value of " + name + ": " + error.what());
  }
}

// Splits at commas and newlines. A comma before text without an equals sign belongs to a value.
std::vector<std::string> SplitItems(const std::string& text) {
  std::vector<std::string> items;
  for (const std::string& line : Split(text, '\n')) {
    if (line.starts_with("#")) continue;
    bool isFirst = true;
    for (const std::string& part : Split(line, ',')) {
      if (!isFirst && part.find('=') == std::string::npos) {
        items.back() += "," + part;
      } else if (!part.empty()) {
        items.push_back(part);
      }
      isFirst = isFirst && part.empty();
    }
  }
  return items;
}

bool Meets(const Property& property, const std::string& found, const std::string& expected) {
  if (!property.isNumber) return found == expected;
  const auto number = ToNumber(found);
  const auto range = ToRange(expected);
  return number && range && *number >= range->first && *number <= range->last;
}

}  // namespace

std::vector<std::string> ExpectedProperties() {
  std::vector<std::string> names;
  names.reserve(std::size(kProperties));
  for (const Property& property : kProperties) names.emplace_back(property.name);
  return names;
}

std::vector<Expectation> ParseExpectations(const std::string& text) {
  std::vector<Expectation> expectations;
  for (const std::string& item : SplitItems(text)) expectations.push_back(ParseExpectation(item));
  if (expectations.empty()) throw UsageError("--expect: '" + text + "' is not PROPERTY=VALUE");
  return expectations;
}

std::vector<Shortfall> FindShortfalls(const std::vector<Expectation>& expectations,
                                      FrameReader& reader, std::int64_t frames) {
  static const std::vector<SoundTrack> kSilence;
  const SideTracks* const side = reader.GetSideTracks();
  const Facts facts{reader.GetDescription(), side ? side->GetSound() : kSilence, frames};
  std::vector<Shortfall> shortfalls;
  for (const auto& [name, expected] : expectations) {
    const Property& property = RequireProperty(name);
    const std::string found = property.find(facts);
    if (!Meets(property, found, expected)) shortfalls.push_back({name, found, expected});
  }
  return shortfalls;
}

}  // namespace vixprores
