// SPDX-License-Identifier: BSD-2-Clause
#include "PluginSearch.h"

#include <filesystem>
#include <system_error>

namespace vixprores {
namespace {

constexpr const char* kRegistrant = "vixprores";
// Folders beside that of the program, from the build: VIX_LIBDIR is the one that is installed to.
constexpr const char* kLibraryFolders[] = {"lib", VIX_LIBDIR};

std::string ProgramFolder() {
  std::error_code error;
  return std::filesystem::read_symlink("/proc/self/exe", error).parent_path().string();
}

}  // namespace

std::vector<std::string> PluginCandidates(const std::string& programFolder) {
  std::vector<std::string> candidates;
  const auto prefix = std::filesystem::path(programFolder).parent_path();
  for (const char* folder : kLibraryFolders) {
    candidates.push_back((prefix / folder / VIX_PLUGIN_NAME).string());
  }
  candidates.emplace_back(VIX_PLUGIN_NAME);
  return candidates;
}

std::shared_ptr<vix::IPlugin> LoadProResPlugin(const std::optional<std::string>& path) {
  if (path) return vix::LoadPlugin(*path, kRegistrant);
  const auto candidates = PluginCandidates(ProgramFolder());
  for (const std::string& candidate : candidates) {
    if (std::filesystem::exists(candidate)) return vix::LoadPlugin(candidate, kRegistrant);
  }
  return vix::LoadPlugin(candidates.back(), kRegistrant);
}

}  // namespace vixprores
