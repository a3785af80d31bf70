// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_RUN_PLUGINSEARCH_H
#define TOOL_RUN_PLUGINSEARCH_H

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "vix/PluginLoader.h"

namespace vixprores {

/// Where the plug-in stands beside a program in `programFolder`: in the library folders of a build
/// tree and of an installation.
std::vector<std::string> PluginCandidates(const std::string& programFolder);

/// The plug-in that is loaded when none is named: the first candidate that exists, else what the
/// system finds among its libraries; none where there is none.
std::optional<std::string> FindProResPlugin();

/// Loads the plug-in from `path`; without one that which FindProResPlugin() finds. Its elements are
/// in the registry as long as the result lives. Refuses with a Failure that names the places, or a
/// VIXRuntimeError that names the path.
std::shared_ptr<vix::IPlugin> LoadProResPlugin(const std::optional<std::string>& path);

}  // namespace vixprores

#endif  // TOOL_RUN_PLUGINSEARCH_H
