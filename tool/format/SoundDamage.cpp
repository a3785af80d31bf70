// SPDX-License-Identifier: BSD-2-Clause
#include "format/SoundDamage.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>

#include "base/Text.h"

namespace vixprores {
namespace {

// "00:00:01.480"
std::string ToClockText(double seconds) {
  const long long thousandths = std::llround(std::max(seconds, 0.0) * 1000);
  std::array<char, 48> text{};
  std::snprintf(text.data(), text.size(), "%02lld:%02lld:%02lld.%03lld", thousandths / 3'600'000,
                thousandths / 60'000 % 60, thousandths / 1000 % 60, thousandths % 1000);
  return text.data();
}

}  // namespace

std::string Describe(const SoundDamage& damage) {
  const std::string track = "sound track " + std::to_string(damage.track + 1);
  const std::string length = std::to_string(std::llround(damage.seconds * 1000)) + " ms";
  const std::string time = " at " + ToClockText(damage.begin);
  return damage.kind == SoundDamage::Kind::Missing
             ? track + " lacks " + length + time
             : track + " has " + length + time + " that are not what was written";
}

const char* ToWord(SoundDamage::Treatment treatment) {
  switch (treatment) {
    case SoundDamage::Treatment::Kept:
      return "kept as they are";
    case SoundDamage::Treatment::Silenced:
      return "filled with silence";
    default:
      return "with nothing in their place";
  }
}

std::int64_t CountSoundDamage(const std::vector<SoundDamage>& damage, SoundDamage::Kind kind) {
  return std::ranges::count(damage, kind, &SoundDamage::kind);
}

std::string SumUp(const std::vector<SoundDamage>& damage) {
  const std::int64_t altered = CountSoundDamage(damage, SoundDamage::Kind::Altered);
  const std::int64_t gaps = CountSoundDamage(damage, SoundDamage::Kind::Missing);
  std::string text;
  if (altered > 0) text = Count(altered, "damaged packet") + " of sound";
  if (gaps > 0) text += (text.empty() ? "" : ", ") + Count(gaps, "gap") + " in the sound";
  return text;
}

}  // namespace vixprores
