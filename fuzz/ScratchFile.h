// SPDX-License-Identifier: BSD-2-Clause
#ifndef FUZZ_SCRATCHFILE_H
#define FUZZ_SCRATCHFILE_H

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

/// A file in memory, for readers that take a path.
class ScratchFile {
 public:
  ScratchFile(const std::uint8_t* data, std::size_t size)
      : descriptor_(memfd_create("fuzz", MFD_CLOEXEC)) {
    if (write(descriptor_, data, size) != static_cast<ssize_t>(size)) std::abort();
  }
  ~ScratchFile() { close(descriptor_); }
  ScratchFile(const ScratchFile&) = delete;
  ScratchFile& operator=(const ScratchFile&) = delete;

  std::string GetPath() const { return "/proc/self/fd/" + std::to_string(descriptor_); }

 private:
  int descriptor_;
};

#endif  // FUZZ_SCRATCHFILE_H
