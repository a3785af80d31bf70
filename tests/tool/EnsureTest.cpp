// SPDX-License-Identifier: BSD-2-Clause
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "base/Errors.h"

namespace vixprores {
namespace {

TEST(Ensure, AcceptsInvariantsThatHold) {
  EXPECT_NO_THROW(Ensure(true, "one is one"));
}

#if !defined(NDEBUG) || defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
TEST(EnsureDeathTest, AbortsWithThePlaceInDebugBuilds) {
  EXPECT_DEATH(Ensure(false, "one is two"), "EnsureTest.cpp:[0-9]+ .one is two.");
}
#else
TEST(Ensure, ThrowsAnErrorWithThePlaceInReleaseBuilds) {
  EXPECT_THAT([] { Ensure(false, "one is two"); },
              testing::ThrowsMessage<InternalError>(
                  testing::ContainsRegex("EnsureTest.cpp:[0-9]+ .one is two.")));
}
#endif

}  // namespace
}  // namespace vixprores
