// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_MEDIA_FOLDERS_H
#define TOOL_MEDIA_FOLDERS_H

#include <string>

namespace vixprores {

/// Makes a folder and those above it, unless they exist. Does nothing for an empty path.
/// @throws Failure that names the folder
void MakeFolder(const std::string& path);

}  // namespace vixprores

#endif  // TOOL_MEDIA_FOLDERS_H
