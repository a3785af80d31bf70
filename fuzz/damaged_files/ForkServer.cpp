// SPDX-License-Identifier: BSD-2-Clause
// A library to be preloaded, which runs the main() of a program once for each request, in a child
// process: starting a sanitizer build of the program, with more than a hundred libraries, takes
// longer than most runs. A request on standard input is a line with the number of bytes that
// follow: words that end with zero bytes, of which the first is a file for both outputs of the run
// and the others are the program's arguments. The answer on standard output is a line: exit code,
// or signal as a negative number; milliseconds of processors; milliseconds; KiB of memory at most.
// A run that takes longer than CPU_SECONDS of processors or WALL_SECONDS ends by a signal.
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "MainHook.h"

namespace {

unsigned NumberIn(const char* variable) {
  const char* const text = std::getenv(variable);
  return text ? static_cast<unsigned>(std::atoi(text)) : 0;
}

// Returns an empty list at the end of the requests.
std::vector<std::string> ReadRequest() {
  std::size_t bytes = 0;
  if (std::scanf("%zu", &bytes) != 1 || std::getchar() != '\n') return {};
  std::string text(bytes, '\0');
  if (std::fread(text.data(), 1, bytes, stdin) != bytes) return {};
  std::vector<std::string> words;
  for (std::size_t begin = 0; begin < bytes; begin = text.find('\0', begin) + 1) {
    words.emplace_back(text.c_str() + begin);
  }
  return words;
}

[[noreturn]] void RunChild(Main main, std::vector<std::string>& words, char** environment) {
  const int input = open("/dev/null", O_RDONLY);
  const int output = open(words.front().c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  if (input < 0 || output < 0) _exit(126);
  dup2(input, STDIN_FILENO);
  dup2(output, STDOUT_FILENO);
  dup2(output, STDERR_FILENO);
  close(input);
  close(output);
  const rlim_t seconds = NumberIn("CPU_SECONDS");
  const rlimit limit{seconds, seconds + 1};
  setrlimit(RLIMIT_CPU, &limit);
  alarm(NumberIn("WALL_SECONDS"));
  std::vector<char*> arguments;
  for (std::size_t i = 1; i < words.size(); ++i) arguments.push_back(words[i].data());
  arguments.push_back(nullptr);
  std::exit(main(static_cast<int>(words.size()) - 1, arguments.data(), environment));
}

void Run(Main main, std::vector<std::string>& words, char** environment) {
  const auto start = std::chrono::steady_clock::now();
  const pid_t child = fork();
  if (child == 0) RunChild(main, words, environment);
  int status = 0;
  rusage usage{};
  if (child < 0 || wait4(child, &status, 0, &usage) != child) {
    std::perror("fork server");
    std::exit(EXIT_FAILURE);
  }
  const std::chrono::duration<double, std::milli> wall = std::chrono::steady_clock::now() - start;
  const double processors =
      1e3 * static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
      1e-3 * static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec);
  std::printf("%d %.0f %.0f %ld\n", WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status),
              processors, wall.count(), usage.ru_maxrss);
  std::fflush(stdout);
}

}  // namespace

int HookedMain(Main main, int /*count*/, char** /*arguments*/, char** environment) {
  for (auto words = ReadRequest(); !words.empty(); words = ReadRequest()) {
    Run(main, words, environment);
  }
  _exit(EXIT_SUCCESS);
}
