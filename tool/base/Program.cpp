// SPDX-License-Identifier: BSD-2-Clause
#include "base/Program.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include "base/Errors.h"

namespace vixprores {
namespace {

// A file without a name, which a program fills.
class Capture {
 public:
  Capture() : file_(std::tmpfile(), std::fclose) {
    if (!file_) throw Failure(std::string("cannot make a temporary file: ") + std::strerror(errno));
  }

  int GetDescriptor() const { return fileno(file_.get()); }

  std::string Read() const {
    std::string text;
    std::array<char, 4096> block{};
    std::rewind(file_.get());
    while (const std::size_t bytes = std::fread(block.data(), 1, block.size(), file_.get())) {
      text.append(block.data(), bytes);
    }
    return text;
  }

 private:
  std::unique_ptr<std::FILE, int (*)(std::FILE*)> file_;
};

}  // namespace

ProgramResult RunProgram(const std::vector<std::string>& command) {
  const Capture output;
  const Capture errors;
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_adddup2(&actions, output.GetDescriptor(), STDOUT_FILENO);
  posix_spawn_file_actions_adddup2(&actions, errors.GetDescriptor(), STDERR_FILENO);
  std::vector<char*> words;
  words.reserve(command.size() + 1);
  for (const std::string& word : command) words.push_back(const_cast<char*>(word.c_str()));
  words.push_back(nullptr);
  pid_t process = 0;
  const int failure = posix_spawnp(&process, words[0], &actions, nullptr, words.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  if (failure != 0) throw Failure(command[0] + ": cannot be run: " + std::strerror(failure));
  int status = 0;
  while (waitpid(process, &status, 0) < 0) {
    if (errno != EINTR) throw Failure(command[0] + ": is lost: " + std::strerror(errno));
  }
  constexpr int kBySignal = 128;
  const int code = WIFEXITED(status) ? WEXITSTATUS(status) : kBySignal + WTERMSIG(status);
  return {code, output.Read(), errors.Read()};
}

}  // namespace vixprores
