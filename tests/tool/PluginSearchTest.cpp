// SPDX-License-Identifier: BSD-2-Clause
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "run/PluginSearch.h"
#include "vix/Error.h"

namespace vixprores {
namespace {

using testing::Contains;
using testing::Each;
using testing::HasSubstr;
using testing::StartsWith;
using testing::ThrowsMessage;

TEST(PluginSearch, LooksBesideTheProgram) {
  const auto candidates = PluginCandidates("/opt/vix/bin");
  EXPECT_THAT(candidates, Contains(StartsWith("/opt/vix/lib/libvixVideoCodecProRes.so.")));
  EXPECT_THAT(candidates, Each(StartsWith("/opt/vix/lib")));
}

TEST(PluginSearch, NamesThePathThatCannotBeLoaded) {
  EXPECT_THAT([] { LoadProResPlugin("/nowhere/plugin.so"); },
              ThrowsMessage<vix::VIXRuntimeError>(HasSubstr("/nowhere/plugin.so")));
}

}  // namespace
}  // namespace vixprores
