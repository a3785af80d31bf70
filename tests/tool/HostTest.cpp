// SPDX-License-Identifier: BSD-2-Clause
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "ProRes/ProResHost.h"
#include "base/Errors.h"
#include "run/Host.h"
#include "vix/Error.h"

namespace vixprores {
namespace {

using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;
using testing::ThrowsMessage;

class CpuLevel : public testing::Test {
 protected:
  ~CpuLevel() override { WPRSetProcessorLevel(kWPRProcessorAutomatic); }
};

TEST_F(CpuLevel, IsSetInTheCodecLibrary) {
  SetCpuLevel("scalar");
  EXPECT_EQ(WPRGetProcessorLevel(), kWPRProcessorScalar);
  EXPECT_EQ(CpuLevelInUse(), "scalar");
  SetCpuLevel("auto");
  EXPECT_EQ(WPRGetProcessorLevel(), WPRGetHighestProcessorLevel());
  EXPECT_EQ(CpuLevelInUse(), AvailableCpuLevels().back());
}

TEST_F(CpuLevel, IsRejectedIfTheProcessorLacksIt) {
  const auto available = AvailableCpuLevels();
  for (const std::string& level : CpuLevels()) {
    if (level == "auto" || std::ranges::count(available, level) > 0) {
      EXPECT_NO_THROW(SetCpuLevel(level));
    } else {
      EXPECT_THAT([&] { SetCpuLevel(level); },
                  ThrowsMessage<Failure>(HasSubstr("it has auto, scalar")));
    }
  }
}

TEST_F(CpuLevel, HasANameForEachLevelOfTheCodecLibrary) {
  EXPECT_THAT(CpuLevels(), ElementsAre("auto", "scalar", "sse4", "avx2", "avx512"));
}

TEST(PluginSearch, SearchesBesideTheProgram) {
  const auto candidates = PluginCandidates("/opt/vix/bin");
  EXPECT_THAT(candidates, Contains(StartsWith("/opt/vix/lib/libvixVideoCodecProRes.so.")));
  EXPECT_THAT(candidates, Each(StartsWith("/opt/vix/lib")));
}

TEST(PluginSearch, NamesThePathThatCannotBeLoaded) {
  EXPECT_THAT([] { LoadProResPlugins("/nowhere/plugin.so"); },
              ThrowsMessage<vix::VIXRuntimeError>(HasSubstr("/nowhere/plugin.so")));
}

TEST(PluginSearch, NamesTheMissingPluginFor4444) {
  EXPECT_THAT([] { RequireElements("vix4444"); },
              ThrowsMessage<Failure>(HasSubstr("libvixVideoCodecProRes4444.so")));
  const auto plugins = LoadProResPlugins(std::nullopt);
  EXPECT_EQ(plugins.size(), 2u);
  EXPECT_NO_THROW(RequireElements("vix4444"));
}

}  // namespace
}  // namespace vixprores
