// SPDX-License-Identifier: BSD-2-Clause
#include "base/Memory.h"

#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>

namespace vixprores {
namespace {

namespace fs = std::filesystem;

std::uint64_t PageBytes() {
  return static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE));
}

// Returns the number in a file; nullopt if there is none, as in "max".
std::optional<std::uint64_t> ReadNumber(const fs::path& path) {
  std::ifstream file(path);
  std::uint64_t number = 0;
  return file >> number ? std::optional(number) : std::nullopt;
}

// Returns the smallest limit of a group and those that it is part of.
std::optional<std::uint64_t> FindSmallest(const fs::path& root, fs::path group,
                                          const char* fileName) {
  std::optional<std::uint64_t> smallest;
  for (;;) {
    const auto limit = ReadNumber(root / group.relative_path() / fileName);
    if (limit) smallest = std::min(smallest.value_or(*limit), *limit);
    if (!group.has_relative_path()) return smallest;
    group = group.parent_path();
  }
}

}  // namespace

std::optional<std::uint64_t> FindGroupLimit(std::string_view groups, const std::string& root) {
  std::istringstream lines{std::string(groups)};
  std::optional<std::uint64_t> smallest;
  for (std::string line; std::getline(lines, line);) {
    // "HIERARCHY:CONTROLLERS:/GROUP"; version 2 has no controllers there.
    const std::size_t first = line.find(':');
    const std::size_t second = first == std::string::npos ? first : line.find(':', first + 1);
    if (second == std::string::npos) continue;
    const std::string controllers = "," + line.substr(first + 1, second - first - 1) + ",";
    const bool isUnified = controllers == ",,";
    if (!isUnified && controllers.find(",memory,") == std::string::npos) continue;
    const auto limit =
        FindSmallest(isUnified ? fs::path(root) : fs::path(root) / "memory",
                     line.substr(second + 1), isUnified ? "memory.max" : "memory.limit_in_bytes");
    if (limit) smallest = std::min(smallest.value_or(*limit), *limit);
  }
  return smallest;
}

std::uint64_t FindMachineMemory() {
  const std::uint64_t installed =
      static_cast<std::uint64_t>(std::max(sysconf(_SC_PHYS_PAGES), 0L)) * PageBytes();
  std::ifstream file("/proc/self/cgroup");
  const std::string groups{std::istreambuf_iterator<char>(file), {}};
  return std::min(installed, FindGroupLimit(groups, "/sys/fs/cgroup").value_or(installed));
}

std::uint64_t FindMemoryInUse() {
  std::ifstream file("/proc/self/statm");
  std::uint64_t all = 0;
  std::uint64_t resident = 0;
  std::uint64_t ofFiles = 0;
  if (!(file >> all >> resident >> ofFiles)) return 0;
  return (resident - std::min(resident, ofFiles)) * PageBytes();
}

}  // namespace vixprores
