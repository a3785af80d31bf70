// SPDX-License-Identifier: BSD-2-Clause
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "vix/PluginLoader.h"
#include "vix/Registry.h"

namespace vix {
namespace {

namespace fs = std::filesystem;

using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

/// Has two empty folders, "a" and "b", which VIX_PLUGIN_PATH names in reverse order.
class PluginDiscovery : public ::testing::Test {
 protected:
  PluginDiscovery() {
    fs::create_directories(a);
    fs::create_directories(b);
    SetPath(b + ':' + a);
  }
  ~PluginDiscovery() override {
    unsetenv("VIX_PLUGIN_PATH");
    fs::remove_all(root);
  }

  static void SetPath(const std::string& path) { setenv("VIX_PLUGIN_PATH", path.c_str(), 1); }
  static void Link(const std::string& target, const std::string& link) {
    fs::create_symlink(target, link);
  }
  static std::vector<std::string> PathsOf(const LoadedPlugins& found) {
    std::vector<std::string> paths;
    for (const auto& plugin : found.plugins) paths.push_back(plugin->GetPath());
    return paths;
  }

  std::string root = testing::TempDir() + "core_tests_plugins_" + std::to_string(getpid());
  std::string a = root + "/a";
  std::string b = root + "/b";
};

TEST_F(PluginDiscovery, LoadsInTheOrderOfFoldersAndNames) {
  Link(FAKE_PLUGIN, a + "/1.so");
  Link(FAILING_PLUGIN, b + "/2.so");
  auto found = LoadPlugins("test");
  EXPECT_THAT(PathsOf(found), ElementsAre(b + "/2.so", a + "/1.so"));
  EXPECT_THAT(found.failures, IsEmpty());
  EXPECT_NE(GetFactory(ElementFactoryType::VideoDecoder, "fake", "Pass"), nullptr);
  EXPECT_NE(GetFactory(ElementFactoryType::VideoDecoder, "failing", "Doomed"), nullptr);

  found = {};
  Link(FAKE_PLUGIN, b + "/1.so");
  EXPECT_THAT(PathsOf(LoadPlugins("test")), ElementsAre(b + "/1.so", b + "/2.so"));
}

TEST_F(PluginDiscovery, LoadsOnlyFilesWithTheNameOfALibrary) {
  for (const char* name : {"/plugin.so.1", "/so", "/.so", "/plugin.txt"}) {
    Link(FAKE_PLUGIN, a + name);
  }
  const auto found = LoadPlugins("test");
  EXPECT_THAT(found.plugins, IsEmpty());
  EXPECT_THAT(found.failures, IsEmpty());
}

TEST_F(PluginDiscovery, ReportsWhatFailsAndLoadsTheOthers) {
  std::ofstream(a + "/1.so") << "text";
  fs::copy_file(FAKE_PLUGIN, a + "/2.so");
  fs::resize_file(a + "/2.so", 5000);
  Link(root + "/nowhere", a + "/3.so");
  Link(NO_ENTRY_PLUGIN, a + "/4.so");
  Link(FAKE_PLUGIN, a + "/5.so");
  const auto found = LoadPlugins("test");
  EXPECT_THAT(PathsOf(found), ElementsAre(a + "/5.so"));
  std::vector<ErrorCode> codes;
  for (const PluginFailure& failure : found.failures) {
    codes.push_back(failure.code);
    EXPECT_EQ(failure.path, a + '/' + std::to_string(codes.size()) + ".so");
    EXPECT_THAT(failure.reason, HasSubstr(failure.path));
  }
  EXPECT_THAT(codes, ElementsAre(ErrorCode::Failed, ErrorCode::Truncated, ErrorCode::NotFound,
                                 ErrorCode::Failed));
}

TEST_F(PluginDiscovery, LoadsALibraryWithTwoNamesOnce) {
  Link(FAKE_PLUGIN, a + "/1.so");
  Link(a + "/1.so", b + "/2.so");
  SetPath(a + ':' + b + ':' + a);
  const auto found = LoadPlugins("test");
  EXPECT_THAT(PathsOf(found), ElementsAre(a + "/1.so"));
  EXPECT_THAT(found.failures, IsEmpty());
}

TEST_F(PluginDiscovery, ReportsThatAKeyIsTaken) {
  fs::copy_file(FAKE_PLUGIN, a + "/1.so");
  fs::copy_file(FAKE_PLUGIN, a + "/2.so");
  const auto found = LoadPlugins("test");
  EXPECT_THAT(PathsOf(found), ElementsAre(a + "/1.so"));
  ASSERT_EQ(found.failures.size(), 1u);
  EXPECT_EQ(found.failures.front().code, ErrorCode::AlreadyExists);
  EXPECT_THAT(found.failures.front().reason, AllOf(HasSubstr(a + "/1.so"), HasSubstr(a + "/2.so")));
}

TEST_F(PluginDiscovery, IgnoresRelativeFoldersWithANote) {
  Link(FAKE_PLUGIN, a + "/1.so");
  fs::create_directories(root + "/work");
  const fs::path before = fs::current_path();
  fs::current_path(root);
  SetPath("a::./a:.:" + b + ':');
  const auto found = LoadPlugins("test");
  fs::current_path(before);
  EXPECT_THAT(found.plugins, IsEmpty());
  std::vector<std::string> ignored;
  for (const PluginFailure& failure : found.failures) {
    ignored.push_back(failure.path);
    EXPECT_EQ(failure.code, ErrorCode::BadArgument);
    EXPECT_THAT(failure.reason, AllOf(HasSubstr("VIX_PLUGIN_PATH"), HasSubstr("is ignored")));
  }
  EXPECT_THAT(ignored, ElementsAre("a", "./a", "."));
}

TEST_F(PluginDiscovery, ReportsAFolderThatDoesNotExist) {
  SetPath(root + "/nowhere");
  const auto found = LoadPlugins("test");
  ASSERT_EQ(found.failures.size(), 1u);
  EXPECT_EQ(found.failures.front().path, root + "/nowhere");
  EXPECT_EQ(found.failures.front().code, ErrorCode::NotFound);
  EXPECT_THAT(found.failures.front().reason,
              AllOf(HasSubstr(root + "/nowhere"), HasSubstr("No such file or directory")));
}

TEST_F(PluginDiscovery, HasAFolderBesideTheCore) {
  const fs::path folder = GetPluginFolder();
  EXPECT_EQ(folder.filename(), "vix-plugins-1");
  EXPECT_TRUE(fs::exists(folder.parent_path() / "libvixCore.so"));
}

}  // namespace
}  // namespace vix
