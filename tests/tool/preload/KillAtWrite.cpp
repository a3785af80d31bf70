// SPDX-License-Identifier: BSD-2-Clause
// A library to be preloaded, which ends a program at one of its changes of files, as a crash would.
// KILL_AT_CHANGE is the number of the change, from 1: a write to a file, a new name, a removal, a
// new length, or a wait for the disk. Every other change, of odd number, is half done if it is a
// write. If SIGNAL_AT_CHANGE is set, the program gets that signal instead and goes on. If WAIT_FOR
// is set, it writes its process number to that name with ".pid" and waits for that file. At the end
// of a program that was not killed, the number of all changes is written to the file that
// COUNT_CHANGES names. If KILL_COMMAND is set, it acts only in processes with that argument.
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>

namespace {

constexpr int kKilled = 137;
long g_changes = 0;

template <typename Function>
Function Next(const char* name) {
  return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

// Returns true if the process has the argument that KILL_COMMAND names, or if none is named.
bool IsMeant() {
  const char* const argument = std::getenv("KILL_COMMAND");
  if (!argument) return true;
  std::ifstream words("/proc/self/cmdline");
  for (std::string word; std::getline(words, word, '\0');) {
    if (word == argument) return true;
  }
  return false;
}

void WaitFor(const char* path) {
  std::ofstream(std::string(path) + ".pid") << getpid() << '\n';
  while (access(path, F_OK) != 0) usleep(1000);
}

// Counts a change. Returns true if the program is to be killed at it.
bool IsLast() {
  static const bool isMeant = IsMeant();
  if (!isMeant) return false;
  static const char* const last = std::getenv("KILL_AT_CHANGE");
  static const char* const signal = std::getenv("SIGNAL_AT_CHANGE");
  static const char* const wait = std::getenv("WAIT_FOR");
  if (++g_changes != (last ? std::atol(last) : 0)) return false;
  if (signal) {
    raise(std::atoi(signal));
    usleep(100'000);  // in which the thread that waits for signals usually sees it
  }
  if (wait) WaitFor(wait);
  return !signal && !wait;
}

using Write = ssize_t (*)(int, const void*, size_t, off_t);

ssize_t WriteAt(const char* name, int file, const void* bytes, size_t count, off_t position) {
  const auto write = Next<Write>(name);
  if (IsLast()) {
    if (g_changes % 2 == 1) write(file, bytes, count / 2, position);
    _exit(kKilled);
  }
  return write(file, bytes, count, position);
}

void CheckChange() {
  if (IsLast()) _exit(kKilled);
}

[[gnu::destructor]] void WriteCount() {
  const char* const path = std::getenv("COUNT_CHANGES");
  const int file = path ? open(path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600) : -1;
  if (file < 0) return;
  dprintf(file, "%ld", g_changes);
  close(file);
}

}  // namespace

#pragma GCC visibility push(default)
extern "C" {

ssize_t pwrite(int file, const void* bytes, size_t count, off_t position) {
  return WriteAt("pwrite", file, bytes, count, position);
}

ssize_t pwrite64(int file, const void* bytes, size_t count, off_t position) {
  return WriteAt("pwrite64", file, bytes, count, position);
}

ssize_t write(int file, const void* bytes, size_t count) {
  const auto next = Next<ssize_t (*)(int, const void*, size_t)>("write");
  struct stat status {};
  if (fstat(file, &status) != 0 || !S_ISREG(status.st_mode)) return next(file, bytes, count);
  if (IsLast()) {
    if (g_changes % 2 == 1) next(file, bytes, count / 2);
    _exit(kKilled);
  }
  return next(file, bytes, count);
}

int rename(const char* from, const char* to) noexcept {
  CheckChange();
  return Next<int (*)(const char*, const char*)>("rename")(from, to);
}

int unlink(const char* path) noexcept {
  CheckChange();
  return Next<int (*)(const char*)>("unlink")(path);
}

int ftruncate(int file, off_t bytes) noexcept {
  CheckChange();
  return Next<int (*)(int, off_t)>("ftruncate")(file, bytes);
}

int fsync(int file) {
  CheckChange();
  return Next<int (*)(int)>("fsync")(file);
}

}  // extern "C"
#pragma GCC visibility pop
