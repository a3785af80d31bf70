// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_MEDIA_FILEMAPPING_H
#define TOOL_MEDIA_FILEMAPPING_H

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>

namespace vixprores {

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
  /// @param fault of the file; its mappings share it
  static std::shared_ptr<const FileMapping> Make(int descriptor, std::int64_t position,
                                                 std::size_t bytes,
                                                 std::shared_ptr<MappingFault> fault);
  ~FileMapping();
  FileMapping(const FileMapping&) = delete;
  FileMapping& operator=(const FileMapping&) = delete;

  /// Returns the bytes, which are read-only.
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

}  // namespace vixprores

#endif  // TOOL_MEDIA_FILEMAPPING_H
