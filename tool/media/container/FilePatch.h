// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_MEDIA_CONTAINER_FILEPATCH_H
#define TOOL_MEDIA_CONTAINER_FILEPATCH_H

/// @file
/// Overwrites parts of a file so that an interruption at any moment can be undone: before the first
/// byte changes, a journal beside the file holds everything that is overwritten.

#include <cstdint>
#include <string>
#include <vector>

namespace vixprores {

/// Bytes that replace others, or that extend the file.
struct FilePatch {
  std::int64_t position = 0;
  std::vector<std::uint8_t> bytes;
};

/// Returns true if a run that was interrupted left the file half patched.
bool IsHalfPatched(const std::string& path);

/// Restores a file that is half patched.
/// @throws Failure if the file has been changed since
void UndoPatches(const std::string& path);

/// Applies all patches to the file, which must not be half patched. The result is on the disk when
/// this returns.
/// @throws Failure that names the file; then all of it is restored, or IsHalfPatched() is true, or
///         all patches are applied and only the removal of the journal is uncertain
void ApplyPatches(const std::string& path, const std::vector<FilePatch>& patches);

}  // namespace vixprores

#endif  // TOOL_MEDIA_CONTAINER_FILEPATCH_H
