// SPDX-License-Identifier: BSD-2-Clause
#include <cstdint>

#include "ProRes/ProResHost.h"
#include "Status.h"
#include "cpu/CpuLevel.h"
#include "parallel/WorkerPool.h"

using prores::CpuLevel;
using prores::Status;

namespace {

/// The CpuLevels are the WPRProcessorLevels after kWPRProcessorAutomatic, in the same order.
constexpr std::int32_t ToProcessorLevel(CpuLevel level) {
  return static_cast<std::int32_t>(level) + kWPRProcessorScalar;
}
static_assert(ToProcessorLevel(CpuLevel::kScalar) == kWPRProcessorScalar);
static_assert(ToProcessorLevel(CpuLevel::kAvx512) == kWPRProcessorAvx512);

}  // namespace

std::uint32_t WPRGetLibraryVersion() {
  constexpr std::uint32_t kVersion[] = {PRORES_VERSION};
  return kVersion[0] * 1'000'000 + kVersion[1] * 1'000 + kVersion[2];
}

std::uint32_t WPRHostVersion() {
  return WPR_HOST_VERSION;
}

std::int32_t WPRSetDefaultThreads(std::int32_t numThreads) {
  if (numThreads < 0 || numThreads > static_cast<std::int32_t>(prores::kMaxDefaultThreads)) {
    return prores::ToResult(Status::kBadArgument);
  }
  prores::SetDefaultThreads(static_cast<std::uint32_t>(numThreads));
  return prores::ToResult(Status::kSuccess);
}

std::int32_t WPRGetDefaultThreads() {
  return static_cast<std::int32_t>(prores::DefaultThreads());
}

std::int32_t WPRSetProcessorLevel(std::int32_t level) {
  if (level < kWPRProcessorAutomatic || level > kWPRProcessorAvx512) {
    return prores::ToResult(Status::kBadArgument);
  }
  if (level > WPRGetHighestProcessorLevel()) return prores::ToResult(Status::kUnsupported);
  prores::SetCpuLevelLimit(level == kWPRProcessorAutomatic
                               ? prores::kCpuLevels.back()
                               : static_cast<CpuLevel>(level - kWPRProcessorScalar));
  return prores::ToResult(Status::kSuccess);
}

std::int32_t WPRGetProcessorLevel() {
  return ToProcessorLevel(prores::DefaultCpuLevel());
}

std::int32_t WPRGetHighestProcessorLevel() {
  return ToProcessorLevel(prores::DetectCpuLevel());
}
