// SPDX-License-Identifier: BSD-2-Clause
#include "run/Host.h"

#include <dlfcn.h>
#include <link.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <iterator>

#include "ProRes/ProResHost.h"
#include "base/Errors.h"
#include "base/Libraries.h"
#include "base/Text.h"
#include "media/container/Libav.h"
#include "vix/Logging.h"
#include "vix/Registry.h"

namespace vixprores {
namespace {

// By WPRProcessorLevel.
constexpr std::array<const char*, 5> kCpuLevels{"auto", "scalar", "sse4", "avx2", "avx512"};

constexpr const char* kRegistrant = "vixprores";

// Returns the path under which the dynamic linker's own search finds the plug-in. A bare name would
// also be searched in the current folder, where anybody may have put it.
std::optional<std::string> FindInSystem() {
  const std::unique_ptr<void, int (*)(void*)> library(dlopen(VIX_PLUGIN_NAME, RTLD_LAZY), dlclose);
  link_map* map = nullptr;
  if (!library || dlinfo(library.get(), RTLD_DI_LINKMAP, &map) != 0) return std::nullopt;
  return map->l_name;
}

[[noreturn]] void RefuseWithoutPlugin() {
  std::string places;
  for (const std::string& candidate : PluginCandidates(ProgramFolder())) places += candidate + ", ";
  throw Failure("the plug-in is neither " + places +
                "nor in the system's library folders; name it with --plugin");
}

std::vector<std::string> CpuLevelsUpTo(std::int32_t highest) {
  return {kCpuLevels.begin(), kCpuLevels.begin() + highest + 1};
}

}  // namespace

void SetUpMessages(const HostOptions& options) {
  SetLibavMessages(options.verbose);
  // The error message at the end repeats the record of a failure; so records are shown only on
  // request.
  vix::SetCurrentLoggerWriter(
      vix::CreateLineLoggerWriter([show = options.verbose](vix::LogLevel, const std::string& line) {
        if (show) PrintText(stderr, line + "\n");
      }));
}

std::vector<std::string> PluginCandidates(const std::string& programFolder) {
  return LibraryCandidates(programFolder, VIX_PLUGIN_NAME);
}

std::optional<std::string> FindProResPlugin() {
  for (const std::string& candidate : PluginCandidates(ProgramFolder())) {
    if (std::filesystem::exists(candidate)) return candidate;
  }
  return FindInSystem();
}

Plugins LoadProResPlugins(const std::optional<std::string>& path) {
  const auto plugin = path ? path : FindProResPlugin();
  if (!plugin) RefuseWithoutPlugin();
  Plugins plugins{vix::LoadPlugin(*plugin, kRegistrant)};
  // Hosts may know the plug-in by a link to it.
  const auto folder = std::filesystem::canonical(*plugin).parent_path();
  const std::string other = folder / VIX_PLUGIN_4444_NAME;
  if (std::filesystem::exists(other)) plugins.push_back(vix::LoadPlugin(other, kRegistrant));
  return plugins;
}

void RequireElements(const std::string& implementation) {
  if (vix::GetFactory(vix::ElementFactoryType::VideoDecoder, implementation,
                      vix::GetLabel(vix::VCodecFamily::ProRes))) {
    return;
  }
  throw Failure("4444 needs the plug-in " VIX_PLUGIN_4444_NAME
                ", which is missing; install it in the folder of " VIX_PLUGIN_NAME);
}

std::vector<std::string> FindIgnoredVariables() {
  constexpr std::int64_t kMostThreads = 4096;  // as documented in ProResHost.h
  std::vector<std::string> notes;
  const auto check = [&notes](const char* name, const auto& isValid, const std::string& expected) {
    const char* const value = std::getenv(name);
    if (!value || *value == '\0' || isValid(std::string(value))) return;
    notes.push_back(std::string(name) + ": '" + value + "' is ignored (expected " + expected + ")");
  };
  const std::vector<std::string> levels(kCpuLevels.begin() + 1, kCpuLevels.end());
  check(
      "VIX_PRORES_CPU",
      [&](const std::string& value) { return std::ranges::find(levels, value) != levels.end(); },
      "one of " + JoinWords(levels));
  check(
      "VIX_PRORES_THREADS",
      [](const std::string& value) { return ParseNumber(value, kMostThreads).value_or(0) > 0; },
      "1 to " + std::to_string(kMostThreads));
  return notes;
}

int RunWithPlugin(const HostOptions& options, const std::string& input,
                  const std::function<int()>& work) {
  const auto plugins = LoadProResPlugins(options.plugin);
  for (const std::string& note : FindIgnoredVariables()) PrintNote(note);
  try {
    return work();
  } catch (const UsageError&) {
    throw;
  } catch (...) {
    throw Failure(DescribeException(input));
  }
}

void SetCpuLevel(const std::string& level) {
  const auto found = std::ranges::find(kCpuLevels, level);
  const auto number = static_cast<std::int32_t>(std::distance(kCpuLevels.begin(), found));
  if (WPRSetProcessorLevel(number) == kWPRSuccess) return;
  throw Failure("--cpu " + level + ": this processor has no such instructions; it has " +
                JoinWords(CpuLevelsUpTo(WPRGetHighestProcessorLevel())));
}

std::vector<std::string> CpuLevels() {
  return {kCpuLevels.begin(), kCpuLevels.end()};
}

std::vector<std::string> AvailableCpuLevels() {
  const auto levels = CpuLevelsUpTo(WPRGetHighestProcessorLevel());
  return {levels.begin() + 1, levels.end()};
}

std::string CpuLevelInUse() {
  return kCpuLevels.at(static_cast<std::size_t>(WPRGetProcessorLevel()));
}

}  // namespace vixprores
