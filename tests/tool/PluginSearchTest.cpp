// SPDX-License-Identifier: BSD-2-Clause
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "PluginSearch.h"
#include "vix/Error.h"

namespace vixprores {
namespace {

using testing::HasSubstr;
using testing::StartsWith;
using testing::ThrowsMessage;

TEST(PluginSearch, LooksBesideTheProgramBeforeTheSystem) {
  const auto candidates = PluginCandidates("/opt/vix/bin");
  ASSERT_GE(candidates.size(), 2u);
  EXPECT_THAT(candidates.front(), StartsWith("/opt/vix/lib/libvixVideoCodecProRes.so."));
  EXPECT_THAT(candidates.back(), StartsWith("libvixVideoCodecProRes.so."));
}

TEST(PluginSearch, NamesThePathThatCannotBeLoaded) {
  EXPECT_THAT([] { LoadProResPlugin("/nowhere/plugin.so"); },
              ThrowsMessage<vix::VIXRuntimeError>(HasSubstr("/nowhere/plugin.so")));
}

}  // namespace
}  // namespace vixprores
