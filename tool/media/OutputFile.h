// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_MEDIA_OUTPUTFILE_H
#define TOOL_MEDIA_OUTPUTFILE_H

#include <cstdint>
#include <span>
#include <stop_token>
#include <string>
#include <thread>
#include <vector>

namespace vixprores {

/// What messages call an output: "standard output" for "-".
std::string NameOfOutput(const std::string& path);

/// An output that appears under its name only when it is complete.
///
/// The bytes go to a work file beside it ("NAME.part-<process>"), which Commit() renames. Unless
/// one of the commits was called the destructor removes the work file. Standard output ("-"),
/// devices and pipes are written to directly. Used by one thread. Every failing operation is a
/// Failure that names the output.
class OutputFile {
 public:
  /// Refuses an existing file unless `overwrite` is set.
  OutputFile(const std::string& path, bool overwrite);
  ~OutputFile();
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;

  /// The name as the user gave it, for messages.
  const std::string& GetName() const { return name_; }
  /// Bytes written; what is overwritten later counts once.
  std::int64_t GetSize() const { return size_; }
  /// True when Seek() and ReadAt() are possible.
  bool IsSeekable() const { return isSeekable_; }
  /// Position of the next write in bytes from the start.
  std::int64_t GetPosition() const { return position_; }

  /// Writes all of `bytes` at the current position.
  void Write(std::span<const std::uint8_t> bytes);
  /// Reads up to the size of `bytes` from `position` on; returns the number of bytes.
  std::size_t ReadAt(std::int64_t position, std::span<std::uint8_t> bytes) const;
  /// Sets the position, in bytes from the start.
  void Seek(std::int64_t position);

  /// From now on what was written is on the disk a second later at the latest, whatever happens to
  /// the machine; the file is there, too, before it has its name.
  void KeepOnDisk();
  /// Gives the complete file its name.
  void Commit();
  /// Leaves the work file as it is and returns its name; empty where there is none.
  std::string KeepWorkFile();
  /// Keeps what was written so far as PartialName(), or the next free name after it, and returns
  /// that name; what is not a file keeps the name that it has.
  std::string CommitPartial();

 private:
  void Close();
  void SyncRegularly(const std::stop_token& stop) const;

  std::string name_;
  std::string path_;      ///< empty = nothing to rename
  std::string workPath_;  ///< empty = nothing to remove
  bool overwrite_;
  bool isSeekable_ = false;
  int descriptor_ = -1;
  std::int64_t position_ = 0;
  std::int64_t size_ = 0;
  std::jthread syncing_;  ///< of KeepOnDisk()
};

/// Refuses, with a Failure, an output that is one of the inputs, by whatever name.
void RefuseInputAsOutput(const std::string& output, const std::vector<std::string>& inputs);

/// "dir/stem.partial.ext" for "dir/stem.ext"; from the second attempt on the number follows
/// "partial": "dir/stem.partial-2.ext".
std::string PartialName(const std::string& path, int attempt = 1);

}  // namespace vixprores

#endif  // TOOL_MEDIA_OUTPUTFILE_H
