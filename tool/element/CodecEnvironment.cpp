// SPDX-License-Identifier: BSD-2-Clause
#include "element/CodecEnvironment.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>

#include "cpu/CpuLevel.h"
#include "run/Errors.h"

namespace vixprores {
namespace {

using prores::CpuLevel;

constexpr const char* kAutomatic = "auto";
constexpr const char* kThreadsVariable = "VIX_PRORES_THREADS";

std::string NamesUpTo(CpuLevel highest) {
  std::string names = kAutomatic;
  for (const CpuLevel level : prores::kCpuLevels) {
    if (level <= highest) names += std::string(", ") + NameOf(level);
  }
  return names;
}

}  // namespace

void SetCpuLevel(const std::string& level) {
  const auto parsed = prores::ParseCpuLevel(level);
  if (!parsed) {
    unsetenv(prores::kCpuLevelVariable);
    return;
  }
  const CpuLevel highest = prores::DetectCpuLevel();
  if (*parsed > highest) {
    throw Failure("--cpu " + level + ": this processor has no such instructions; it has " +
                  NamesUpTo(highest));
  }
  setenv(prores::kCpuLevelVariable, NameOf(*parsed), 1);
}

std::string CpuLevelNames() {
  return NamesUpTo(prores::kCpuLevels.back());
}

std::optional<std::string> ParseCpuLevelName(std::string text) {
  std::ranges::transform(text, text.begin(),
                         [](unsigned char letter) { return std::tolower(letter); });
  if (text != kAutomatic && !prores::ParseCpuLevel(text)) return std::nullopt;
  return text;
}

std::string CpuLevelInUse() {
  const char* const wanted = std::getenv(prores::kCpuLevelVariable);
  const CpuLevel highest = prores::DetectCpuLevel();
  return NameOf(std::min(highest, prores::ParseCpuLevel(wanted ? wanted : "").value_or(highest)));
}

void SetAutomaticThreads(int threads) {
  setenv(kThreadsVariable, std::to_string(threads).c_str(), 0);
}

}  // namespace vixprores
