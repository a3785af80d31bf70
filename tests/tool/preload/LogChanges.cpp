// SPDX-License-Identifier: BSD-2-Clause
// A library to be preloaded, which logs all that a program does to files below the folder
// LOG_BELOW, in the file that LOG_CHANGES names: a line of fields between tabs for each change, and
// after the line of a write its bytes. A wait for the disk has two lines, before ("flush") and
// after ("sync").
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <mutex>
#include <string>
#include <string_view>

#include "Changes.h"

namespace {

std::mutex g_mutex;

bool IsBelowFolder(const std::string& name) {
  const char* const folder = std::getenv("LOG_BELOW");
  return folder && name.starts_with(folder);
}

// Returns the number by which the file system knows a file under any name.
std::string IdentityOf(int file) {
  struct stat status {};
  return fstat(file, &status) == 0 ? std::to_string(status.st_ino) : "-";
}

std::string_view WordFor(Kind kind) {
  constexpr std::array<std::string_view, 8> kWords{"open",   "write",  "truncate", "sync",
                                                   "rename", "remove", "folder",   "close"};
  return kWords[static_cast<std::size_t>(kind)];
}

// Appends word, identity of the file, position, bytes, name and new name, and what follows the
// line.
void Log(std::string_view word, const Change& change, int file, off_t position,
         std::string_view bytes) {
  const std::string name = NameOf(change);
  if (!IsBelowFolder(name)) return;
  const std::lock_guard lock(g_mutex);
  std::string line(word);
  for (const std::string& field :
       {IdentityOf(file), std::to_string(position), std::to_string(bytes.size()), name,
        std::string(change.to ? change.to : "")}) {
    line += "\t" + field;
  }
  AppendTo("LOG_CHANGES", line + "\n" + std::string(bytes));
}

}  // namespace

Verdict Decide(const Change& change) {
  if (change.kind == Kind::Sync) Log("flush", change, change.file, -1, {});
  return {.count = change.count};
}

void NoteResult(const Change& change, long result) {
  if (result < 0 || change.kind == Kind::Close) return;
  const bool isWrite = change.kind == Kind::Write;
  const auto written = static_cast<std::size_t>(isWrite ? result : 0);
  // Where a file stands is known after the write.
  const bool isHere = isWrite && change.position < 0;
  const off_t position = isHere ? lseek(change.file, 0, SEEK_CUR) - result : change.position;
  const int file = change.kind == Kind::Open ? static_cast<int>(result) : change.file;
  Log(WordFor(change.kind), change, file, position,
      {static_cast<const char*>(change.bytes), written});
}
