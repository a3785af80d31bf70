// SPDX-License-Identifier: BSD-2-Clause
#include <dlfcn.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include "LibraryFile.h"
#include "vix/Error.h"
#include "vix/PluginLoader.h"
#include "vix/Version.h"

namespace vix {
namespace {

namespace fs = std::filesystem;

constexpr const char* kPathVariable = "VIX_PLUGIN_PATH";
constexpr const char* kFolderName = "vix-plugins-" VIX_TEXT_OF(VIX_VERSION_MAJOR);
constexpr std::string_view kExtension = ".so";

/// Loads plug-ins one by one and notes what fails.
class Discovery {
 public:
  explicit Discovery(const std::string& registrant) : registrant_(registrant) {}

  /// Loads the libraries of a folder in the order of their names.
  void LoadFolder(const std::string& folder) {
    std::error_code error;
    std::vector<std::string> paths;
    for (fs::directory_iterator entry(folder, error), end; !error && entry != end;
         entry.increment(error)) {
      if (entry->path().extension() == kExtension) paths.push_back(entry->path().string());
    }
    if (error) {
      Fail(folder, ErrorCode::NotFound,
           "Cannot read plug-in folder \"" + folder + "\": " + error.message());
    }
    std::sort(paths.begin(), paths.end());
    for (const std::string& path : paths) LoadOnce(path);
  }

  void Fail(const std::string& path, ErrorCode code, const std::string& reason) {
    found_.failures.push_back({path, code, reason});
  }

  LoadedPlugins Take() { return std::move(found_); }

 private:
  void LoadOnce(const std::string& path) try {
    const std::optional<FileId> id = GetFileId(path);
    if (id && !seen_.insert(*id).second) return;  // another name of the same library
    found_.plugins.push_back(LoadPlugin(path, registrant_));
  } catch (const VIXError& error) {
    Fail(path, error.GetCode(), error.what());
  } catch (const VIXRuntimeError& error) {
    Fail(path, ErrorCode::Failed, error.what());
  }

  const std::string& registrant_;
  std::set<FileId> seen_;
  LoadedPlugins found_;
};

}  // namespace

std::string GetPluginFolder() {
  static constexpr char anchor = 0;  // an address in this library
  Dl_info info = {};
  if (dladdr(&anchor, &info) == 0) return {};
  std::error_code error;
  const fs::path library = fs::canonical(info.dli_fname, error);
  return error ? std::string() : (library.parent_path() / kFolderName).string();
}

LoadedPlugins LoadPlugins(const std::string& registrant) {
  Discovery discovery(registrant);
  // A program with more rights than its user must not load the user's libraries.
  const char* const variable = secure_getenv(kPathVariable);
  if (variable == nullptr || *variable == '\0') {
    const std::string folder = GetPluginFolder();
    std::error_code error;
    if (fs::exists(folder, error)) discovery.LoadFolder(folder);
    return discovery.Take();
  }
  const std::string path(variable);
  for (std::size_t begin = 0; begin <= path.size();) {
    const std::size_t end = std::min(path.find(':', begin), path.size());
    const std::string folder = path.substr(begin, end - begin);
    begin = end + 1;
    if (folder.empty()) continue;
    if (folder.front() == '/') {
      discovery.LoadFolder(folder);
    } else {
      discovery.Fail(folder, ErrorCode::BadArgument,
                     std::string(kPathVariable) + ": \"" + folder +
                         "\" is ignored, because it does not begin with '/'");
    }
  }
  return discovery.Take();
}

}  // namespace vix
