// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_PLUGINSEARCH_H
#define TOOL_PLUGINSEARCH_H

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "vix/PluginLoader.h"

namespace vixprores {

/// Where the plug-in is looked for, in this order: the library folders beside the folder that the
/// program stands in, as in a build tree and in an installation, then the system's library search.
std::vector<std::string> PluginCandidates(const std::string& programFolder);

/// Loads the plug-in from `path`, else from the first candidate that exists. Its elements are in
/// the registry as long as the result lives. Refuses with a VIXRuntimeError.
std::shared_ptr<vix::IPlugin> LoadProResPlugin(const std::optional<std::string>& path);

}  // namespace vixprores

#endif  // TOOL_PLUGINSEARCH_H
