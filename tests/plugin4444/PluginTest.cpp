// SPDX-License-Identifier: BSD-2-Clause
// The shared library: its symbols, its registrations, and its place beside the first plug-in.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <memory>
#include <set>
#include <sstream>
#include <string>

#include "ErrorText.h"
#include "Streams.h"
#include "vix/Registry.h"

namespace vix::test4444 {
namespace {

using Names = std::set<std::string>;

std::string OutputOf(const std::string& command) {
  const std::unique_ptr<FILE, int (*)(FILE*)> pipe(popen(command.c_str(), "r"), pclose);
  std::string text;
  char part[4096];
  while (const std::size_t bytes = std::fread(part, 1, sizeof(part), pipe.get())) {
    text.append(part, bytes);
  }
  return text;
}

/// Returns the implementations of the registered codec elements of a kind.
Names ImplementationsOf(ElementFactoryType factoryType) {
  Names names;
  for (const auto& entry : GetRegistryEntries()) {
    if (entry->GetElementFactoryType("class") == factoryType &&
        entry->GetString("type") == GetLabel(VCodecFamily::ProRes)) {
      names.insert(entry->GetString("implementation"));
    }
  }
  return names;
}

TEST(Plugin4444, ExportsItsEntryOnly) {
  std::istringstream lines(OutputOf(VIX_NM " -D --defined-only '" VIX_PLUGIN_4444 "'"));
  Names names;
  for (std::string line; std::getline(lines, line);) names.insert(line.substr(line.rfind(' ') + 1));
  EXPECT_EQ(names, Names{"RegisterAll"});
}

TEST(Plugin4444, CanBeUnloaded) {
  const auto isLoaded = [] {
    std::FILE* const maps = std::fopen("/proc/self/maps", "r");
    std::string text;
    for (int byte = std::fgetc(maps); byte != EOF; byte = std::fgetc(maps)) {
      text += static_cast<char>(byte);
    }
    std::fclose(maps);
    return text.find("libvixVideoCodecProRes4444") != std::string::npos;
  };
  const SilentLog silentLog;
  {
    const auto plugin = LoadPlugin(VIX_PLUGIN_4444, "tests");
    EXPECT_EQ(ImplementationsOf(ElementFactoryType::VideoEncoder), Names{kImplementation});
    EXPECT_TRUE(isLoaded());
  }
  EXPECT_FALSE(GetFactory(ElementFactoryType::VideoEncoder, kImplementation, kType));
  EXPECT_FALSE(isLoaded());
}

TEST(Plugin4444, IsLoadedBesideTheFirstPlugin) {
  const SilentLog silentLog;
  for (const char* const second : {"tests", "other tests"}) {
    const auto first = LoadPlugin(VIX_PLUGIN, "tests");
    const auto plugin = LoadPlugin(VIX_PLUGIN_4444, second);
    const Names both{"vix", kImplementation};
    EXPECT_EQ(ImplementationsOf(ElementFactoryType::VideoEncoder), both);
    EXPECT_EQ(ImplementationsOf(ElementFactoryType::VideoDecoder), both);
  }
}

TEST(Plugin4444, LiesInTheFolderOfPlugins) {
  const SilentLog silentLog;
  const auto found = LoadPlugins("tests");
  EXPECT_TRUE(found.failures.empty());
  Names paths;
  for (const auto& plugin : found.plugins) paths.insert(plugin->GetPath());
  EXPECT_EQ(paths, (Names{GetPluginFolder() + "/libvixVideoCodecProRes.so",
                          GetPluginFolder() + "/libvixVideoCodecProRes4444.so"}));
}

TEST_F(Elements, OutliveTheirPluginWithTheirSamples) {
  const auto encoder = MakeEncoder();
  const auto decoder = MakeDecoder();
  plugin.reset();
  SetConfig(*encoder);
  encoder->DefineInput(DescribeRaw({}), "");
  SetConfig(*decoder);
  decoder->DefineInput(DescribeProRes({}), "");
  ExpectPicture(Process(*decoder, Process(*encoder, MakeRawFrame({}, 1))), {}, 1);
}

}  // namespace
}  // namespace vix::test4444
