// SPDX-License-Identifier: BSD-2-Clause
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "base/Errors.h"
#include "cpu/CpuLevel.h"
#include "run/CodecEnvironment.h"

namespace vixprores {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

constexpr const char* kThreads = "VIX_PRORES_THREADS";

std::string Variable(const char* name) {
  const char* const value = std::getenv(name);
  return value ? value : "unset";
}

class CodecEnvironment : public testing::Test {
 protected:
  void TearDown() override {
    unsetenv(prores::kCpuLevelVariable);
    unsetenv(kThreads);
  }
};

TEST_F(CodecEnvironment, TellsTheLevel) {
  SetCpuLevel("scalar");
  EXPECT_EQ(Variable(prores::kCpuLevelVariable), "scalar");
}

TEST_F(CodecEnvironment, AutomaticOverridesAnInheritedLevel) {
  setenv(prores::kCpuLevelVariable, "scalar", 1);
  SetCpuLevel("auto");
  EXPECT_EQ(Variable(prores::kCpuLevelVariable), "unset");
}

TEST_F(CodecEnvironment, RefusesExactlyTheLevelsThatTheProcessorLacks) {
  for (const prores::CpuLevel level : prores::kCpuLevels) {
    if (level <= prores::DetectCpuLevel()) {
      EXPECT_NO_THROW(SetCpuLevel(NameOf(level)));
    } else {
      EXPECT_THROW(SetCpuLevel(NameOf(level)), Failure);
    }
  }
}

TEST_F(CodecEnvironment, TellsTheLevelInUse) {
  EXPECT_EQ(CpuLevelInUse(), NameOf(prores::DetectCpuLevel()));
  SetCpuLevel("scalar");
  EXPECT_EQ(CpuLevelInUse(), "scalar");
  setenv(prores::kCpuLevelVariable, "mmx", 1);
  EXPECT_EQ(CpuLevelInUse(), NameOf(prores::DetectCpuLevel()));
}

TEST_F(CodecEnvironment, KnowsTheNamesOfLevels) {
  EXPECT_THAT(CpuLevels(), ElementsAre("auto", "scalar", "sse4", "avx2", "avx512"));
}

TEST_F(CodecEnvironment, TheUsersThreadsStay) {
  SetAutomaticThreads(3);
  EXPECT_EQ(Variable(kThreads), "3");
  SetAutomaticThreads(5);
  EXPECT_EQ(Variable(kThreads), "3");
}

}  // namespace
}  // namespace vixprores
