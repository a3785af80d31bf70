// SPDX-License-Identifier: BSD-2-Clause
#include "media/sequence/ImageModule.h"

#include <dlfcn.h>

#include <algorithm>
#include <filesystem>
#include <string>

#include "base/Errors.h"
#include "base/Libraries.h"
#include "base/Text.h"
#include "vix/Version.h"

namespace vixprores {
namespace {

constexpr const char* kAdvice = "; install the package vixprores-images of this version";

[[noreturn]] void FailToLoad(const std::string& path, const std::string& reason) {
  throw Failure(path + ": image sequences need this module, which cannot be loaded: " + reason +
                kAdvice);
}

std::string FindModule() {
  const auto candidates = LibraryCandidates(ProgramFolder(), VIX_IMAGE_MODULE);
  const auto found = std::ranges::find_if(
      candidates, [](const std::string& path) { return std::filesystem::exists(path); });
  if (found != candidates.end()) return *found;
  throw Failure("image sequences need a module that is not installed (expected at " +
                Join(candidates, " or ") + ")" + kAdvice);
}

// Stays loaded until the program ends, because the libraries behind it do not unload cleanly.
const ImageModule& Load() {
  const std::string path = FindModule();
  void* const library = dlopen(path.c_str(), RTLD_LAZY | RTLD_LOCAL);
  if (!library) FailToLoad(path, dlerror());
  const auto entry = reinterpret_cast<ImageModuleEntry>(dlsym(library, kImageModuleEntry));
  const ImageModule* const module = entry ? entry(VIX_VERSION_TEXT) : nullptr;
  if (!module) FailToLoad(path, "it is not of version " VIX_VERSION_TEXT);
  return *module;
}

}  // namespace

const ImageModule& LoadImageModule() {
  static const ImageModule& module = Load();
  return module;
}

}  // namespace vixprores
