// SPDX-License-Identifier: BSD-2-Clause
#include "LibraryFile.h"

#include <elf.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

namespace vix {
namespace {

/// An open file of known size.
class ReadableFile {
 public:
  explicit ReadableFile(const std::string& path) : file_(open(path.c_str(), O_RDONLY | O_CLOEXEC)) {
    struct stat status = {};
    if (file_ >= 0 && fstat(file_, &status) == 0) {
      bytes_ = static_cast<std::uint64_t>(status.st_size);
    }
  }
  ~ReadableFile() {
    if (file_ >= 0) close(file_);
  }
  ReadableFile(const ReadableFile&) = delete;
  ReadableFile& operator=(const ReadableFile&) = delete;

  std::uint64_t GetSize() const { return bytes_; }
  bool Contains(std::uint64_t offset, std::uint64_t bytes) const {
    return offset <= bytes_ && bytes <= bytes_ - offset;
  }
  bool Read(std::uint64_t offset, void* destination, std::size_t bytes) const {
    return Contains(offset, bytes) &&
           pread(file_, destination, bytes, static_cast<off_t>(offset)) ==
               static_cast<ssize_t>(bytes);
  }

 private:
  int file_;
  std::uint64_t bytes_ = 0;
};

bool IsLibrary(const Elf64_Ehdr& header) {
  return std::memcmp(header.e_ident, ELFMAG, SELFMAG) == 0 &&
         header.e_ident[EI_CLASS] == ELFCLASS64 && header.e_ident[EI_DATA] == ELFDATA2LSB &&
         header.e_phentsize == sizeof(Elf64_Phdr);
}

}  // namespace

std::optional<FileId> GetFileId(const std::string& path) {
  struct stat status = {};
  if (stat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode)) return std::nullopt;
  return FileId{status.st_dev, status.st_ino};
}

std::string FindTruncation(const std::string& path) {
  const ReadableFile file(path);
  const auto missing = [&](const char* what) {
    return "the file is truncated: its " + std::string(what) + " end beyond its " +
           std::to_string(file.GetSize()) + " bytes";
  };
  Elf64_Ehdr header{};
  std::memcpy(header.e_ident, ELFMAG,
              SELFMAG);  // which the first bytes of a shorter file overwrite
  const auto present = static_cast<std::size_t>(std::min(file.GetSize(), sizeof header));
  if (!file.Read(0, &header, present)) return {};
  const bool isElf = std::memcmp(header.e_ident, ELFMAG, SELFMAG) == 0;
  if (isElf && present < sizeof header) return missing("ELF headers");
  if (!IsLibrary(header)) return {};
  std::vector<Elf64_Phdr> segments(header.e_phnum);  // at most 65535
  if (!file.Read(header.e_phoff, segments.data(), segments.size() * sizeof(Elf64_Phdr))) {
    return missing("program headers");
  }
  for (const Elf64_Phdr& segment : segments) {
    if (!file.Contains(segment.p_offset, segment.p_filesz)) return missing("segments");
  }
  // The section headers are the end of most libraries. The dynamic linker ignores them.
  const std::uint64_t sections = std::uint64_t{header.e_shnum} * header.e_shentsize;
  if (!file.Contains(header.e_shoff, sections)) return missing("section headers");
  return {};
}

}  // namespace vix
