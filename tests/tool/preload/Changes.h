// SPDX-License-Identifier: BSD-2-Clause
#ifndef TESTS_TOOL_PRELOAD_CHANGES_H
#define TESTS_TOOL_PRELOAD_CHANGES_H

/// @file
/// The calls with which a program changes files, for libraries to be preloaded. Changes.cpp
/// replaces these calls; each library defines Decide() and NoteResult(). Writes of the C library's
/// own streams (FILE) are not seen.

#include <sys/types.h>

#include <cstddef>
#include <string>
#include <string_view>

/// What a call does.
enum class Kind { Open, Write, Truncate, Sync, Rename, Remove, MakeFolder, Close };

/// A call that is about to change files. Only writes to regular files are reported.
struct Change {
  Kind kind;
  const char* call;            ///< its name, for example "pwrite64"
  int file = -1;               ///< descriptor, if it has one
  const char* path = nullptr;  ///< of a name that is opened, renamed, removed or made
  const char* to = nullptr;    ///< new name
  const void* bytes = nullptr;
  std::size_t count = 0;  ///< of bytes to write
  /// Of the first byte to write, or the new length, also of an opened file; -1 = where the file
  /// stands, or no new length.
  off_t position = -1;
};

/// What becomes of a change.
struct Verdict {
  int error = 0;          ///< error number that the call returns without having done anything
  std::size_t count = 0;  ///< bytes that a write may write, at most
};

/// Called before each change.
Verdict Decide(const Change& change);
/// Called after each change that was not made to fail. `result` is what the call returned.
void NoteResult(const Change& change, long result);

/// Returns a variable of the environment as a number; 0 if it is missing.
long NumberIn(const char* variable);
/// Returns the name of the file that changes.
std::string NameOf(const Change& change);
/// Writes `text` to the file that a variable of the environment names, if there is one, without a
/// call of Decide(): in place of its content, or after it.
void WriteTo(const char* variable, std::string_view text);
void AppendTo(const char* variable, std::string_view text);

#endif  // TESTS_TOOL_PRELOAD_CHANGES_H
