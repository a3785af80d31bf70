// SPDX-License-Identifier: BSD-2-Clause
#include "Command.h"

#include <sys/wait.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace interop {

CommandResult RunCommand(const std::string& command) {
  CommandResult result;
  FILE* pipe = popen((command + " 2>&1 </dev/null").c_str(), "r");
  if (!pipe) throw std::runtime_error("cannot run " + command);
  std::array<char, 4096> chunk;
  while (const std::size_t bytes = fread(chunk.data(), 1, chunk.size(), pipe)) {
    result.output.append(chunk.data(), bytes);
  }
  const int status = pclose(pipe);
  result.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  return result;
}

ScratchDirectory::ScratchDirectory() {
  std::string name = std::string(INTEROP_DIR) + "/scratch-XXXXXX";
  if (!mkdtemp(name.data())) throw std::runtime_error("cannot make " + name);
  path_ = name;
}

ScratchDirectory::~ScratchDirectory() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

std::vector<std::uint8_t> ReadFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) throw std::runtime_error("cannot read " + path);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

void WriteFile(const std::string& path, const std::vector<std::uint8_t>& bytes) {
  std::ofstream file(path, std::ios::binary);
  std::copy(bytes.begin(), bytes.end(), std::ostreambuf_iterator<char>(file));
  if (!file.flush()) throw std::runtime_error("cannot write " + path);
}

}  // namespace interop
