// SPDX-License-Identifier: BSD-2-Clause
#include "media/OutputFile.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <mutex>
#include <system_error>
#include <utility>

#include "base/Errors.h"
#include "base/Limits.h"
#include "base/Uninterrupted.h"
#include "media/InputFile.h"

namespace vixprores {
namespace {

constexpr auto kSyncInterval = std::chrono::milliseconds(500);

[[noreturn]] void FailToWrite(const std::string& name, int error) {
  const std::string reason = std::generic_category().message(error);
  if (error == EPIPE) throw Failure(name + ": the reader closed the pipe (" + reason + ")");
  std::string hint;
  if (error == ENOSPC || error == EDQUOT) hint = "; make room or name a file on another disk";
  if (error == ENOENT) hint = "; make its folder first";
  throw Failure(name + ": cannot be written: " + reason + hint);
}

// Returns an error number; 0 = none, also where files or folders cannot be flushed (EINVAL).
int Sync(int descriptor) {
  const int result = Uninterrupted([=] { return fdatasync(descriptor); });
  return result == 0 || errno == EINVAL ? 0 : errno;
}

// Returns the file that a symbolic link leads to: renaming must replace that file, not the link.
std::string FollowLinks(const std::string& path) {
  std::error_code error;
  const auto target = std::filesystem::canonical(path, error);
  return error ? path : target.string();
}

// Renames without replacing. Returns false if the new name is taken.
bool RenameToFreeName(const std::string& from, const std::string& to, const std::string& name) {
  if (renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) return true;
  if (errno == EEXIST) return false;
  if (errno != EINVAL && errno != ENOSYS) FailToWrite(name, errno);
  // The file system cannot check and rename in one step.
  if (access(to.c_str(), F_OK) == 0) return false;
  if (rename(from.c_str(), to.c_str()) != 0) FailToWrite(name, errno);
  return true;
}

[[noreturn]] void RefuseExisting(const std::string& name) {
  throw Failure(name + " exists; --overwrite replaces it");
}

// Gives a new file the permissions, the owner and the group of the file that it replaces. A group
// that cannot be kept gets the rights of all others.
void TakeOverAccess(int descriptor, const struct stat& replaced) {
  mode_t mode = replaced.st_mode & 0777U;
  const bool keepsGroup = fchown(descriptor, static_cast<uid_t>(-1), replaced.st_gid) == 0;
  if (!keepsGroup) mode = (mode & ~070U) | (mode & 07U) << 3U;
  // Only root can give a file away.
  [[maybe_unused]] const int owner = fchown(descriptor, replaced.st_uid, static_cast<gid_t>(-1));
  [[maybe_unused]] const int changed = fchmod(descriptor, mode);
}

}  // namespace

std::string NameOfOutput(const std::string& path) {
  return path == "-" ? "standard output" : path;
}

OutputFile::OutputFile(const std::string& path, bool overwrite)
    : name_(NameOfOutput(path)), overwrite_(overwrite) {
  struct stat status {};
  const bool exists = path != "-" && stat(path.c_str(), &status) == 0;
  if (exists && S_ISDIR(status.st_mode)) FailToWrite(name_, EISDIR);
  if (exists && S_ISREG(status.st_mode) && !overwrite) RefuseExisting(name_);
  if (path == "-") {
    if (isatty(STDOUT_FILENO) != 0) {
      throw UsageError("standard output is a terminal; redirect it to a file or a program");
    }
    descriptor_ = dup(STDOUT_FILENO);
  } else if (exists && !S_ISREG(status.st_mode)) {
    descriptor_ = Uninterrupted([&] { return open(path.c_str(), O_WRONLY | O_CLOEXEC); });
  } else {
    path_ = FollowLinks(path);
    OpenWorkFile(exists ? &status : nullptr);
  }
  if (descriptor_ < 0) FailToWrite(name_, errno);
  isSeekable_ = !workPath_.empty();
  WidenPipe(descriptor_);
}

// Leaves work files of other processes alone, including killed ones: they can be recovered.
// Processes in different containers may have the same number.
void OutputFile::OpenWorkFile(const struct stat* replaced) {
  const std::string first = path_ + ".part-" + std::to_string(getpid());
  const mode_t mode = replaced ? 0600 : 0666;
  std::string name = first;
  for (int attempt = 2; descriptor_ < 0; ++attempt) {
    descriptor_ = Uninterrupted(
        [&] { return open(name.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, mode); });
    if (descriptor_ < 0 && errno != EEXIST) return;
    if (descriptor_ < 0) name = first + "-" + std::to_string(attempt);
  }
  workPath_ = std::move(name);
  // Marks the file as in use. Where locks are missing, nobody takes it over.
  [[maybe_unused]] const int locked = flock(descriptor_, LOCK_EX | LOCK_NB);
  if (replaced) TakeOverAccess(descriptor_, *replaced);
}

OutputFile::~OutputFile() {
  syncing_ = {};
  if (descriptor_ >= 0) close(descriptor_);
  if (!workPath_.empty()) unlink(workPath_.c_str());
}

void OutputFile::Write(std::span<const std::uint8_t> bytes) {
  CheckSync();
  while (!bytes.empty()) {
    // The current frame is always completed.
    const ssize_t written =
        Uninterrupted([&] { return write(descriptor_, bytes.data(), bytes.size()); });
    if (written < 0) FailToWrite(name_, errno);
    bytes = bytes.subspan(static_cast<std::size_t>(written));
    position_ += written;
    size_ = std::max(size_, position_);
  }
}

std::size_t OutputFile::ReadAt(std::int64_t position, std::span<std::uint8_t> bytes) const {
  const ssize_t read = pread(descriptor_, bytes.data(), bytes.size(), position);
  if (read < 0) FailToWrite(name_, errno);
  return static_cast<std::size_t>(read);
}

void OutputFile::Seek(std::int64_t position) {
  if (lseek(descriptor_, position, SEEK_SET) < 0) FailToWrite(name_, errno);
  position_ = position;
}

void OutputFile::KeepOnDisk() {
  // Made here, since it allocates memory: an exception would end the process in the thread.
  auto stopped = std::make_unique<std::condition_variable_any>();
  syncing_ = std::jthread([this, stopped = std::move(stopped)](const std::stop_token& stop) {
    SyncRegularly(*stopped, stop);
  });
}

void OutputFile::SyncRegularly(std::condition_variable_any& stopped, const std::stop_token& stop) {
  std::mutex mutex;
  std::unique_lock lock(mutex);
  const auto isStopped = [&stop] { return stop.stop_requested(); };
  bool isNameKept = false;
  while (syncError_ == 0 && !stopped.wait_for(lock, stop, kSyncInterval, isStopped)) {
    syncError_ = Sync(descriptor_);
    if (!std::exchange(isNameKept, true)) SyncFolder(workPath_);
  }
}

// Reports an error of the regular flushes: the system reports each only once.
void OutputFile::CheckSync() const {
  if (const int error = syncError_) FailToWrite(name_, error);
}

void OutputFile::Close() {
  if (descriptor_ < 0) return;
  syncing_ = {};
  CheckSync();
  const int error = workPath_.empty() ? 0 : Sync(descriptor_);
  if (error != 0) FailToWrite(name_, error);
  // Some file systems report a full disk only here. After a signal the file is closed, too.
  if (close(std::exchange(descriptor_, -1)) != 0 && errno != EINTR) FailToWrite(name_, errno);
}

void OutputFile::SetAttribute(const char* name, const std::string& text) {
  if (!workPath_.empty()) fsetxattr(descriptor_, name, text.data(), text.size(), 0);
}

void OutputFile::GiveName() {
  Close();
  if (workPath_.empty()) return;
  if (overwrite_) {
    if (rename(workPath_.c_str(), path_.c_str()) != 0) FailToWrite(name_, errno);
  } else if (!RenameToFreeName(workPath_, path_, name_)) {
    RefuseExisting(name_);
  }
  workPath_.clear();
}

void OutputFile::Commit() {
  GiveName();
  // The complete file has its name; nothing is gained by reporting that a crash may undo it.
  if (!path_.empty()) SyncFolder(path_);
}

std::string OutputFile::KeepWorkFile() {
  syncing_ = {};  // it uses the name
  std::string kept = std::exchange(workPath_, {});
  if (access(kept.c_str(), F_OK) != 0) kept.clear();
  return kept;
}

std::string OutputFile::CommitPartial() {
  Close();
  if (workPath_.empty()) return name_;
  for (int attempt = 1;; ++attempt) {
    std::string partial = PartialName(path_, attempt);
    if (RenameToFreeName(workPath_, partial, name_)) {
      workPath_.clear();
      SyncFolder(partial);
      return partial;
    }
  }
}

int SyncFolder(const std::string& path) {
  const std::string parent = std::filesystem::path(path).parent_path().string();
  const std::string folder = parent.empty() ? "." : parent;
  const int descriptor =
      Uninterrupted([&] { return open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC); });
  if (descriptor < 0) return errno;
  const int error = Sync(descriptor);
  close(descriptor);
  return error;
}

void CheckOutputSize(const Output& output, std::uint64_t bytes) {
  CheckOutputSize(output.GetName(), static_cast<std::uint64_t>(output.GetSize()) + bytes);
}

void RefuseInputAsOutput(const std::string& output, const std::vector<std::string>& inputs) {
  for (const std::string& input : inputs) {
    std::error_code ignored;
    if (!std::filesystem::equivalent(output, input, ignored)) continue;
    throw Failure(output + ": is the input itself; name another output");
  }
}

std::string PartialName(const std::string& path, int attempt) {
  std::filesystem::path partial(path);
  const std::string extension = partial.extension().string();
  const std::string mark = attempt == 1 ? ".partial" : ".partial-" + std::to_string(attempt);
  return partial.replace_extension().string() + mark + extension;
}

}  // namespace vixprores
