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

}  // namespace prores::test

#endif  // TESTS_CODEC_CPULEVELTEST_H
