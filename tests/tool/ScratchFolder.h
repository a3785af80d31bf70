// SPDX-License-Identifier: BSD-2-Clause
#ifndef TESTS_TOOL_SCRATCHFOLDER_H
#define TESTS_TOOL_SCRATCHFOLDER_H

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

namespace vixprores {

/// A temporary folder, empty at first and removed by the destructor.
class ScratchFolder {
 public:
  ScratchFolder() {
    std::string name = (std::filesystem::temp_directory_path() / "vixprores-test-XXXXXX").string();
    if (!mkdtemp(name.data())) throw std::runtime_error("cannot make " + name);
    path_ = name;
  }
  ~ScratchFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;

  std::string operator/(const std::string& name) const { return (path_ / name).string(); }

  /// Returns the names of its files, sorted.
  std::vector<std::string> List() const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(path_)) {
      names.push_back(entry.path().filename().string());
    }
    std::ranges::sort(names);
    return names;
  }

 private:
  std::filesystem::path path_;
};

inline std::string ReadText(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

inline void WriteText(const std::string& path, const std::string& text) {
  std::ofstream(path, std::ios::binary) << text;
}

}  // namespace vixprores

#endif  // TESTS_TOOL_SCRATCHFOLDER_H
