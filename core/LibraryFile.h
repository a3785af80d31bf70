// SPDX-License-Identifier: BSD-2-Clause
#ifndef CORE_LIBRARYFILE_H
#define CORE_LIBRARYFILE_H

#include <sys/types.h>

#include <optional>
#include <string>
#include <utility>

namespace vix {

/// Identity of a file, independent of its names: device and inode.
using FileId = std::pair<dev_t, ino_t>;

/// Returns the identity of a regular file, also behind symbolic links; nullopt for anything else.
std::optional<FileId> GetFileId(const std::string& path);

/// Describes what the headers of an ELF library place behind the end of its file; empty if nothing
/// or if the file is no ELF library. The dynamic linker does not check this: the process would be
/// killed by SIGBUS on reading the missing part.
std::string FindTruncation(const std::string& path);

}  // namespace vix

#endif  // CORE_LIBRARYFILE_H
