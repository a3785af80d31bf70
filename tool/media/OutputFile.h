// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_MEDIA_OUTPUTFILE_H
#define TOOL_MEDIA_OUTPUTFILE_H

#include <sys/stat.h>

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <span>
#include <stop_token>
#include <string>
#include <thread>
#include <vector>

namespace vixprores {

/// Returns the name of an output for messages: "standard output" for "-".
std::string NameOfOutput(const std::string& path);

/// What a run writes. It appears under its name only when it is complete.
class Output {
 public:
  virtual ~Output() = default;
  /// Returns the name as the user gave it, for messages.
  virtual const std::string& GetName() const = 0;
  /// Returns the size in bytes.
  virtual std::int64_t GetSize() const = 0;
  /// Returns true if a part of the frames can be kept, false if others may have read them already.
  virtual bool IsSeekable() const = 0;
  /// Sets an extended attribute of the work file, if there is one and its file system has them.
  virtual void SetAttribute(const char* /*name*/, const std::string& /*text*/) {}
  /// Gives the complete output its name.
  virtual void Commit() = 0;
  /// Keeps the work file as it is and returns its name; empty if there is none.
  virtual std::string KeepWorkFile() = 0;
  /// Keeps what was written so far and returns its name.
  virtual std::string CommitPartial() = 0;
};

/// A file that appears under its name only when it is complete.
///
/// The bytes go to a work file beside it ("NAME.part-NUMBER"), which is locked (flock) while the
/// object lives, and which Commit() renames. The
/// destructor removes the work file unless a commit was called. The complete file is on the disk
/// before it gets its name, so that a loss of power cannot leave an unfinished one under that name.
/// Standard output ("-"), devices and
/// pipes are written to directly. Used by one thread. Failing operations throw a Failure that names
/// the output.
class OutputFile : public Output {
 public:
  /// Rejects an existing file unless `overwrite` is set. The new file gets the permissions of the
  /// replaced one, and its owner and group where the user may set them.
  OutputFile(const std::string& path, bool overwrite);
  ~OutputFile() override;
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;

  const std::string& GetName() const override { return name_; }
  std::int64_t GetSize() const override { return size_; }
  /// Returns true if Seek() and ReadAt() are possible.
  bool IsSeekable() const override { return isSeekable_; }
  /// Returns the position of the next write, in bytes from the start.
  std::int64_t GetPosition() const { return position_; }

  /// Writes all of `bytes` at the current position.
  void Write(std::span<const std::uint8_t> bytes);
  /// Reads up to the size of `bytes` from `position` on; returns the number of bytes.
  std::size_t ReadAt(std::int64_t position, std::span<std::uint8_t> bytes) const;
  /// Sets the position, in bytes from the start.
  void Seek(std::int64_t position);

  /// Flushes the file to the disk twice a second from now on, so that it survives a crash of the
  /// machine. Write() and Close() report an error of the disk.
  void KeepOnDisk();
  void SetAttribute(const char* name, const std::string& text) override;
  /// Flushes the complete file to the disk and closes it. GiveName() and the commits do so unless
  /// it was called before, perhaps on another thread.
  void Close();
  /// Gives the complete file its name, which a loss of power may undo until SyncFolder(): for files
  /// that are one of many.
  void GiveName();
  void Commit() override;
  /// Returns an empty name, too, if the file was removed together with its folder.
  std::string KeepWorkFile() override;
  /// Keeps the bytes written so far as PartialName(), or as the next free name after it, and
  /// returns that name. Outputs that are not files keep their name.
  std::string CommitPartial() override;

 private:
  void OpenWorkFile(const struct stat* replaced);
  void CheckSync() const;
  void SyncRegularly(std::condition_variable_any& stopped, const std::stop_token& stop);

  std::string name_;
  std::string path_;      ///< empty = nothing to rename
  std::string workPath_;  ///< empty = nothing to remove
  bool overwrite_;
  bool isSeekable_ = false;
  int descriptor_ = -1;
  std::int64_t position_ = 0;
  std::int64_t size_ = 0;
  std::atomic<int> syncError_ = 0;  ///< error number of syncing_; 0 = none
  std::jthread syncing_;            ///< started by KeepOnDisk()
};

/// Makes new, changed and removed names in the folder of `path` survive a loss of power, if its
/// file system can. Returns an error number; 0 = done.
int SyncFolder(const std::string& path);

/// Fails if the output would exceed --limit-output with that many bytes more. Call it before frames
/// are written, so that those before them can still be completed.
void CheckOutputSize(const Output& output, std::uint64_t bytes);

/// Rejects, with a Failure, an output that is one of the inputs under any name.
void RefuseInputAsOutput(const std::string& output, const std::vector<std::string>& inputs);

/// Returns "dir/stem.partial.ext" for "dir/stem.ext", and "dir/stem.partial-2.ext" for the second
/// attempt.
std::string PartialName(const std::string& path, int attempt = 1);

}  // namespace vixprores

#endif  // TOOL_MEDIA_OUTPUTFILE_H
