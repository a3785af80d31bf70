// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>

#include "vix/Version.h"

namespace vix {
namespace {

TEST(Version, IsTheSameInHeadersLibraryAndBuild) {
  EXPECT_EQ(GetVersion(), VIX_VERSION_NUMBER);
  EXPECT_STREQ(GetVersionText(), VIX_VERSION_TEXT);
  EXPECT_STREQ(GetVersionText(), PROJECT_VERSION);
}

TEST(Version, HasANumberThatGrows) {
  static_assert(VIX_MAKE_VERSION(1, 0, 999) < VIX_MAKE_VERSION(1, 1, 0));
  static_assert(VIX_MAKE_VERSION(1, 999, 999) < VIX_MAKE_VERSION(2, 0, 0));
  static_assert(VIX_VERSION_NUMBER >= VIX_MAKE_VERSION(1, 1, 0));
  EXPECT_EQ(VIX_MAKE_VERSION(1, 2, 3), 1002003U);
}

}  // namespace
}  // namespace vix
