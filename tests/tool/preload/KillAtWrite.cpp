// SPDX-License-Identifier: BSD-2-Clause
// A library to be preloaded, which ends a program at one of its changes of files, as a crash would.
// KILL_AT_CHANGE is the number of the change, from 1: a write to a file, a new name, a removal, a
// new length, or a wait for the disk. Every other change, of odd number, is half done if it is a
// write. If SIGNAL_AT_CHANGE is set, the program gets that signal instead and goes on. If WAIT_FOR
// is set, it writes its process number to that name with ".pid" and waits for that file. At the end
// of a program that was not killed, the number of all changes is written to the file that
// COUNT_CHANGES names. If KILL_COMMAND is set, it acts only in processes with that argument.
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <string>
#include <string_view>

#include "Changes.h"

namespace {

constexpr int kKilled = 137;
// Calls that come at the same place in each run: those of the thread that syncs do not.
constexpr std::array<std::string_view, 7> kCounted{"write",  "pwrite",    "pwrite64", "rename",
                                                   "unlink", "ftruncate", "fsync"};
long g_changes = 0;

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
  static const long last = NumberIn("KILL_AT_CHANGE");
  static const char* const signal = std::getenv("SIGNAL_AT_CHANGE");
  static const char* const wait = std::getenv("WAIT_FOR");
  if (++g_changes != last) return false;
  if (signal) {
    raise(std::atoi(signal));
    usleep(100'000);  // in which the thread that waits for signals usually sees it
  }
  if (wait) WaitFor(wait);
  return !signal && !wait;
}

bool g_isEnding = false;  // after the write that is under way

[[gnu::destructor]] void WriteCount() {
  WriteTo("COUNT_CHANGES", std::to_string(g_changes));
}

}  // namespace

Verdict Decide(const Change& change) {
  const bool isCounted = std::ranges::find(kCounted, change.call) != kCounted.end();
  if (!isCounted || !IsLast()) return {.count = change.count};
  if (change.kind != Kind::Write || g_changes % 2 == 0) _exit(kKilled);
  g_isEnding = true;
  return {.count = change.count / 2};
}

void NoteResult(const Change& /*change*/, long /*result*/) {
  if (g_isEnding) _exit(kKilled);
}
