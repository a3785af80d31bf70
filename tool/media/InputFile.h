// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_MEDIA_INPUTFILE_H
#define TOOL_MEDIA_INPUTFILE_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "media/FileMapping.h"

namespace vixprores {

/// What messages call an input: "standard input" for "-".
std::string NameOfInput(const std::string& path);

/// The bytes of a file or of standard input ("-"). Used by one thread at a time.
/// A failing read is a Failure that names the file; a wait for input that the user breaks off is
/// an Interrupted.
class InputFile {
 public:
  /// Opens `path`; refuses what cannot be read and directories.
  explicit InputFile(const std::string& path);
  /// A file in memory that holds a copy of `bytes`.
  static std::unique_ptr<InputFile> OverBytes(const std::string& name,
                                              std::span<const std::uint8_t> bytes);
  ~InputFile();
  InputFile(const InputFile&) = delete;
  InputFile& operator=(const InputFile&) = delete;

  /// The name as the user gave it, for messages.
  const std::string& GetName() const { return name_; }
  /// Size in bytes; none where the input has no end until it comes.
  std::optional<std::int64_t> GetSize() const { return size_; }
  /// True when Seek() is possible.
  bool IsSeekable() const { return size_.has_value(); }
  /// True when `path` leads to the very same file.
  bool IsSameFile(const std::string& path) const;

  /// Reads what is there, up to the size of `destination`; returns the number of bytes, 0 = end.
  std::size_t ReadSome(std::span<std::uint8_t> destination);
  /// Reads until `destination` is full or the input ends; returns the number of bytes.
  std::size_t Read(std::span<std::uint8_t> destination);
  /// Up to `bytes` bytes that the next read will give.
  std::span<const std::uint8_t> Peek(std::size_t bytes);
  /// Reads from that position on, whatever the position of the next read, which stays; returns the
  /// number of bytes. Needs IsSeekable().
  std::size_t ReadAt(std::int64_t position, std::span<std::uint8_t> destination) const;
  /// From now on ReadInPlace() gives what it can, which on a pipe is nothing.
  void AllowMapping() { isMappable_ = !mayWait_ && IsSeekable(); }
  /// True when ReadInPlace() may give something.
  bool IsMappable() const { return isMappable_; }
  /// The next `bytes` bytes without a copy of them, and goes on behind them. Null where they are
  /// to be read: mapping is not allowed, or not possible, or not worth it.
  std::shared_ptr<const FileMapping> ReadInPlace(std::size_t bytes);
  /// Fails where mapped bytes turned out to be unreadable when they were looked at. May be called
  /// from any thread.
  void CheckMappings() const;
  /// Sets the position of the next read, in bytes from the start. Needs IsSeekable().
  void Seek(std::int64_t position);
  /// Position of the next read in bytes from the start.
  std::int64_t GetPosition() const { return position_; }

 private:
  InputFile(const std::string& name, int descriptor);

  void WaitForInput() const;
  std::size_t ReadFromSystem(std::span<std::uint8_t> destination);

  std::string name_;
  int descriptor_;
  bool mayWait_;  ///< bytes may yet have to come, as on a pipe
  std::optional<std::int64_t> size_;
  std::int64_t position_ = 0;
  bool isMappable_ = false;
  std::shared_ptr<MappingFault> mappingFault_ = std::make_shared<MappingFault>(false);
  std::vector<std::uint8_t> peeked_;  ///< bytes from position_ on that were read ahead
};

}  // namespace vixprores

#endif  // TOOL_MEDIA_INPUTFILE_H
