// SPDX-License-Identifier: BSD-2-Clause
#include "media/Folders.h"

#include <filesystem>
#include <system_error>

#include "base/Errors.h"

namespace vixprores {

void MakeFolder(const std::string& path) {
  std::error_code error;
  if (!path.empty()) std::filesystem::create_directories(path, error);
  if (error) throw Failure(path + ": cannot be created: " + error.message());
}

}  // namespace vixprores
