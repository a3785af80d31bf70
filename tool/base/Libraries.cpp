// SPDX-License-Identifier: BSD-2-Clause
#include "base/Libraries.h"

#include <filesystem>
#include <set>
#include <system_error>

namespace vixprores {

std::string ProgramFolder() {
  std::error_code error;
  return std::filesystem::read_symlink("/proc/self/exe", error).parent_path().string();
}

std::vector<std::string> LibraryCandidates(const std::string& programFolder,
                                           const std::string& name) {
  const auto prefix = std::filesystem::path(programFolder).parent_path();
  std::vector<std::string> candidates;
  for (const std::string& folder : std::set<std::string>{"lib", VIX_LIBDIR, VIX_DEBIAN_LIBDIR}) {
    candidates.push_back((prefix / folder / name).string());
  }
  return candidates;
}

}  // namespace vixprores
