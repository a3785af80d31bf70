// SPDX-License-Identifier: BSD-2-Clause
// A library to be preloaded, which lets changes of files fail. FAIL_WITH is the error number; 0 =
// writes are cut short. Changes below the folder FAIL_BELOW are counted: from the one with the
// number FAIL_CHANGE on, from 1, the next FAILED_CHANGES ones fail that can fail like this. Waits
// for the disk of other threads than the first one come at any moment: they are not counted, but
// fail if FAIL_CHANGE is -1. What failed is written to the file that FAILED names, a line each; at
// the end of the program the number of changes is written to the one that COUNT_CHANGES names.
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <mutex>
#include <string>

#include "Changes.h"

namespace {

constexpr int kShort = 0;  // in place of an error number
constexpr long kBackground = -1;

std::mutex g_mutex;
long g_changes = 0;
long g_failures = 0;

bool IsBelowFolder(const Change& change) {
  const char* const folder = std::getenv("FAIL_BELOW");
  return folder && NameOf(change).starts_with(folder);
}

bool CanFailWith(int error, Kind kind) {
  switch (error) {
    case kShort:
      return kind == Kind::Write;
    case EINTR:
      return kind == Kind::Open || kind == Kind::Write || kind == Kind::Truncate ||
             kind == Kind::Sync;
    case ENOSPC:
      return kind != Kind::Remove && kind != Kind::Truncate;
    default:
      return true;
  }
}

bool Fails(const Change& change, int error) {
  const long first = NumberIn("FAIL_CHANGE");
  const bool isBackground = change.kind == Kind::Sync && gettid() != getpid();
  if (!isBackground) ++g_changes;
  if (!CanFailWith(error, change.kind)) return false;
  if (isBackground) return first == kBackground;
  return first > 0 && g_changes >= first && ++g_failures <= NumberIn("FAILED_CHANGES");
}

[[gnu::destructor]] void WriteCount() {
  WriteTo("COUNT_CHANGES", std::to_string(g_changes));
}

}  // namespace

Verdict Decide(const Change& change) {
  const std::lock_guard lock(g_mutex);
  const int error = static_cast<int>(NumberIn("FAIL_WITH"));
  if (!IsBelowFolder(change) || !Fails(change, error)) return {.count = change.count};
  AppendTo("FAILED", std::string(change.call) + " " + NameOf(change) + "\n");
  if (error == kShort) return {.count = std::max<std::size_t>(1, change.count / 2)};
  return {.error = error};
}

void NoteResult(const Change& /*change*/, long /*result*/) {}
