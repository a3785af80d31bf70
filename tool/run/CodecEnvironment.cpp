// SPDX-License-Identifier: BSD-2-Clause
#include "run/CodecEnvironment.h"

#include <algorithm>
#include <cstdlib>

#include "base/Errors.h"
#include "base/Text.h"
#include "cpu/CpuLevel.h"

namespace vixprores {
namespace {

using prores::CpuLevel;

constexpr const char* kAutomatic = "auto";
constexpr const char* kThreadsVariable = "VIX_PRORES_THREADS";

std::vector<std::string> LevelsUpTo(CpuLevel highest) {
  std::vector<std::string> names{kAutomatic};
  for (const CpuLevel level : prores::kCpuLevels) {
    if (level <= highest) names.emplace_back(NameOf(level));
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
                  JoinWords(LevelsUpTo(highest)));
  }
  setenv(prores::kCpuLevelVariable, NameOf(*parsed), 1);
}

std::vector<std::string> CpuLevels() {
  return LevelsUpTo(prores::kCpuLevels.back());
}

std::vector<std::string> AvailableCpuLevels() {
  const auto levels = LevelsUpTo(prores::DetectCpuLevel());
  return {levels.begin() + 1, levels.end()};
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
