// SPDX-License-Identifier: BSD-2-Clause
#ifndef TESTS_INTEROP_COMMAND_H
#define TESTS_INTEROP_COMMAND_H

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace interop {

struct CommandResult {
  int exitCode = -1;
  std::string output;  ///< standard output and standard error together
};

/// Runs a shell command and waits for its end.
CommandResult RunCommand(const std::string& command);

/// A new directory, removed by the destructor with its contents.
class ScratchDirectory {
 public:
  ScratchDirectory();
  ~ScratchDirectory();
  ScratchDirectory(const ScratchDirectory&) = delete;
  ScratchDirectory& operator=(const ScratchDirectory&) = delete;

  std::string operator/(const std::string& name) const { return (path_ / name).string(); }

 private:
  std::filesystem::path path_;
};

std::vector<std::uint8_t> ReadFile(const std::string& path);
void WriteFile(const std::string& path, const std::vector<std::uint8_t>& bytes);

}  // namespace interop

#endif  // TESTS_INTEROP_COMMAND_H
