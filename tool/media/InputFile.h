// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_MEDIA_INPUTFILE_H
#define TOOL_MEDIA_INPUTFILE_H

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace vixprores {

/// Gives a pipe room for as many bytes as an ordinary user may ask for, so that frames go through
/// it in fewer turns of writer and reader. Anything else, and a pipe that may not grow, stays as
/// it is.
void WidenPipe(int descriptor);

/// Set once a part of a mapped file could not be read when it was used.
using MappingFault = std::atomic<bool>;

/// A part of a file in memory, to be read without copying it.
///
/// A mapped file may become shorter, and its disk may fail, while its bytes are used; the system
/// then sends a signal (SIGBUS) that ends the program. Here the bytes turn into zeros instead and
/// the fault is set; users of the bytes must check it. May be used and released on any thread.
class FileMapping {
 public:
  /// Maps `bytes` bytes from `position` on; returns null if the system cannot, or if there are too
  /// many mappings.
  /// @param writable number of bytes at the start that may be changed, in this mapping alone
  /// @param fault    of the file; its mappings share it
  static std::shared_ptr<const FileMapping> Make(int descriptor, std::int64_t position,
                                                 std::size_t bytes, std::size_t writable,
                                                 std::shared_ptr<MappingFault> fault);
  ~FileMapping();
  FileMapping(const FileMapping&) = delete;
  FileMapping& operator=(const FileMapping&) = delete;

  /// Returns the bytes. All but the writable ones are read-only.
  std::uint8_t* GetData() const { return pages_ + skip_; }

 private:
  FileMapping(std::size_t watch, std::uint8_t* pages, std::size_t pagesBytes, std::size_t skip,
              std::shared_ptr<MappingFault> fault);

  std::size_t watch_;  ///< place in the table of the signal handler
  std::uint8_t* pages_;
  std::size_t pagesBytes_;
  std::size_t skip_;  ///< bytes before the wanted ones
  std::shared_ptr<MappingFault> fault_;
};

/// Returns the name of an input for messages: "standard input" for "-".
std::string NameOfInput(const std::string& path);

/// Reads a file or standard input ("-"). Used by one thread at a time. A failed read throws a
/// Failure that names the file; an interrupted wait for input throws Interrupted.
class InputFile {
 public:
  /// Opens `path`; rejects directories and files that cannot be read.
  explicit InputFile(const std::string& path);
  /// Makes a file in memory with a copy of `bytes`.
  static std::unique_ptr<InputFile> OverBytes(const std::string& name,
                                              std::span<const std::uint8_t> bytes);
  ~InputFile();
  InputFile(const InputFile&) = delete;
  InputFile& operator=(const InputFile&) = delete;

  /// Returns the name as the user gave it, for messages.
  const std::string& GetName() const { return name_; }
  /// Returns the size in bytes; nullopt if it is unknown before the end.
  std::optional<std::int64_t> GetSize() const { return size_; }
  /// Returns true if Seek() is possible.
  bool IsSeekable() const { return size_.has_value(); }
  /// Returns true if `path` leads to the same file.
  bool IsSameFile(const std::string& path) const;

  /// Reads the bytes available, up to the size of `destination`; returns their number, 0 = end.
  std::size_t ReadSome(std::span<std::uint8_t> destination);
  /// Reads until `destination` is full or the input ends; returns the number of bytes.
  std::size_t Read(std::span<std::uint8_t> destination);
  /// Reads a line and drops its newline; stops after `most` characters and at the end.
  std::string ReadLine(std::size_t most);
  /// Returns up to `bytes` bytes of the next read, which still returns them.
  std::span<const std::uint8_t> Peek(std::size_t bytes);
  /// Reads from that position without changing that of the next read; returns the number of bytes.
  /// Requires IsSeekable().
  std::size_t ReadAt(std::int64_t position, std::span<std::uint8_t> destination) const;
  /// Allows ReadInPlace(), except on a pipe.
  /// @param writable number of bytes at the start of each mapping that may be changed in memory
  void AllowMapping(std::size_t writable = 0) {
    isMappable_ = !mayWait_ && IsSeekable();
    writable_ = writable;
  }
  /// Returns true if ReadInPlace() is allowed.
  bool IsMappable() const { return isMappable_; }
  /// Maps the next `bytes` bytes and moves past them. Returns null if mapping is not allowed, not
  /// possible or not worthwhile; then read them.
  std::shared_ptr<const FileMapping> ReadInPlace(std::size_t bytes);
  /// Fails if mapped bytes became unreadable while in use. May be called from any thread.
  void CheckMappings() const;
  /// Sets the position of the next read, in bytes from the start. Requires IsSeekable().
  void Seek(std::int64_t position);
  /// Returns the position of the next read in bytes from the start.
  std::int64_t GetPosition() const { return position_; }

 private:
  InputFile(const std::string& name, int descriptor);

  void WaitForInput() const;
  std::size_t ReadFromSystem(std::span<std::uint8_t> destination);
  std::size_t PeekMore(std::size_t bytes);
  void Consume(std::size_t bytes);

  std::string name_;
  int descriptor_;
  bool mayWait_;  ///< a read may wait for bytes, as on a pipe
  std::optional<std::int64_t> size_;
  std::int64_t position_ = 0;
  bool isMappable_ = false;
  std::size_t writable_ = 0;  ///< bytes at the start of a mapping
  std::shared_ptr<MappingFault> mappingFault_ = std::make_shared<MappingFault>(false);
  std::vector<std::uint8_t> peeked_;  ///< bytes read ahead, from position_ on
};

}  // namespace vixprores

#endif  // TOOL_MEDIA_INPUTFILE_H
