// SPDX-License-Identifier: BSD-2-Clause
#include "run/PluginSearch.h"

#include <dlfcn.h>
#include <link.h>

#include <filesystem>
#include <set>
#include <system_error>

#include "base/Errors.h"

namespace vixprores {
namespace {

constexpr const char* kRegistrant = "vixprores";

std::string ProgramFolder() {
  std::error_code error;
  return std::filesystem::read_symlink("/proc/self/exe", error).parent_path().string();
}

// The path under which the system's library search finds the plug-in. The search is the dynamic
// linker's own: a bare name would be taken from the current folder, where anybody may have put it.
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

}  // namespace

std::vector<std::string> PluginCandidates(const std::string& programFolder) {
  const auto prefix = std::filesystem::path(programFolder).parent_path();
  std::vector<std::string> candidates;
  for (const std::string& folder : std::set<std::string>{"lib", VIX_LIBDIR, VIX_DEBIAN_LIBDIR}) {
    candidates.push_back((prefix / folder / VIX_PLUGIN_NAME).string());
  }
  return candidates;
}

std::optional<std::string> FindProResPlugin() {
  for (const std::string& candidate : PluginCandidates(ProgramFolder())) {
    if (std::filesystem::exists(candidate)) return candidate;
  }
  return FindInSystem();
}

std::shared_ptr<vix::IPlugin> LoadProResPlugin(const std::optional<std::string>& path) {
  const auto plugin = path ? path : FindProResPlugin();
  if (!plugin) RefuseWithoutPlugin();
  return vix::LoadPlugin(*plugin, kRegistrant);
}

}  // namespace vixprores
