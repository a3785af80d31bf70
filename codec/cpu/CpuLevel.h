// SPDX-License-Identifier: BSD-2-Clause
#ifndef CODEC_CPU_CPULEVEL_H
#define CODEC_CPU_CPULEVEL_H

/// @file
/// The instruction sets that hot code is made for. All levels give the same bits.

#include <array>
#include <cstddef>
#include <optional>
#include <string_view>

namespace prores {

/// Each level includes the ones before it.
enum class CpuLevel {
  kScalar,  ///< plain C++
  kSse4,    ///< SSE4.2: processors from 2010 on
  kAvx2,    ///< AVX2, BMI1, BMI2, FMA: from 2013 on
  kAvx512,  ///< AVX-512 F, BW, CD, DQ, VL, VNNI, VBMI, VBMI2, VPOPCNTDQ, BITALG, GFNI: from 2019 on
};

inline constexpr std::array<CpuLevel, 4> kCpuLevels{CpuLevel::kScalar, CpuLevel::kSse4,
                                                    CpuLevel::kAvx2, CpuLevel::kAvx512};

/// Environment variable with the name of a level, which overrides SetCpuLevelLimit(). Other text
/// counts as unset.
inline constexpr const char* kCpuLevelVariable = "VIX_PRORES_CPU";

constexpr const char* NameOf(CpuLevel level) {
  constexpr std::array<const char*, kCpuLevels.size()> kNames{"scalar", "sse4", "avx2", "avx512"};
  return kNames[static_cast<std::size_t>(level)];
}

constexpr std::optional<CpuLevel> ParseCpuLevel(std::string_view name) {
  for (const CpuLevel level : kCpuLevels) {
    if (name == NameOf(level)) return level;
  }
  return std::nullopt;
}

/// Returns the form of a function for `level`.
template <typename Function>
constexpr Function ForLevel(CpuLevel level, Function plain, Function sse4, Function avx2,
                            Function avx512) {
  return std::array{plain, sse4, avx2, avx512}[static_cast<std::size_t>(level)];
}

/// Returns the highest level that this processor and the operating system support.
inline CpuLevel DetectCpuLevel() {
  if (!__builtin_cpu_supports("sse4.2")) return CpuLevel::kScalar;
  const bool avx2 = __builtin_cpu_supports("avx2") && __builtin_cpu_supports("bmi") &&
                    __builtin_cpu_supports("bmi2") && __builtin_cpu_supports("fma");
  if (!avx2) return CpuLevel::kSse4;
  const bool avx512 = __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") &&
                      __builtin_cpu_supports("avx512cd") && __builtin_cpu_supports("avx512dq") &&
                      __builtin_cpu_supports("avx512vl") && __builtin_cpu_supports("avx512vnni") &&
                      __builtin_cpu_supports("avx512vbmi") &&
                      __builtin_cpu_supports("avx512vbmi2") &&
                      __builtin_cpu_supports("avx512vpopcntdq") &&
                      __builtin_cpu_supports("avx512bitalg") && __builtin_cpu_supports("gfni");
  return avx512 ? CpuLevel::kAvx512 : CpuLevel::kAvx2;
}

/// Sets the highest level of the codec handles that the process opens from now on. Any thread may
/// call it at any time.
void SetCpuLevelLimit(CpuLevel limit);

/// Returns the level of a codec handle that is opened now: the highest one that is supported and
/// allowed by the environment (kCpuLevelVariable) or else by SetCpuLevelLimit().
CpuLevel DefaultCpuLevel();

}  // namespace prores

#endif  // CODEC_CPU_CPULEVEL_H
