// SPDX-License-Identifier: BSD-2-Clause
#ifndef TESTS_CODEC_CPULEVELTEST_H
#define TESTS_CODEC_CPULEVELTEST_H

#include <gtest/gtest.h>

#include <string>

#include "cpu/CpuLevel.h"

namespace prores::test {

/// Runs its tests at every CPU level. Levels that this processor lacks are reported as skipped.
class CpuLevelTest : public testing::TestWithParam<CpuLevel> {
 protected:
  void SetUp() override {
    if (GetParam() > DetectCpuLevel()) {
      GTEST_SKIP() << "not tested: this processor lacks " << NameOf(GetParam());
    }
  }
};

inline std::string NameOfLevel(const testing::TestParamInfo<CpuLevel>& level) {
  return NameOf(level.param);
}

/// Numbers of threads that must make no difference. The thread sanitizer, under which they take
/// long, looks for races only.
#ifdef __SANITIZE_THREAD__
inline constexpr int kThreadCounts[] = {5};
#else
inline constexpr int kThreadCounts[] = {1, 3, 5, 8};
#endif

}  // namespace prores::test

#endif  // TESTS_CODEC_CPULEVELTEST_H
