// SPDX-License-Identifier: BSD-2-Clause
#include "cpu/CpuLevel.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>

namespace prores {
namespace {

std::atomic<CpuLevel> g_limit = kCpuLevels.back();

}  // namespace

void SetCpuLevelLimit(CpuLevel limit) {
  g_limit = limit;
}

CpuLevel DefaultCpuLevel() {
  static const CpuLevel kHighest = DetectCpuLevel();
  const char* const text = std::getenv(kCpuLevelVariable);
  const auto forced = text != nullptr ? ParseCpuLevel(text) : std::nullopt;
  return std::min(kHighest, forced.value_or(g_limit));
}

}  // namespace prores
