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

// A plug-in of this project.
struct ProResPlugin {
  const char* implementation;  // of its elements
  const char* use;             // that needs it, for messages
  const char* file;            // as installed, with the version of its interface at the end

  // Returns the name by which documents call it.
  std::string GetName() const {
    const std::string name = file;
    return name.substr(0, name.find(".so") + 3);
  }
};

constexpr std::array kPlugins{
    ProResPlugin{"vix", "4:2:2", VIX_PLUGIN_NAME},
    ProResPlugin{"vix4444", "4444, and output as Y416 or b64A,", VIX_PLUGIN_4444_NAME}};

// Returns the path of a plug-in in a folder; nullopt if it is not there.
std::optional<std::string> FindInFolder(const ProResPlugin& plugin,
                                        const std::filesystem::path& folder) {
  for (const std::string& name : {std::string(plugin.file), plugin.GetName()}) {
    if (std::filesystem::exists(folder / name)) return folder / name;
  }
  return std::nullopt;
}

// Hosts may know the plug-in by a link to it.
std::filesystem::path FolderOf(const std::string& plugin) {
  return std::filesystem::canonical(plugin).parent_path();
}

bool HasElements(const std::string& implementation) {
  return vix::GetFactory(vix::ElementFactoryType::VideoDecoder, implementation,
                         vix::GetLabel(vix::VCodecFamily::ProRes)) != nullptr;
}

// Returns the version that ends the real name of a library: "libName.so.1.1.0".
std::string VersionOf(const std::string& library) {
  const std::string name = std::filesystem::canonical(library).filename();
  const std::string beforeVersion = ".so.";
  const std::size_t end = name.find(beforeVersion);
  const std::string version =
      end == std::string::npos ? std::string() : name.substr(end + beforeVersion.size());
  const bool isWhole = version.find('.') != std::string::npos;  // more than that of the interface
  return isWhole ? "version " + version : "unknown version";
}

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
  for (const ProResPlugin& other : kPlugins) {
    if (HasElements(other.implementation)) continue;
    const auto found = FindInFolder(other, FolderOf(*plugin));
    if (found) plugins.push_back(vix::LoadPlugin(*found, kRegistrant));
  }
  return plugins;
}

std::string DescribePlugins() {
  const auto first = FindProResPlugin();
  const auto second = first ? FindInFolder(kPlugins[1], FolderOf(*first)) : std::nullopt;
  const auto describe = [](const std::optional<std::string>& path) {
    return (path ? *path + " (" + VersionOf(*path) + ")" : "none found") + "\n";
  };
  return "plug-in:     " + describe(first) + "for 4444:    " + describe(second);
}

void RequireElements(const std::string& implementation) {
  if (HasElements(implementation)) return;
  const auto* const missing =
      std::ranges::find(kPlugins, implementation, &ProResPlugin::implementation);
  throw Failure(
      missing->use + (" needs the plug-in " + missing->GetName()) +
      ", which is missing\ninstall it in the folder of the plug-in that is loaded, or name "
      "with --plugin one that has it in its folder");
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
