// SPDX-License-Identifier: BSD-2-Clause
#include "Changes.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <limits.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>

namespace {

template <typename Function>
Function Next(const char* name) {
  return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

// Makes the call `next` with `arguments`, unless it is to fail.
template <typename Result, typename... Types, typename... Arguments>
Result Call(const Change& change, Result (*next)(Types...), Arguments... arguments) {
  const Verdict verdict = Decide(change);
  if (verdict.error != 0) {
    errno = verdict.error;
    return static_cast<Result>(-1);
  }
  const Result result = next(arguments...);
  const int error = errno;
  NoteResult(change, static_cast<long>(result));
  errno = error;
  return result;
}

bool IsRegular(int file) {
  struct stat status {};
  return fstat(file, &status) == 0 && S_ISREG(status.st_mode);
}

using OpenFile = int (*)(const char*, int, mode_t);
using WriteHere = ssize_t (*)(int, const void*, size_t);
using WriteThere = ssize_t (*)(int, const void*, size_t, off_t);
using TwoNames = int (*)(const char*, const char*);
using OneName = int (*)(const char*);
using OneFile = int (*)(int);
using Length = int (*)(int, off_t);

int OpenAs(const char* name, const char* path, int flags, mode_t mode) {
  const auto next = Next<OpenFile>(name);
  if ((flags & (O_CREAT | O_TRUNC)) == 0 && (flags & O_ACCMODE) == O_RDONLY) {
    return next(path, flags, mode);
  }
  const off_t length = (flags & O_TRUNC) != 0 ? 0 : -1;
  return Call({.kind = Kind::Open, .call = name, .path = path, .position = length}, next, path,
              flags, mode);
}

// Returns the mode among the further arguments of open(), which only new files need.
mode_t ModeOf(int flags, va_list arguments) {
  return (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
}

// Makes a write through `next`, which takes the number of bytes, as far as it is to happen.
template <typename Next>
ssize_t Write(const Change& change, const Next& next) {
  const Verdict verdict = Decide(change);
  if (verdict.error != 0) {
    errno = verdict.error;
    return -1;
  }
  const ssize_t written = next(std::min(change.count, verdict.count));
  const int error = errno;
  NoteResult(change, written);
  errno = error;
  return written;
}

ssize_t WriteAt(const char* name, int file, const void* bytes, size_t count, off_t position) {
  const auto next = Next<WriteThere>(name);
  return Write({.kind = Kind::Write,
                .call = name,
                .file = file,
                .bytes = bytes,
                .count = count,
                .position = position},
               [=](size_t part) { return next(file, bytes, part, position); });
}

// Writes to a file that a variable names, by calls that are not replaced.
void Put(const char* variable, int flags, std::string_view text) {
  const char* const path = std::getenv(variable);
  if (!path) return;
  const long file = syscall(SYS_openat, AT_FDCWD, path, O_WRONLY | O_CREAT | flags, 0600);
  syscall(SYS_write, file, text.data(), text.size());
  syscall(SYS_close, file);
}

}  // namespace

long NumberIn(const char* variable) {
  const char* const text = std::getenv(variable);
  return text ? std::atol(text) : 0;
}

std::string NameOf(const Change& change) {
  if (change.path) return change.path;
  std::array<char, PATH_MAX> name{};
  const std::string link = "/proc/self/fd/" + std::to_string(change.file);
  const ssize_t length = readlink(link.c_str(), name.data(), name.size());
  return length > 0 ? std::string(name.data(), static_cast<size_t>(length)) : std::string();
}

void WriteTo(const char* variable, std::string_view text) {
  Put(variable, O_TRUNC, text);
}

void AppendTo(const char* variable, std::string_view text) {
  Put(variable, O_APPEND, text);
}

#pragma GCC visibility push(default)
extern "C" {

int open(const char* path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = ModeOf(flags, arguments);
  va_end(arguments);
  return OpenAs("open", path, flags, mode);
}

int open64(const char* path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = ModeOf(flags, arguments);
  va_end(arguments);
  return OpenAs("open64", path, flags, mode);
}

ssize_t pwrite(int file, const void* bytes, size_t count, off_t position) {
  return WriteAt("pwrite", file, bytes, count, position);
}

ssize_t pwrite64(int file, const void* bytes, size_t count, off_t position) {
  return WriteAt("pwrite64", file, bytes, count, position);
}

ssize_t write(int file, const void* bytes, size_t count) {
  const auto next = Next<WriteHere>("write");
  if (!IsRegular(file)) return next(file, bytes, count);
  return Write({.kind = Kind::Write, .call = "write", .file = file, .bytes = bytes, .count = count},
               [=](size_t part) { return next(file, bytes, part); });
}

int rename(const char* from, const char* to) noexcept {
  return Call({.kind = Kind::Rename, .call = "rename", .path = from, .to = to},
              Next<TwoNames>("rename"), from, to);
}

int renameat2(int fromFolder, const char* from, int toFolder, const char* to,
              unsigned flags) noexcept {
  using Rename = int (*)(int, const char*, int, const char*, unsigned);
  return Call({.kind = Kind::Rename, .call = "renameat2", .path = from, .to = to},
              Next<Rename>("renameat2"), fromFolder, from, toFolder, to, flags);
}

int unlink(const char* path) noexcept {
  return Call({.kind = Kind::Remove, .call = "unlink", .path = path}, Next<OneName>("unlink"),
              path);
}

int remove(const char* path) noexcept {
  return Call({.kind = Kind::Remove, .call = "remove", .path = path}, Next<OneName>("remove"),
              path);
}

int mkdir(const char* path, mode_t mode) noexcept {
  return Call({.kind = Kind::MakeFolder, .call = "mkdir", .path = path},
              Next<int (*)(const char*, mode_t)>("mkdir"), path, mode);
}

int ftruncate(int file, off_t bytes) noexcept {
  return Call({.kind = Kind::Truncate, .call = "ftruncate", .file = file, .position = bytes},
              Next<Length>("ftruncate"), file, bytes);
}

int fsync(int file) {
  return Call({.kind = Kind::Sync, .call = "fsync", .file = file}, Next<OneFile>("fsync"), file);
}

int fdatasync(int file) {
  return Call({.kind = Kind::Sync, .call = "fdatasync", .file = file}, Next<OneFile>("fdatasync"),
              file);
}

int close(int file) {
  const auto next = Next<OneFile>("close");
  const int flags = fcntl(file, F_GETFL);
  if ((flags & O_ACCMODE) == O_RDONLY || !IsRegular(file)) return next(file);
  const Verdict verdict = Decide({.kind = Kind::Close, .call = "close", .file = file});
  const int result = next(file);  // a file is closed even if that fails
  if (verdict.error == 0) return result;
  errno = verdict.error;
  return -1;
}

}  // extern "C"
#pragma GCC visibility pop
